// Float constants and float -> integer conversions shared by the kernels,
// spelled out so that no out-of-range conversion is ever made. The vector
// forms (common/numeric-inl.h) give the same bits per lane.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace pxkit {

inline constexpr float kTwoPi = 6.2831855f;  // 2 pi rounded to f32
inline constexpr float kTwo31 = 2147483648.0f;  // 2^31
inline constexpr float kTwo32 = 4294967296.0f;  // 2^32

// Truncation toward zero to int32, saturating at -2^31 and 2^31 - 1; NaN gives
// 0 (what the Arm conversion instruction does).
inline std::int32_t trunc_saturate_i32(float v) {
  if (std::isnan(v)) return 0;
  if (v >= kTwo31) return std::numeric_limits<std::int32_t>::max();
  if (v <= -kTwo31) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(v);  // |v| < 2^31: exact truncation
}

// Truncation toward zero to uint32; negatives and NaN give 0, 2^32 and above
// 2^32 - 1.
inline std::uint32_t trunc_saturate_u32(float v) {
  if (!(v > 0.0f)) return 0;
  if (v >= kTwo32) return std::numeric_limits<std::uint32_t>::max();
  return static_cast<std::uint32_t>(v);  // 0 < v < 2^32
}

}  // namespace pxkit
