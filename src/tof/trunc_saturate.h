// Float to int32 conversion shared by the ToF decoders, spelled out so that no
// out-of-range cast is ever made.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace pxkit {

// Truncation toward zero, saturating at the i32 limits; NaN gives 0 (what the
// Arm conversion instruction does).
inline std::int32_t trunc_saturate_i32(float v) {
  if (std::isnan(v)) return 0;
  if (v >= 2147483648.0f) return std::numeric_limits<std::int32_t>::max();
  if (v <= -2147483648.0f) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(v);  // |v| < 2^31: exact truncation
}

}  // namespace pxkit
