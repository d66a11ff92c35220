// Table-interpolated arctangents, scalar form. Inline so that the per-pixel
// reference kernels call them without overhead; the exported C functions
// (fast_atan.cc) and every vector kernel give the same bits.
//
// Lookup of a ratio q >= 0: when q < 128, i = trunc(16 q), f = q - i/16 (one
// fused multiply-subtract; exact, as i/16 is), and the value is
// table[i] + f * slope[i] (one fused multiply-add). Otherwise it saturates to a
// fixed value that each function folds into its quadrant. Comparisons are
// written so that NaN takes the saturating branch.
#pragma once

#include <cmath>
#include <cstdint>

#include "common/numeric.h"
#include "tof/atan_table.h"

namespace pxkit::atan_detail {

inline constexpr float kPi = 3.1415927f;
using pxkit::kTwoPi;  // common/numeric.h, with the other angles here
inline constexpr float kHalfPi = 1.5707964f;
inline constexpr float kThreeHalfPi = 4.712389f;
inline constexpr float kStep = 0.0625f;
inline constexpr float kSaturationRatio = 128.0f;
inline constexpr float kSaturated = 1.56298f;          // atan_table[2047]
inline constexpr float kSaturatedQ2 = 1.5786127f;      // pi - 1.56298
inline constexpr float kSaturatedQ3 = 4.7045727f;      // pi + 1.56298
inline constexpr float kSaturatedQ4 = 4.7202053f;      // 2 pi - 1.56298

// Grid index and offset of a ratio 0 <= q < 128.
struct Segment {
  float base;   // atan_table[i]
  float slope;  // atan_table[2048 + i]
  float f;      // q - i/16
};

inline Segment segment(float q) {
  const auto i = static_cast<std::int32_t>(q * 16.0f);  // 0 <= q*16 < 2048: truncation is defined
  const float f = std::fma(static_cast<float>(-i), kStep, q);
  return {atan_table[i], atan_table[kAtanGridPoints + i], f};
}

inline bool below_saturation(float q) { return q < kSaturationRatio; }

// base + f * slope
inline float rising(float base_offset, const Segment& s) {
  return std::fma(s.f, s.slope, base_offset);
}
// base_offset - f * slope
inline float falling(float base_offset, const Segment& s) {
  return std::fma(-s.f, s.slope, base_offset);
}

// Negation kept apart from the fused operation before it: some targets would
// merge the two into a negated fused multiply-add whose zero has the other sign.
inline float negate(float v) {
#if defined(__aarch64__)
  asm("" : "+w"(v));
#elif defined(__x86_64__)
  asm("" : "+x"(v));
#endif
  return -v;
}

}  // namespace pxkit::atan_detail

namespace pxkit {

// Angle of (x, y) in [0, 2 pi).
inline float fast_atan2_scalar(float y, float x) {
  using namespace atan_detail;
  if (x > 0.0f) {
    if (y >= 0.0f) {
      const float q = y / x;
      if (!below_saturation(q)) return kSaturated;
      const Segment s = segment(q);
      return rising(s.base, s);
    }
    const float q = -y / x;
    if (!below_saturation(q)) return kSaturatedQ4;
    const Segment s = segment(q);
    return falling(kTwoPi - s.base, s);
  }
  if (x < 0.0f) {
    if (y >= 0.0f) {
      const float q = -y / x;
      if (!below_saturation(q)) return kSaturatedQ2;
      const Segment s = segment(q);
      return falling(kPi - s.base, s);
    }
    const float q = y / x;
    if (!below_saturation(q)) return kSaturatedQ3;
    const Segment s = segment(q);
    return rising(s.base + kPi, s);
  }
  return y >= 0.0f ? kHalfPi : kThreeHalfPi;  // x is zero or NaN
}

}  // namespace pxkit
