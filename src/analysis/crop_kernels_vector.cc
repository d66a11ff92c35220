// Vector kernels of the perspective crop, compiled once per Highway target.
// Each lane's quotient equals the scalar truncating division (see Quotients).
// Source pixels are fetched as 4-byte words from column qx - 1 of rows qy and
// qy + 1, so a valid lane never touches a byte beyond column width - 1; lanes
// outside the valid range fetch column 0 of rows 0 and 1 (rows 0 and 0 when
// the pitch is 0) and are forced to 0.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "analysis/crop_kernels_vector.cc"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

#include "analysis/crop_context.h"
#include "analysis/crop_pixel.h"
#include "common/stripes.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit::analysis::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if PXKIT_NATIVE_FMA_TARGET

// Truncating nx / nd and ny / nd per lane; 0 for den 0, wrapping negation
// for den -1. One f64 reciprocal serves both quotients: t = num x (1 / den)
// has a relative error below 2^-51, so |t - num / den| < 2^-20 / |den|, less
// than the distance 1 / |den| from a non-integer quotient to the next
// integer: trunc(t) is exact, except that an integer quotient may come out
// one short (toward zero). The remainder num - q den then equals den in
// magnitude (exact in wrapping 32-bit arithmetic) and q moves one away from 0.
template <class D>
HWY_INLINE void Quotients(D d, hn::Vec<D> nx, hn::Vec<D> ny, hn::Vec<D> nd, hn::Vec<D>& qx,
                          hn::Vec<D>& qy) {
  const hn::Half<D> dh;
  const hn::Rebind<double, decltype(dh)> dd;
  const auto zero = hn::Zero(d);
  const auto zero_den = hn::Eq(nd, zero);
  const auto minus_one = hn::Eq(nd, hn::Set(d, -1));
  const auto safe_den = hn::IfThenElse(hn::Or(zero_den, minus_one), hn::Set(d, 1), nd);
  const auto one = hn::Set(dd, 1.0);
  const auto r_lo = hn::Div(one, hn::PromoteTo(dd, hn::LowerHalf(dh, safe_den)));
  const auto r_hi = hn::Div(one, hn::PromoteTo(dd, hn::UpperHalf(dh, safe_den)));
  // |den| with the sign bit flipped, for unsigned comparisons through signed ones.
  const auto flip = hn::Set(d, INT32_MIN);
  const auto den_key = hn::Xor(hn::Abs(safe_den), flip);
  const auto quotient = [&](hn::Vec<D> num) HWY_ATTR {
    const auto t_lo = hn::Mul(hn::PromoteTo(dd, hn::LowerHalf(dh, num)), r_lo);
    const auto t_hi = hn::Mul(hn::PromoteTo(dd, hn::UpperHalf(dh, num)), r_hi);
    auto q = hn::Combine(d, hn::DemoteTo(dh, t_hi), hn::DemoteTo(dh, t_lo));
    const auto rem = hn::Sub(num, hn::Mul(q, safe_den));
    // +1 or -1: the sign of the quotient.
    const auto step = hn::Or(hn::BroadcastSignBit(hn::Xor(num, safe_den)), hn::Set(d, 1));
    const auto too_near = hn::Not(hn::Lt(hn::Xor(hn::Abs(rem), flip), den_key));
    q = hn::IfThenElse(too_near, hn::Add(q, step), q);
    q = hn::IfThenElse(minus_one, hn::Neg(num), q);
    return hn::IfThenZeroElse(zero_den, q);
  };
  qx = quotient(nx);
  qy = quotient(ny);
}

// a + b per lane, saturated to the int32 range.
template <class V>
HWY_INLINE V SaturatedAdd32(V a, V b) {
  const hn::DFromV<V> d;
  const V sum = hn::Add(a, b);  // wraps
  const auto overflow = hn::Lt(hn::And(hn::Xor(a, sum), hn::Xor(b, sum)), hn::Zero(d));
  const V limit = hn::Xor(hn::BroadcastSignBit(a), hn::Set(d, INT32_MAX));
  return hn::IfThenElse(overflow, limit, sum);
}

// What every blend needs for a vector of destination pixels.
template <class D>
struct Samples {
  hn::Mask<D> valid;
  hn::Vec<D> rem_x, rem_y;                        // num - q den
  hn::Vec<hn::RebindToUnsigned<D>> p00, p01, p10, p11;
};

template <class D>
HWY_INLINE Samples<D> Sample(D d, const std::uint8_t* src, std::int32_t pitch,
                             std::int32_t width_minus_2, std::int32_t height_minus_2,
                             hn::Vec<D> nx, hn::Vec<D> ny, hn::Vec<D> nd) {
  const hn::RebindToUnsigned<D> du;
  hn::Vec<D> qx, qy;
  Quotients(d, nx, ny, nd, qx, qy);
  const auto zero = hn::Zero(d);
  const auto valid = hn::And(hn::And(hn::Gt(qx, zero), hn::Gt(qy, zero)),
                             hn::And(hn::Lt(qx, hn::Set(d, width_minus_2)),
                                     hn::Lt(qy, hn::Set(d, height_minus_2))));
  const auto vpitch = hn::Set(d, pitch);
  const auto off0 = hn::IfThenElseZero(
      valid, hn::Add(hn::Mul(qy, vpitch), hn::Sub(qx, hn::Set(d, 1))));
  const auto* base = reinterpret_cast<const std::int32_t*>(src);
  const auto w0 = hn::BitCast(du, hn::GatherOffset(d, base, off0));
  const auto w1 = hn::BitCast(du, hn::GatherOffset(d, base, hn::Add(off0, vpitch)));
  const auto byte = hn::Set(du, 0xFFu);
  return {valid,
          hn::Sub(nx, hn::Mul(qx, nd)),
          hn::Sub(ny, hn::Mul(qy, nd)),
          hn::And(hn::ShiftRight<8>(w0), byte),
          hn::And(hn::ShiftRight<16>(w0), byte),
          hn::And(hn::ShiftRight<8>(w1), byte),
          hn::And(hn::ShiftRight<16>(w1), byte)};
}

// Stores the low byte of each lane.
template <class VU>
HWY_INLINE void StoreLowBytes(VU v, std::uint8_t* out) {
  const hn::Rebind<std::uint8_t, hn::DFromV<VU>> d8;
  hn::StoreU(hn::TruncateTo(d8, v), d8, out);
}

// The stripe kernel's blend (see stripe_pixel).
template <class D>
HWY_INLINE void StripeBlend(D /*d*/, const Samples<D>& s, std::uint8_t* out) {
  const hn::RebindToUnsigned<D> du;
  const auto fx = hn::BitCast(du, hn::ShiftRight<11>(s.rem_x));
  const auto fy = hn::BitCast(du, hn::ShiftRight<11>(s.rem_y));
  const auto linear = hn::ShiftLeft<8>(hn::Add(hn::Mul(hn::Sub(s.p01, s.p00), fx),
                                               hn::Mul(hn::Sub(s.p10, s.p00), fy)));
  const auto cross =
      hn::Mul(hn::Sub(hn::Add(hn::Sub(s.p11, s.p10), s.p00), s.p01), hn::Mul(fx, fy));
  const auto sum = hn::Add(hn::Add(linear, cross), hn::ShiftLeft<16>(s.p00));
  const auto value = hn::IfThenElseZero(hn::RebindMask(du, s.valid), hn::ShiftRight<16>(sum));
  StoreLowBytes(value, out);
}

// Sign-extended low 16 bits of each lane: a 16-bit lane's wrap-around.
template <class V>
HWY_INLINE V Low16(V v) {
  return hn::ShiftRight<16>(hn::ShiftLeft<16>(v));
}

// The single call's group blend (see group_pixel).
template <class D>
HWY_INLINE void GroupBlend(D d, const Samples<D>& s, std::uint8_t* out) {
  const hn::RebindToUnsigned<D> du;
  const auto one = hn::Set(d, 1);
  const auto rx = hn::Add(hn::ShiftRight<16>(s.rem_x), hn::And(hn::ShiftRight<15>(s.rem_x), one));
  const auto ry = hn::Add(hn::ShiftRight<16>(s.rem_y), hn::And(hn::ShiftRight<15>(s.rem_y), one));
  const auto fx = hn::BitCast(du, Low16(rx));
  const auto fy = hn::BitCast(du, Low16(ry));
  const auto linear = Low16(hn::BitCast(d, hn::Add(hn::Mul(hn::Sub(s.p01, s.p00), fx),
                                                   hn::Mul(hn::Sub(s.p10, s.p00), fy))));
  const auto shifted = hn::Min(hn::Max(hn::ShiftLeft<3>(linear), hn::Set(d, INT16_MIN)),
                               hn::Set(d, INT16_MAX));
  const auto cross =
      hn::Mul(hn::Mul(hn::Sub(hn::Add(hn::Sub(s.p11, s.p01), s.p00), s.p10), fx), fy);
  const auto sum = Low16(hn::BitCast(
      d, hn::Add(hn::Add(hn::BitCast(du, shifted), cross), hn::ShiftLeft<6>(s.p00))));
  const auto value = hn::ShiftRight<6>(hn::Add(sum, hn::Set(d, 32)));
  StoreLowBytes(hn::BitCast(du, hn::IfThenElseZero(s.valid, value)), out);
}

std::int32_t StripeKernel(std::uint64_t arg0, std::uint64_t arg1) {
  const crop_stripe& s = stripes::block_of<crop_stripe>(arg0);
  if (!crop_gather_fits(s.src_width, s.src_height, s.src_pitch)) {
    return scalar_crop_kernels().stripe(arg0, arg1);
  }
  const hn::ScalableTag<std::int32_t> d;
  const std::size_t n = hn::Lanes(d);
  const auto w2 = static_cast<std::int32_t>(s.src_width - 2);
  const auto h2 = static_cast<std::int32_t>(s.src_height - 2);
  const auto pitch = static_cast<std::int32_t>(s.src_pitch);
  const auto lanes = hn::Iota(d, 0);
  const auto iota_x = hn::Mul(lanes, hn::Set(d, s.inc_x));
  const auto iota_y = hn::Mul(lanes, hn::Set(d, s.inc_y));
  const auto iota_d = hn::Mul(lanes, hn::Set(d, s.inc_d));
  const auto step = static_cast<std::uint32_t>(n);
  const auto vstep_x = hn::Set(d, wrap_mad(s.inc_x, step, 0));
  const auto vstep_y = hn::Set(d, wrap_mad(s.inc_y, step, 0));
  const auto vstep_d = hn::Set(d, wrap_mad(s.inc_d, step, 0));
  std::uint8_t* dst = s.dst;
  std::int32_t rx = s.row_x, ry = s.row_y, rd = s.row_d;
  for (std::uint32_t r = 0; r < s.rows; ++r) {
    const std::int32_t x0 = wrap_add(rx, s.col_x), y0 = wrap_add(ry, s.col_y),
                       d0 = wrap_add(rd, s.col_d);
    auto nx = hn::Add(hn::Set(d, x0), iota_x);
    auto ny = hn::Add(hn::Set(d, y0), iota_y);
    auto nd = hn::Add(hn::Set(d, d0), iota_d);
    std::uint32_t i = 0;
    for (; i + n <= s.dst_width; i += step) {
      StripeBlend(d, Sample(d, s.src, pitch, w2, h2, nx, ny, nd), dst + i);
      nx = hn::Add(nx, vstep_x);
      ny = hn::Add(ny, vstep_y);
      nd = hn::Add(nd, vstep_d);
    }
    for (; i < s.dst_width; ++i) {
      dst[i] = stripe_pixel(s.src, s.src_pitch, s.src_width, s.src_height, wrap_mad(s.inc_x, i, x0),
                            wrap_mad(s.inc_y, i, y0), wrap_mad(s.inc_d, i, d0));
    }
    rx = wrap_add(rx, s.step_x);
    ry = wrap_add(ry, s.step_y);
    rd = wrap_add(rd, s.step_d);
    dst += s.dst_stride;
  }
  return 0;
}

void SingleCrop(const CropFrame& f) {
  if (!crop_gather_fits(f.src_width, f.src_height, f.src_stride)) {
    scalar_crop_kernels().single(f);
    return;
  }
  // A group is 8 pixels: one vector of 8 lanes, or two of 4 (NEON).
  const hn::CappedTag<std::int32_t, 8> d;
  const std::size_t n = hn::Lanes(d);
  const std::size_t parts = 8 / n;
  const std::int32_t* h = f.m.h;
  const auto w2 = static_cast<std::int32_t>(f.src_width - 2);
  const auto h2 = static_cast<std::int32_t>(f.src_height - 2);
  const auto stride = static_cast<std::int32_t>(f.src_stride);
  const std::int32_t quad_x = saturated_add(saturated_add(h[0], h[0]), saturated_add(h[0], h[0]));
  const std::int32_t quad_y = saturated_add(saturated_add(h[3], h[3]), saturated_add(h[3], h[3]));
  const std::int32_t quad_d = saturated_add(saturated_add(h[6], h[6]), saturated_add(h[6], h[6]));
  const auto vquad_x = hn::Set(d, quad_x), vquad_y = hn::Set(d, quad_y), vquad_d = hn::Set(d, quad_d);
  // Two quad steps, for rows that cannot saturate (wrapping; used only where exact).
  const auto vstep_x = hn::Set(d, wrap_mad(quad_x, 2, 0));
  const auto vstep_y = hn::Set(d, wrap_mad(quad_y, 2, 0));
  const auto vstep_d = hn::Set(d, wrap_mad(quad_d, 2, 0));
  const std::uint32_t groups = crop_group_columns(f.dst_width);
  const std::uint32_t x_first = f.x_offset + 1u;
  for (std::uint32_t j = 0; j < f.dst_height; ++j) {
    const std::uint32_t y = j + f.y_offset + 1u;
    const std::int32_t nx0 = wrap_mad(h[0], x_first, wrap_mad(h[1], y, h[2]));
    const std::int32_t ny0 = wrap_mad(h[3], x_first, wrap_mad(h[4], y, h[5]));
    const std::int32_t nd0 = wrap_mad(h[6], x_first, wrap_mad(h[7], y, h[8]));
    std::uint8_t* row = f.dst + std::uint64_t{j} * f.dst_stride;
    if (groups != 0) {
      // Lanes 0-3 from the row's start terms, lanes 4-7 a saturating quad step on.
      alignas(32) std::int32_t lane_x[8], lane_y[8], lane_d[8];
      for (std::uint32_t l = 0; l < 4; ++l) {
        lane_x[l] = wrap_mad(h[0], l, nx0);
        lane_y[l] = wrap_mad(h[3], l, ny0);
        lane_d[l] = wrap_mad(h[6], l, nd0);
        lane_x[l + 4] = saturated_add(lane_x[l], quad_x);
        lane_y[l + 4] = saturated_add(lane_y[l], quad_y);
        lane_d[l + 4] = saturated_add(lane_d[l], quad_d);
      }
      hn::Vec<decltype(d)> vx[2], vy[2], vd[2];
      for (std::size_t p = 0; p < parts; ++p) {
        vx[p] = hn::Load(d, lane_x + p * n);
        vy[p] = hn::Load(d, lane_y + p * n);
        vd[p] = hn::Load(d, lane_d + p * n);
      }
      // Rows whose lanes stay inside the int32 range up to the last group step
      // with plain additions, which then equal the saturating ones.
      const std::int64_t steps = 2 * std::int64_t{groups / 8};
      const auto stays = [&](const std::int32_t* lanes, std::int32_t quad) {
        for (int l = 0; l < 8; ++l) {
          const std::int64_t last = lanes[l] + steps * quad;
          if (last > INT32_MAX || last < INT32_MIN) return false;
        }
        return true;
      };
      const bool plain = stays(lane_x, quad_x) && stays(lane_y, quad_y) && stays(lane_d, quad_d);
      for (std::uint32_t c = 0; c < groups; c += 8) {
        for (std::size_t p = 0; p < parts; ++p) {
          GroupBlend(d, Sample(d, f.src, stride, w2, h2, vx[p], vy[p], vd[p]), row + c + p * n);
          if (plain) {
            vx[p] = hn::Add(vx[p], vstep_x);
            vy[p] = hn::Add(vy[p], vstep_y);
            vd[p] = hn::Add(vd[p], vstep_d);
          } else {
            vx[p] = SaturatedAdd32(SaturatedAdd32(vx[p], vquad_x), vquad_x);
            vy[p] = SaturatedAdd32(SaturatedAdd32(vy[p], vquad_y), vquad_y);
            vd[p] = SaturatedAdd32(SaturatedAdd32(vd[p], vquad_d), vquad_d);
          }
        }
      }
    }
    for (std::uint32_t c = groups; c < f.dst_width; ++c) {
      row[c] = tail_pixel(f.src, f.src_stride, f.src_width, f.src_height, wrap_mad(h[0], c, nx0),
                          wrap_mad(h[3], c, ny0), wrap_mad(h[6], c, nd0));
    }
  }
}

const crop_kernels* VectorCropKernels() {
  static constexpr crop_kernels kKernels{&StripeKernel, &SingleCrop};
  return &kKernels;
}

#else

// Targets without native fused multiply-add are never chosen for vector kernels.
const crop_kernels* VectorCropKernels() { return nullptr; }

#endif

}  // namespace pxkit::analysis::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pxkit::analysis {

HWY_EXPORT(VectorCropKernels);

const crop_kernels& active_crop_kernels() {
  const auto getter = simd::select(HWY_DISPATCH_TABLE(VectorCropKernels));
  const crop_kernels* vector = getter != nullptr ? getter() : nullptr;
  return vector != nullptr ? *vector : scalar_crop_kernels();
}

}  // namespace pxkit::analysis
#endif  // HWY_ONCE
