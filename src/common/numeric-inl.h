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

// trunc_saturate_i32 per lane. ConvertTo alone differs between targets for NaN
// and out-of-range lanes, so NaN is zeroed and the range clamped before it;
// 2147483520 is the largest f32 below 2^31, and 2^31 and above select INT32_MAX.
template <class DF>
HWY_INLINE hn::Vec<hn::RebindToSigned<DF>> TruncSaturateI32(DF df, hn::Vec<DF> v) {
  const hn::RebindToSigned<DF> di;
  const auto number = hn::IfThenZeroElse(hn::IsNaN(v), v);
  const auto clamped = hn::Min(hn::Max(number, hn::Set(df, -2147483648.0f)),
                               hn::Set(df, 2147483520.0f));
  const auto too_big = hn::RebindMask(di, hn::Ge(number, hn::Set(df, 2147483648.0f)));
  return hn::IfThenElse(too_big, hn::Set(di, std::numeric_limits<std::int32_t>::max()),
                        hn::ConvertTo(di, clamped));
}

}  // namespace HWY_NAMESPACE
}  // namespace pxkit
HWY_AFTER_NAMESPACE();

#endif  // include guard
