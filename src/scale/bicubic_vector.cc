// Vector kernels of the bicubic sampler, compiled once per Highway target. One
// vector of outputs per step: the 4 x 4 neighbourhoods come from four 32-bit
// gathers (one per row, bytes x - 1 .. x + 2), and the weights and fused chains
// are those of bicubic_rules.h lane by lane. The last outputs take the scalar rule.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "scale/bicubic_vector.cc"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

#include "scale/bicubic_kernels.h"
#include "scale/bicubic_rules.h"
#include "simd/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit::scale::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR

using DF = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<DF>;
using DU = hn::RebindToUnsigned<DF>;
using VF = hn::Vec<DF>;

struct VWeights {
  VF w0, w1, w2, w3;
};

HWY_INLINE VWeights Weights(VF t, VF a, VF a2, VF a3) {
  const DF df;
  const VF one = hn::Set(df, 1.0f), two = hn::Set(df, 2.0f);
  const auto inner = [&](VF s) HWY_ATTR {
    return hn::MulAdd(hn::MulAdd(a2, s, hn::Neg(a3)), hn::Mul(s, s), one);
  };
  const auto outer = [&](VF s) HWY_ATTR {
    const VF p = hn::MulAdd(hn::Sub(s, hn::Set(df, 5.0f)), s, hn::Set(df, 8.0f));
    return hn::Mul(a, hn::MulAdd(p, s, hn::Set(df, -4.0f)));
  };
  return {outer(hn::Add(one, t)), inner(t), inner(hn::Sub(one, t)), outer(hn::Sub(two, t))};
}

HWY_INLINE VF Dot(const VWeights& w, VF p0, VF p1, VF p2, VF p3) {
  VF acc = hn::Mul(w.w1, p1);
  acc = hn::MulAdd(w.w0, p0, acc);
  acc = hn::MulAdd(w.w2, p2, acc);
  return hn::MulAdd(w.w3, p3, acc);
}

// One row of four bytes at byte offsets `off`, combined with the column weights.
HWY_INLINE VF Row(const std::int32_t* base, hn::Vec<DI> off, const VWeights& wx) {
  const DF df;
  const DI di;
  const DU du;
  const auto v = hn::BitCast(du, hn::GatherOffset(di, base, off));
  const auto mask = hn::Set(du, 0xFFu);
  const auto byte = [&](auto u) HWY_ATTR { return hn::ConvertTo(df, hn::BitCast(di, u)); };
  return Dot(wx, byte(hn::And(v, mask)), byte(hn::And(hn::ShiftRight<8>(v), mask)),
             byte(hn::And(hn::ShiftRight<16>(v), mask)), byte(hn::ShiftRight<24>(v)));
}

void BicubicLine(const std::uint8_t* src, std::uint8_t* dst, std::uint32_t width, float a,
                 float x0, float y0, float dx, float dy, std::int32_t first, std::int32_t end) {
  const DF df;
  const DI di;
  const DU du;
  const hn::Rebind<std::uint8_t, DF> d8;
  const auto n = static_cast<std::int32_t>(hn::Lanes(df));
  const VF va = hn::Set(df, a), va2 = hn::Set(df, a + 2.0f), va3 = hn::Set(df, a + 3.0f);
  const VF vx0 = hn::Set(df, x0), vy0 = hn::Set(df, y0), vdx = hn::Set(df, dx),
           vdy = hn::Set(df, dy);
  const auto vw = hn::Set(di, static_cast<std::int32_t>(width));
  const auto* base = reinterpret_cast<const std::int32_t*>(src);
  std::int32_t k = first;
  for (; k <= end - n; k += n) {
    const VF kf = hn::ConvertTo(df, hn::Iota(di, k));
    const VF x = hn::MulAdd(kf, vdx, vx0);
    const VF y = hn::MulAdd(kf, vdy, vy0);
    const auto xi = hn::ConvertTo(di, x);
    const auto yi = hn::ConvertTo(di, y);
    const VWeights wx = Weights(hn::Sub(x, hn::ConvertTo(df, xi)), va, va2, va3);
    const VWeights wy = Weights(hn::Sub(y, hn::ConvertTo(df, yi)), va, va2, va3);
    // Byte offset of column x - 1 in row y - 1, then one row further each time.
    auto off = hn::Add(hn::Mul(hn::Sub(yi, hn::Set(di, 1)), vw), hn::Sub(xi, hn::Set(di, 1)));
    const VF r0 = Row(base, off, wx);
    off = hn::Add(off, vw);
    const VF r1 = Row(base, off, wx);
    off = hn::Add(off, vw);
    const VF r2 = Row(base, off, wx);
    off = hn::Add(off, vw);
    const VF r3 = Row(base, off, wx);
    const VF sum = Dot(wy, r0, r1, r2, r3);
    // wrap_to_byte: lanes outside [0, 2^31) (NaN included) become 0.
    const auto keep = hn::And(hn::Ge(sum, hn::Zero(df)), hn::Lt(sum, hn::Set(df, 2147483648.0f)));
    const auto whole = hn::ConvertTo(di, hn::IfThenElseZero(keep, sum));
    hn::StoreU(hn::TruncateTo(d8, hn::BitCast(du, whole)), d8, dst + k);
  }
  for (; k < end; ++k) dst[k] = bicubic_output(src, width, a, x0, y0, dx, dy, k);
}

bicubic_kernel VectorBicubicKernel() { return &BicubicLine; }

#else  // HWY_TARGET == HWY_SCALAR

bicubic_kernel VectorBicubicKernel() { return &bicubic_line_scalar; }

#endif

}  // namespace pxkit::scale::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pxkit::scale {

HWY_EXPORT(VectorBicubicKernel);

bicubic_kernel choose_bicubic_kernel(std::uint32_t width, std::uint32_t height) {
  // Offsets reach from one row before the image to two rows after it.
  if (static_cast<std::uint64_t>(width) * (std::uint64_t{height} + 3) >= (std::uint64_t{1} << 31))
    return &bicubic_line_scalar;
  const auto getter = simd::select(HWY_DISPATCH_TABLE(VectorBicubicKernel));
  return getter != nullptr ? getter() : &bicubic_line_scalar;
}

}  // namespace pxkit::scale
#endif  // HWY_ONCE
