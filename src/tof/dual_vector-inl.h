// Vector forms of the dual-frequency pixel steps, per Highway target. Every
// lane gives the same bits as the scalar forms in dual_pixel.h and
// dual_unwrap.h.
//
// Include from a source compiled through hwy/foreach_target.h, after
// hwy/highway.h; the toggle guard re-includes it once per target.
#if defined(PXKIT_TOF_DUAL_VECTOR_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef PXKIT_TOF_DUAL_VECTOR_INL_H_
#undef PXKIT_TOF_DUAL_VECTOR_INL_H_
#else
#define PXKIT_TOF_DUAL_VECTOR_INL_H_
#endif

#include <hwy/highway.h>

#include <bit>
#include <cstddef>
#include <cstdint>

#include "tof/dual_kernels.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// t - float(trunc_saturate_i32(t)). Trunc is exact; adding +0 turns the -0 of
// -1 < t < 0 into the +0 that the integer round trip gives; the clamp is the
// saturation at +-2^31. A NaN t stays NaN whatever the clamp makes of it.
template <class DF>
HWY_INLINE hn::Vec<DF> WrapFraction(DF df, hn::Vec<DF> t) {
  const auto whole = hn::Add(hn::Trunc(t), hn::Zero(df));
  const auto clamped = hn::Min(hn::Max(whole, hn::Set(df, -2147483648.0f)),
                               hn::Set(df, 2147483648.0f));
  return hn::Sub(t, clamped);
}

// dual_unwrap in every lane. All lanes make the same additions in the same
// order (m0 and m1 are the same for all); a lane that found its match keeps
// it, and the search stops once every lane has one. |u - t| equals the scalar
// "t - u if t > u else u - t" (only compared, so a NaN's sign is irrelevant).
template <class DF>
HWY_INLINE hn::Vec<DF> DualUnwrap(DF df, hn::Vec<DF> phi0, hn::Vec<DF> phi1, std::uint32_t m0,
                                  std::uint32_t m1) {
  if (m1 == 0) return phi1;
  const auto m0f = hn::Set(df, static_cast<float>(m0));
  const auto m1f = hn::Set(df, static_cast<float>(m1));
  const auto half = hn::Set(df, 0.5f);
  auto best = hn::Set(df, 100.0f);
  auto best_k = hn::Zero(df);
  auto match_k = hn::Zero(df);
  auto matched = hn::FirstN(df, 0);  // no lane yet
  auto t = hn::Mul(phi1, m0f);
  for (std::uint32_t k = 0; k < m1; ++k) {
    const auto kf = hn::Set(df, static_cast<float>(k));
    auto u = hn::Mul(hn::Add(kf, phi0), m1f);
    auto hit = matched;
    for (std::uint32_t j = k; j < m0; ++j) {
      const auto d = hn::Abs(hn::Sub(u, t));
      u = hn::Add(u, m1f);
      hit = hn::Or(hit, hn::Lt(d, half));
      const auto closer = hn::Lt(d, best);
      best = hn::IfThenElse(closer, d, best);
      best_k = hn::IfThenElse(closer, kf, best_k);
    }
    match_k = hn::IfThenElse(hn::AndNot(matched, hit), kf, match_k);
    matched = hit;
    if (hn::AllTrue(df, matched)) break;
    t = hn::Add(t, m0f);
  }
  const auto unmatched = hn::IfThenElse(hn::Lt(best, hn::Set(df, 1.0f)), hn::Add(phi1, best_k), phi1);
  return hn::IfThenElse(matched, hn::Add(phi1, match_k), unmatched);
}

// One term of Lanes(di) pixels from `plane` at pixel i, as dual_term.
template <DualLayout L, class DI>
HWY_INLINE hn::Vec<DI> DualTerm(DI di, const std::uint16_t* plane, std::size_t i) {
  if constexpr (L == DualLayout::kInterleave) {
    // A pair (even, odd) read as one little-endian u32 lane: even in the low half.
    static_assert(std::endian::native == std::endian::little);
    const hn::Repartition<std::uint16_t, DI> d16;
    const hn::RebindToUnsigned<DI> du;
    const auto pairs = hn::BitCast(du, hn::LoadU(d16, plane + 2 * i));
    const auto even = hn::And(pairs, hn::Set(du, 0xFFFFu));
    const auto odd = hn::ShiftRight<16>(pairs);
    return hn::Sub(hn::BitCast(di, even), hn::BitCast(di, odd));
  } else {
    const hn::Rebind<std::uint16_t, DI> d16;
    return hn::PromoteTo(di, hn::LoadU(d16, plane + i));
  }
}

}  // namespace HWY_NAMESPACE
}  // namespace pxkit
HWY_AFTER_NAMESPACE();

#endif  // PXKIT_TOF_DUAL_VECTOR_INL_H_
