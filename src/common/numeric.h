// Float constants and float -> integer conversions shared by the kernels,
// spelled out so that no out-of-range conversion is ever made. The vector
// forms (common/numeric-inl.h) give the same bits per lane.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace pxkit {

inline constexpr float kTwoPi = 6.2831855f;  // 2 pi rounded to f32

// Truncation toward zero to int32, saturating at -2^31 and 2^31 - 1; NaN gives
// 0 (what the Arm conversion instruction does).
inline std::int32_t trunc_saturate_i32(float v) {
  if (std::isnan(v)) return 0;
  if (v >= 2147483648.0f) return std::numeric_limits<std::int32_t>::max();
  if (v <= -2147483648.0f) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(v);  // |v| < 2^31: exact truncation
}

}  // namespace pxkit
