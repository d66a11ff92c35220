// Vector forms of fast_atan2, of the amplitude and of its shift, per Highway
// target. Every lane gives the same bits as pxkit::fast_atan2_scalar /
// amplitude_scalar / apply_amplitude_shift.
//
// Include from a source compiled through hwy/foreach_target.h, after
// hwy/highway.h; the toggle guard re-includes it once per target.
#if defined(PXKIT_TOF_VECTOR_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef PXKIT_TOF_VECTOR_INL_H_
#undef PXKIT_TOF_VECTOR_INL_H_
#else
#define PXKIT_TOF_VECTOR_INL_H_
#endif

#include <hwy/highway.h>

#include "common/numeric-inl.h"
#include "tof/amplitude_shift.h"
#include "tof/atan_pairs.h"
#include "tof/atan_table.h"
#include "tof/fast_atan.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// f = q - i/16 for 0 <= q < 128 and i = trunc(16 q): exact, so bit for bit the
// scalar form's fma((float)-i, 1/16, q). AVX-512 has it in one instruction
// (VREDUCEPS keeping 4 fraction bits, truncating).
template <class DF>
HWY_INLINE hn::Vec<DF> SegmentOffset(DF df, hn::Vec<DF> q, hn::Vec<hn::RebindToSigned<DF>> i) {
#if HWY_TARGET == HWY_AVX3
  if constexpr (sizeof(q.raw) == 64) {
    (void)i;
    return hn::Vec<DF>{_mm512_reduce_ps(q.raw, (4 << 4) | _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC)};
  }
#endif
  return hn::NegMulAdd(hn::ConvertTo(df, i), hn::Set(df, atan_detail::kStep), q);
}

// t = table[i] and s = slope[i] per lane. With `pairs` (atan_pairs()), AVX-512
// and AVX2 fetch each (t, s) pair with one 64-bit gather, two gathers of half
// the lanes instead of two of all lanes, and split the pairs again.
template <class DF>
HWY_INLINE void GatherSegment(DF df, hn::Vec<hn::RebindToSigned<DF>> i, const float* pairs,
                              hn::Vec<DF>& t, hn::Vec<DF>& s) {
#if HWY_TARGET == HWY_AVX3
  if constexpr (sizeof(i.raw) == 64) {
    if (pairs != nullptr) {
      const auto* p = reinterpret_cast<const double*>(pairs);
      const __m512 lo = _mm512_castpd_ps(_mm512_i32gather_pd(_mm512_castsi512_si256(i.raw), p, 8));
      const __m512 hi =
          _mm512_castpd_ps(_mm512_i32gather_pd(_mm512_extracti64x4_epi64(i.raw, 1), p, 8));
      const __m512i even =
          _mm512_set_epi32(30, 28, 26, 24, 22, 20, 18, 16, 14, 12, 10, 8, 6, 4, 2, 0);
      const __m512i odd =
          _mm512_set_epi32(31, 29, 27, 25, 23, 21, 19, 17, 15, 13, 11, 9, 7, 5, 3, 1);
      t = hn::Vec<DF>{_mm512_permutex2var_ps(lo, even, hi)};
      s = hn::Vec<DF>{_mm512_permutex2var_ps(lo, odd, hi)};
      return;
    }
  }
#endif
#if HWY_TARGET == HWY_AVX2
  // Two 4-lane 64-bit gathers cost less than two 8-lane 32-bit ones (on AMD
  // Zen 3 about half); the pairs are split with a shuffle and a permute each.
  if constexpr (sizeof(i.raw) == 32) {
    if (pairs != nullptr) {
      const auto* p = reinterpret_cast<const double*>(pairs);
      const __m256 lo = _mm256_castpd_ps(_mm256_i32gather_pd(p, _mm256_castsi256_si128(i.raw), 8));
      const __m256 hi =
          _mm256_castpd_ps(_mm256_i32gather_pd(p, _mm256_extracti128_si256(i.raw, 1), 8));
      // Per 128-bit half: entries (slopes) of lanes 0, 1, 4, 5 | 2, 3, 6, 7.
      const __m256 even = _mm256_shuffle_ps(lo, hi, _MM_SHUFFLE(2, 0, 2, 0));
      const __m256 odd = _mm256_shuffle_ps(lo, hi, _MM_SHUFFLE(3, 1, 3, 1));
      t = hn::Vec<DF>{_mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(even), 0xD8))};
      s = hn::Vec<DF>{_mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(odd), 0xD8))};
      return;
    }
  }
#endif
  (void)pairs;
  t = hn::GatherIndex(df, atan_table, i);
  s = hn::GatherIndex(df, atan_table + kAtanGridPoints, i);
}

// The saturated results are the last table entry folded like any other.
static_assert(atan_detail::kPi - atan_detail::kSaturated == atan_detail::kSaturatedQ2);
static_assert(atan_detail::kPi + atan_detail::kSaturated == atan_detail::kSaturatedQ3);
static_assert(kTwoPi - atan_detail::kSaturated == atan_detail::kSaturatedQ4);
static_assert(2047.0f / 16.0f < atan_detail::kSaturationRatio);

// Angle of (x, y) in [0, 2 pi), as fast_atan2_scalar:
//   x > 0, y >= 0: (0    + t) + f s     q = y / x
//   x > 0, y <  0: (2 pi - t) - f s     q = -y / x
//   x < 0, y <  0: (pi   + t) + f s     q = y / x
//   x < 0, y >= 0: (pi   - t) - f s     q = -y / x
// with t = table[i], s = slope[i], i = trunc(16 q), f = q - i/16 (0 + t is t,
// as t >= 0). q >= 128 (or NaN) saturates to the quadrant's form of
// table[2047], which is what the same formula gives for q = 2047/16 (f = 0,
// and base + 0 * s is base). x = 0 or NaN gives pi/2 or 3 pi/2.
// A loop may pass atan_pairs(), fetched once before it, for faster lookups.
template <class DF>
HWY_INLINE hn::Vec<DF> FastAtan2(DF df, hn::Vec<DF> y, hn::Vec<DF> x,
                                 const float* pairs = nullptr) {
  using namespace atan_detail;
  const auto zero = hn::Zero(df);
  const auto x_neg = x < zero;
  const auto off_axis = hn::Or(x > zero, x_neg);  // false for 0 and NaN
  const auto y_nonneg = y >= zero;
  // -0.0 in the falling quadrants (x > 0, y < 0 and x < 0, y >= 0), where t
  // and f s are subtracted; on the axes the lane is replaced at the end.
  const auto flip = hn::IfThenZeroElse(hn::Xor(x_neg, y_nonneg), hn::Set(df, -0.0f));

  // q = |y / x|: (-y)/x == -(y/x) exactly, so one division serves every quadrant.
  const auto q = hn::Abs(hn::Div(y, x));
  const auto in_table = q < hn::Set(df, kSaturationRatio);  // false for NaN and on the axes
  const auto q_table = hn::IfThenElse(in_table, q, hn::Set(df, 2047.0f / 16.0f));

  const auto i = TruncInRange(df, hn::Mul(q_table, hn::Set(df, 16.0f)));  // 0 <= 16q < 2048
  const auto f = SegmentOffset(df, q_table, i);
  hn::Vec<DF> t, s;
  GatherSegment(df, i, pairs, t, s);

  const auto quadrant_base =
      hn::IfThenElse(x_neg, hn::Set(df, kPi), hn::IfThenZeroElse(y_nonneg, hn::Set(df, kTwoPi)));
  const auto angle =
      hn::MulAdd(hn::Xor(f, flip), s, hn::Add(quadrant_base, hn::Xor(t, flip)));

  const auto on_axis =
      hn::IfThenElse(y_nonneg, hn::Set(df, kHalfPi), hn::Set(df, kThreeHalfPi));
  return hn::IfThenElse(off_axis, angle, on_axis);
}

// floor(sqrt(q)) per lane for 0 <= q < 2^48 (finite), from the f32 root: the
// double-precision root truncated, as amplitude_scalar takes it, is the same
// integer (see amplitude.h), and one f32 root costs half as many lanes' work.
// With m = floor(sqrt(q)) (m and m + 1 are exact in f32 and the root rounds
// to nearest, so m <= RN(sqrt(q)) <= m + 1), the truncated f32 root r is m or
// m + 1. r * r - q computed in one fused operation is rounded from the exact
// value, so its sign is exact: positive exactly when r = m + 1.
// AVX-512 rounds the root toward zero instead (m <= RZ(sqrt(q)) < m + 1), whose
// truncation needs no correction.
template <class DF>
HWY_INLINE hn::Vec<hn::RebindToSigned<DF>> FloorSqrt(DF df, hn::Vec<DF> q) {
  const hn::RebindToSigned<DF> di;
#if HWY_TARGET == HWY_AVX3
  if constexpr (sizeof(q.raw) == 64) {
    return TruncInRange(df, hn::Vec<DF>{_mm512_sqrt_round_ps(q.raw, _MM_FROUND_TO_ZERO |
                                                                        _MM_FROUND_NO_EXC)});
  }
#endif
  const auto r = TruncInRange(df, hn::Sqrt(q));  // 0 <= root <= 2^24
  const auto rf = hn::ConvertTo(df, r);
  const auto over = hn::RebindMask(di, hn::MulSub(rf, rf, q) > hn::Zero(df));
  return hn::Add(r, hn::VecFromMask(di, over));  // a true mask lane is -1
}

// trunc(sqrt(double(fma(y, y, x * x)))) per lane, as amplitude_scalar.
template <class DF>
HWY_INLINE hn::Vec<hn::RebindToSigned<DF>> Amplitude(DF df, hn::Vec<DF> x, hn::Vec<DF> y) {
  return FloorSqrt(df, hn::MulAdd(y, y, hn::Mul(x, x)));
}

// a - b per i32 lane holding a signed 16-bit pair (a in the low half, b in the
// high half), exact in 32 bits. x86 does it in one multiply-add of the pair by
// (1, -1).
template <class DI>
HWY_INLINE hn::Vec<DI> PairDifference(DI /*di*/, hn::Vec<DI> pairs) {
#if HWY_TARGET == HWY_AVX3
  if constexpr (sizeof(pairs.raw) == 64) {
    return hn::Vec<DI>{_mm512_madd_epi16(pairs.raw, _mm512_set1_epi32(0xFFFF0001u))};
  }
#endif
#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX2
  if constexpr (sizeof(pairs.raw) == 32) {
    return hn::Vec<DI>{_mm256_madd_epi16(pairs.raw, _mm256_set1_epi32(0xFFFF0001u))};
  }
#endif
  return hn::Sub(hn::ShiftRight<16>(hn::ShiftLeft<16>(pairs)), hn::ShiftRight<16>(pairs));
}

// apply_amplitude_shift in every lane (amplitudes are >= 0, so the lanes can be
// shifted as unsigned). Counts of 32 or more give 0 without shifting by them.
template <AmplitudeShift S, class DI>
HWY_INLINE hn::Vec<DI> ShiftAmplitude(DI di, hn::Vec<DI> a, std::uint32_t amount) {
  if constexpr (S == AmplitudeShift::kNone) {
    return a;
  } else {
    const hn::RebindToUnsigned<DI> du;
    const bool in_range = amount < 32;
    const int bits = in_range ? static_cast<int>(amount) : 0;
    const auto v = hn::BitCast(du, a);
    const auto shifted =
        S == AmplitudeShift::kLeft ? hn::ShiftLeftSame(v, bits) : hn::ShiftRightSame(v, bits);
    return hn::BitCast(di, hn::And(shifted, hn::Set(du, in_range ? ~0u : 0u)));
  }
}

// Stores the low 16 or 8 bits of each i32 lane (wrap-around, no saturation).
template <class DI>
HWY_INLINE void StoreLow16(DI /*di*/, hn::Vec<DI> v, std::uint16_t* out) {
  const hn::RebindToUnsigned<DI> du;
  const hn::Rebind<std::uint16_t, DI> d16;
  hn::StoreU(hn::TruncateTo(d16, hn::BitCast(du, v)), d16, out);
}
template <class DI>
HWY_INLINE void StoreLow16(DI di, hn::Vec<DI> v, std::int16_t* out) {
  StoreLow16(di, v, reinterpret_cast<std::uint16_t*>(out));
}
template <class DI>
HWY_INLINE void StoreLow8(DI /*di*/, hn::Vec<DI> v, std::uint8_t* out) {
  const hn::RebindToUnsigned<DI> du;
  const hn::Rebind<std::uint8_t, DI> d8;
  hn::StoreU(hn::TruncateTo(d8, hn::BitCast(du, v)), d8, out);
}

}  // namespace HWY_NAMESPACE
}  // namespace pxkit
HWY_AFTER_NAMESPACE();

#endif  // PXKIT_TOF_VECTOR_INL_H_
