// Vector forms of common/numeric.h, per Highway target: every lane gives the
// bits of the scalar function of the same name.
//
// Include from a source compiled through hwy/foreach_target.h, after
// hwy/highway.h; the toggle guard re-includes it once per target.
#if defined(PXKIT_COMMON_NUMERIC_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef PXKIT_COMMON_NUMERIC_INL_H_
#undef PXKIT_COMMON_NUMERIC_INL_H_
#else
#define PXKIT_COMMON_NUMERIC_INL_H_
#endif

#include <hwy/highway.h>

#include <cstdint>
#include <limits>

#include "common/numeric.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// f32 -> i32 truncation of lanes known to lie in (-2^31, 2^31). On x86,
// Highway's ConvertTo adds a repair of out-of-range lanes (three or four more
// operations per vector) that such lanes never need; the raw instruction gives
// INT32_MIN for NaN and for every lane out of range.
#if HWY_ARCH_X86 && HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
HWY_INLINE __m128i TruncRaw(__m128 v) { return _mm_cvttps_epi32(v); }
#if HWY_TARGET <= HWY_AVX2
HWY_INLINE __m256i TruncRaw(__m256 v) { return _mm256_cvttps_epi32(v); }
#endif
#if HWY_TARGET <= HWY_AVX3
HWY_INLINE __m512i TruncRaw(__m512 v) { return _mm512_cvttps_epi32(v); }
#endif
#endif

template <class DF>
HWY_INLINE hn::Vec<hn::RebindToSigned<DF>> TruncInRange(DF /*df*/, hn::Vec<DF> v) {
#if HWY_ARCH_X86 && HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
  return hn::Vec<hn::RebindToSigned<DF>>{TruncRaw(v.raw)};
#else
  return hn::ConvertTo(hn::RebindToSigned<DF>(), v);
#endif
}

// trunc_saturate_i32 per lane. Arm's conversion already saturates and gives 0
// for NaN. The raw x86 conversion needs two repairs: lanes of 2^31 and above
// become INT32_MAX, NaN lanes 0. Elsewhere NaN is zeroed and the range clamped
// before ConvertTo (2147483520 is the largest f32 below 2^31).
template <class DF>
HWY_INLINE hn::Vec<hn::RebindToSigned<DF>> TruncSaturateI32(DF df, hn::Vec<DF> v) {
  const hn::RebindToSigned<DF> di;
#if HWY_TARGET == HWY_NEON
  (void)df;
  return hn::ConvertTo(di, v);
#elif HWY_ARCH_X86 && HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
  const auto too_big = hn::RebindMask(di, hn::Ge(v, hn::Set(df, kTwo31)));
  const auto saturated = hn::Xor(TruncInRange(df, v), hn::VecFromMask(di, too_big));
  return hn::IfThenZeroElse(hn::RebindMask(di, hn::IsNaN(v)), saturated);
#else
  const auto number = hn::IfThenZeroElse(hn::IsNaN(v), v);
  const auto clamped = hn::Min(hn::Max(number, hn::Set(df, -kTwo31)), hn::Set(df, 2147483520.0f));
  const auto too_big = hn::RebindMask(di, hn::Ge(number, hn::Set(df, kTwo31)));
  return hn::IfThenElse(too_big, hn::Set(di, std::numeric_limits<std::int32_t>::max()),
                        hn::ConvertTo(di, clamped));
#endif
}

// trunc_saturate_u32 per lane: [2^31, 2^32) is converted as v - 2^31 (exact,
// an integer there) with the top bit set back; lanes that are not > 0
// (negatives, NaN) give 0, 2^32 and above UINT32_MAX.
template <class DF>
HWY_INLINE hn::Vec<hn::RebindToUnsigned<DF>> TruncSaturateU32(DF df, hn::Vec<DF> v) {
  const hn::RebindToUnsigned<DF> du;
  const auto high = hn::Ge(v, hn::Set(df, kTwo31));
  const auto low = hn::IfThenElse(high, hn::Sub(v, hn::Set(df, kTwo31)), v);
  const auto clamped = hn::Min(hn::Max(low, hn::Zero(df)), hn::Set(df, 2147483520.0f));
  auto u = hn::BitCast(du, TruncInRange(df, clamped));  // NaN lanes are zeroed below
  u = hn::IfThenElse(hn::RebindMask(du, high), hn::Or(u, hn::Set(du, 0x80000000u)), u);
  u = hn::IfThenElse(hn::RebindMask(du, hn::Ge(v, hn::Set(df, kTwo32))),
                     hn::Set(du, std::numeric_limits<std::uint32_t>::max()), u);
  return hn::IfThenElseZero(hn::RebindMask(du, hn::Gt(v, hn::Zero(df))), u);
}

}  // namespace HWY_NAMESPACE
}  // namespace pxkit
HWY_AFTER_NAMESPACE();

#endif  // include guard
