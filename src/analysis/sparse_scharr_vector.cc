// Vector kernels of the sparse Scharr gradient, compiled once per Highway
// target. All sums fit 16-bit lanes (|s| <= 4080, |gx|, |gy| <= 255); border
// columns and the columns a full vector cannot reach go through the rules.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "analysis/sparse_scharr_vector.cc"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

#include "analysis/sparse_scharr_kernels.h"
#include "common/stripes.h"
#include "simd/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit::analysis::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Only targets with native fused multiply-add are ever chosen (common/stripes.h).
#if !PXKIT_NATIVE_FMA_TARGET
const sparse_scharr_kernels* SparseScharrVectorKernels() { return nullptr; }
#else

using DI16 = hn::ScalableTag<std::int16_t>;
using VI16 = hn::Vec<DI16>;

// s = 3 (l + r) + 10 m and d = r - l per lane.
template <class D>
HWY_INLINE void SmoothDiffLanes(D d, hn::Vec<D> l, hn::Vec<D> m, hn::Vec<D> r, hn::Vec<D>& s,
                                hn::Vec<D>& diff) {
  s = hn::Add(hn::Mul(hn::Add(l, r), hn::Set(d, 3)), hn::Mul(m, hn::Set(d, 10)));
  diff = hn::Sub(r, l);
}

// Magnitude and code of one vector of grid points from gx and gy.
HWY_INLINE void FinishPoints(VI16 gx, VI16 gy, const std::uint8_t* HWY_RESTRICT table,
                             std::uint8_t* HWY_RESTRICT magnitude, std::uint8_t* HWY_RESTRICT code) {
  const hn::Rebind<std::uint8_t, DI16> du8;
  // |gx| + |gy| <= 510; the saturating narrowing clamps it to 255.
  hn::StoreU(hn::DemoteTo(du8, hn::Add(hn::Abs(gx), hn::Abs(gy))), du8, magnitude);

  // The code byte is the top byte of the 32-bit word that ends at it, so that
  // no gather reads past the table's last byte (the lowest index is 513).
  const hn::Half<DI16> dh16;
  const hn::Repartition<std::int32_t, DI16> di32;
  const hn::Rebind<std::uint8_t, decltype(di32)> du8q;
  const auto* words = reinterpret_cast<const std::int32_t*>(table);
  const auto bias = hn::Set(di32, 256 * 512 + 256 - 3);
  const std::size_t half = hn::Lanes(di32);
  const auto offset_lo = hn::Add(hn::Add(hn::ShiftLeft<9>(hn::PromoteTo(di32, hn::LowerHalf(dh16, gy))),
                                         hn::PromoteTo(di32, hn::LowerHalf(dh16, gx))), bias);
  const auto offset_hi = hn::Add(hn::Add(hn::ShiftLeft<9>(hn::PromoteTo(di32, hn::UpperHalf(dh16, gy))),
                                         hn::PromoteTo(di32, hn::UpperHalf(dh16, gx))), bias);
  const auto code_lo = hn::ShiftRight<24>(hn::BitCast(hn::RebindToUnsigned<decltype(di32)>(),
                                                      hn::GatherOffset(di32, words, offset_lo)));
  const auto code_hi = hn::ShiftRight<24>(hn::BitCast(hn::RebindToUnsigned<decltype(di32)>(),
                                                      hn::GatherOffset(di32, words, offset_hi)));
  hn::StoreU(hn::DemoteTo(du8q, hn::BitCast(di32, code_lo)), du8q, code);
  hn::StoreU(hn::DemoteTo(du8q, hn::BitCast(di32, code_hi)), du8q, code + half);
}

// Grid points j0 <= j < j_end that are interior (mirror rules excluded).
HWY_INLINE std::int64_t InteriorEnd(const GridColumns& g) {
  return g.mirror_right ? g.count - 1 : g.count;
}

// One grid row at step 2: lane k is grid point j + k at column c = 2 (j + k).
// The bytes from c - 1 on, taken as 16-bit lanes, hold p[c - 1] (low) and
// p[c] (high); the bytes from c on hold p[c + 1] high.
void Step2Row(const std::uint8_t* t, const std::uint8_t* m, const std::uint8_t* b,
              const GridColumns& g, const std::uint8_t* table, std::uint8_t* magnitude,
              std::uint8_t* code) {
  const DI16 di16;
  const hn::Repartition<std::uint8_t, DI16> d8;
  const std::int64_t lanes = static_cast<std::int64_t>(hn::Lanes(di16));
  const auto low_byte = hn::Set(di16, 0xFF);
  const auto row_sums = [&](const std::uint8_t* p, std::int64_t j, VI16& s, VI16& d) HWY_ATTR {
    const VI16 a = hn::BitCast(di16, hn::LoadU(d8, p + 2 * j - 1));
    const VI16 c = hn::BitCast(di16, hn::LoadU(d8, p + 2 * j));
    const VI16 l = hn::And(a, low_byte);
    const hn::RebindToUnsigned<DI16> du16;
    const VI16 mid = hn::BitCast(di16, hn::ShiftRight<8>(hn::BitCast(du16, a)));
    const VI16 r = hn::BitCast(di16, hn::ShiftRight<8>(hn::BitCast(du16, c)));
    SmoothDiffLanes(di16, l, mid, r, s, d);
  };
  const auto point = [&](std::int64_t j) HWY_ATTR {
    const SmoothDiff st = smooth_diff_at(t, g, j), sm = smooth_diff_at(m, g, j),
                     sb = smooth_diff_at(b, g, j);
    finish_point(gradient_x(st.d, sm.d, sb.d), gradient_y(st.s, sb.s), table, magnitude + j,
                 code + j);
  };
  const std::int64_t end = InteriorEnd(g);
  std::int64_t j = 0;
  if (g.count > 0) point(j++);
  // The last lane reads up to column 2 (j + lanes) - 1, which must exist.
  for (; j + lanes <= end && 2 * (j + lanes) <= g.width; j += lanes) {
    VI16 st, dt, sm, dm, sb, db;
    row_sums(t, j, st, dt);
    row_sums(m, j, sm, dm);
    row_sums(b, j, sb, db);
    const VI16 gy = hn::ShiftRight<4>(hn::Sub(sb, st));
    const VI16 gx = hn::ShiftRight<4>(hn::Add(hn::Mul(hn::Add(dt, db), hn::Set(di16, 3)),
                                              hn::Mul(dm, hn::Set(di16, 10))));
    FinishPoints(gx, gy, table, magnitude + j, code + j);
  }
  for (; j < g.count; ++j) point(j);
}

void StoreRowValues(const GridColumns& g, const std::uint8_t* row, std::int64_t j,
                    std::int16_t* smooth, std::int16_t* diff) {
  const SmoothDiff v = smooth_diff_at(row, g, j);
  smooth[j] = static_cast<std::int16_t>(v.s);
  diff[j] = static_cast<std::int16_t>(v.d);
}

// Contiguous grid columns: lane k is column j + k.
void RowPassStep1(const std::uint8_t* row, const GridColumns& g, std::int16_t* smooth,
                  std::int16_t* diff) {
  const DI16 di16;
  const hn::Rebind<std::uint8_t, DI16> du8;
  const std::int64_t lanes = static_cast<std::int64_t>(hn::Lanes(di16));
  const std::int64_t end = InteriorEnd(g);
  std::int64_t j = 0;
  if (g.count > 0) StoreRowValues(g, row, j++, smooth, diff);
  for (; j + lanes <= end && j + lanes < g.width; j += lanes) {
    VI16 s, d;
    SmoothDiffLanes(di16, hn::PromoteTo(di16, hn::LoadU(du8, row + j - 1)),
                    hn::PromoteTo(di16, hn::LoadU(du8, row + j)),
                    hn::PromoteTo(di16, hn::LoadU(du8, row + j + 1)), s, d);
    hn::StoreU(s, di16, smooth + j);
    hn::StoreU(d, di16, diff + j);
  }
  for (; j < g.count; ++j) StoreRowValues(g, row, j, smooth, diff);
}

// Other steps: the four bytes from c - 1 on, as one 32-bit lane, hold
// p[c - 1], p[c] and p[c + 1] in their low three bytes. At step 4 the lanes
// are consecutive words, one plain load; other steps gather them.
template <bool kGather>
void RowPassWords(const std::uint8_t* row, const GridColumns& g, std::int16_t* smooth,
                  std::int16_t* diff) {
  const hn::ScalableTag<std::int32_t> di32;
  const hn::Repartition<std::uint8_t, decltype(di32)> d8;
  const hn::Rebind<std::int16_t, decltype(di32)> dh16;
  const std::int64_t lanes = static_cast<std::int64_t>(hn::Lanes(di32));
  const auto low_byte = hn::Set(di32, 0xFF);
  const auto* words = reinterpret_cast<const std::int32_t*>(row);
  const auto lane_offsets = hn::Mul(hn::Iota(di32, 0), hn::Set(di32, static_cast<std::int32_t>(g.step)));
  const std::int64_t end = InteriorEnd(g);
  std::int64_t j = 0;
  if (g.count > 0) StoreRowValues(g, row, j++, smooth, diff);
  // The word of the last lane ends at column (j + lanes - 1) step + 2.
  for (; j + lanes <= end && (j + lanes - 1) * g.step + 3 <= g.width; j += lanes) {
    hn::Vec<decltype(di32)> v;
    if constexpr (kGather) {
      const auto first = hn::Set(di32, static_cast<std::int32_t>(j * g.step - 1));
      v = hn::GatherOffset(di32, words, hn::Add(lane_offsets, first));
    } else {
      v = hn::BitCast(di32, hn::LoadU(d8, row + 4 * j - 1));
    }
    hn::Vec<decltype(di32)> s, d;
    SmoothDiffLanes(di32, hn::And(v, low_byte), hn::And(hn::ShiftRight<8>(v), low_byte),
                    hn::And(hn::ShiftRight<16>(v), low_byte), s, d);
    hn::StoreU(hn::DemoteTo(dh16, s), dh16, smooth + j);
    hn::StoreU(hn::DemoteTo(dh16, d), dh16, diff + j);
  }
  for (; j < g.count; ++j) StoreRowValues(g, row, j, smooth, diff);
}

void Combine(const std::int16_t* const s[3], const std::int16_t* const d[3], std::int64_t count,
             const std::uint8_t* table, std::uint8_t* magnitude, std::uint8_t* code) {
  const DI16 di16;
  const std::int64_t lanes = static_cast<std::int64_t>(hn::Lanes(di16));
  std::int64_t j = 0;
  for (; j + lanes <= count; j += lanes) {
    const VI16 gy = hn::ShiftRight<4>(hn::Sub(hn::LoadU(di16, s[2] + j), hn::LoadU(di16, s[0] + j)));
    const VI16 outer = hn::Add(hn::LoadU(di16, d[0] + j), hn::LoadU(di16, d[2] + j));
    const VI16 gx = hn::ShiftRight<4>(hn::Add(hn::Mul(outer, hn::Set(di16, 3)),
                                              hn::Mul(hn::LoadU(di16, d[1] + j), hn::Set(di16, 10))));
    FinishPoints(gx, gy, table, magnitude + j, code + j);
  }
  for (; j < count; ++j)
    finish_point(gradient_x(d[0][j], d[1][j], d[2][j]), gradient_y(s[0][j], s[2][j]), table,
                 magnitude + j, code + j);
}

const sparse_scharr_kernels* SparseScharrVectorKernels() {
  static constexpr sparse_scharr_kernels kKernels{
      Step2Row, RowPassStep1, RowPassWords<false>, RowPassWords<true>, Combine};
  return &kKernels;
}

#endif  // HWY_TARGET

}  // namespace pxkit::analysis::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pxkit::analysis {

HWY_EXPORT(SparseScharrVectorKernels);

const sparse_scharr_kernels& sparse_scharr_active_kernels() {
  const auto getter = simd::select(HWY_DISPATCH_TABLE(SparseScharrVectorKernels));
  const sparse_scharr_kernels* kernels = getter != nullptr ? getter() : nullptr;
  return kernels != nullptr ? *kernels : sparse_scharr_scalar_kernels();
}

}  // namespace pxkit::analysis
#endif  // HWY_ONCE
