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

#include "tof/amplitude_shift.h"
#include "tof/atan_table.h"
#include "tof/fast_atan.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Angle of (x, y) in [0, 2 pi), as fast_atan2_scalar:
//   x > 0, y >= 0: t + f s              q = y / x
//   x > 0, y <  0: (2 pi - t) - f s     q = -y / x
//   x < 0, y <  0: (t + pi) + f s       q = y / x
//   x < 0, y >= 0: (pi - t) - f s       q = -y / x
// with t = table[i], s = slope[i], i = trunc(16 q), f = q - i/16, and fixed
// saturated values when q >= 128 (or NaN); x = 0 or NaN gives pi/2 or 3 pi/2.
template <class DF>
HWY_INLINE hn::Vec<DF> FastAtan2(DF df, hn::Vec<DF> y, hn::Vec<DF> x) {
  using namespace atan_detail;
  const hn::RebindToSigned<DF> di;
  const auto zero = hn::Zero(df);
  const auto x_pos = x > zero;
  const auto x_neg = x < zero;
  const auto y_nonneg = y >= zero;
  const auto falling = hn::Or(hn::AndNot(y_nonneg, x_pos), hn::And(x_neg, y_nonneg));

  // (-y)/x == -(y/x) exactly, so one division serves every quadrant.
  const auto ratio = hn::Div(y, x);
  const auto q = hn::IfThenElse(falling, hn::Neg(ratio), ratio);
  // q >= 0 wherever x is non-zero; x = 0 lanes (q infinite or NaN) take the
  // axis value below, and zeroing every other lane keeps the gathers in bounds.
  const auto off_axis = hn::Or(x_pos, x_neg);
  const auto in_table = hn::And(off_axis, q < hn::Set(df, kSaturationRatio));  // false for NaN
  const auto q_table = hn::IfThenElseZero(in_table, q);

  const auto i = hn::ConvertTo(di, hn::Mul(q_table, hn::Set(df, 16.0f)));  // 0 <= 16q < 2048
  // f = (float)(-i) * 1/16 + q, the integer negated before conversion as in the scalar form.
  const auto f = hn::MulAdd(hn::ConvertTo(df, hn::Neg(i)), hn::Set(df, kStep), q_table);
  const auto t = hn::GatherIndex(df, atan_table, i);
  const auto s = hn::GatherIndex(df, atan_table + kAtanGridPoints, i);

  const auto pi = hn::Set(df, kPi);
  const auto left_half = hn::IfThenElse(y_nonneg, hn::Sub(pi, t), hn::Add(t, pi));
  auto base = hn::IfThenElse(x_neg, left_half, t);
  base = hn::IfThenElse(hn::AndNot(y_nonneg, x_pos), hn::Sub(hn::Set(df, kTwoPi), t), base);
  const auto interpolated = hn::MulAdd(hn::IfThenElse(falling, hn::Neg(f), f), s, base);

  const auto saturated_left =
      hn::IfThenElse(y_nonneg, hn::Set(df, kSaturatedQ2), hn::Set(df, kSaturatedQ3));
  const auto saturated_right =
      hn::IfThenElse(y_nonneg, hn::Set(df, kSaturated), hn::Set(df, kSaturatedQ4));
  const auto saturated = hn::IfThenElse(x_neg, saturated_left, saturated_right);
  const auto angle = hn::IfThenElse(in_table, interpolated, saturated);

  const auto on_axis =
      hn::IfThenElse(y_nonneg, hn::Set(df, kHalfPi), hn::Set(df, kThreeHalfPi));
  return hn::IfThenElse(off_axis, angle, on_axis);
}

// trunc(sqrt(double(fma(y, y, x * x)))) per lane, as amplitude_scalar.
// Roots are below 2^19: the truncating f64 -> i32 demotion never saturates.
template <class DF>
HWY_INLINE hn::Vec<hn::RebindToSigned<DF>> Amplitude(DF /*df*/, hn::Vec<DF> x, hn::Vec<DF> y) {
  const hn::RebindToSigned<DF> di;
  const auto q = hn::MulAdd(y, y, hn::Mul(x, x));
#if HWY_TARGET == HWY_SCALAR
  const hn::Rebind<double, DF> dd;
  return hn::DemoteTo(di, hn::Sqrt(hn::PromoteTo(dd, q)));
#else
  const hn::Half<DF> dh;
  const hn::Repartition<double, DF> dd;  // half as many f64 lanes
  const hn::Rebind<std::int32_t, decltype(dd)> di_half;
  const auto root_lo = hn::Sqrt(hn::PromoteTo(dd, hn::LowerHalf(dh, q)));
  const auto root_hi = hn::Sqrt(hn::PromoteTo(dd, hn::UpperHalf(dh, q)));
  return hn::Combine(di, hn::DemoteTo(di_half, root_hi), hn::DemoteTo(di_half, root_lo));
#endif
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
