// Per-sample rules of the bilinear kernels, written out without undefined
// conversions. The scalar reference kernels are loops over these; the vector
// kernels use them for tails and must equal them bit for bit elsewhere.
#pragma once

#include <cstdint>
#include <limits>

#include "common/numeric.h"
#include "scale/bilinear_tables.h"

namespace pxkit::scale {


// One-direction interpolation of a (at the index) and b (index + 1), w1 != 0.
inline std::uint16_t lerp_u16(std::uint16_t a, std::uint16_t b, weight_pair w) {
  const std::uint32_t sum = std::uint32_t{a} * w.w0 + std::uint32_t{b} * w.w1 + 1024u;
  return static_cast<std::uint16_t>(sum >> kWeightBits);
}
// Products truncated to u32 (fractions and negatives are lost), summed in
// wrapping 32-bit arithmetic, rounded and converted back.
inline float lerp_f32(float a, float b, weight_pair w) {
  // Products go through trunc_saturate_u32: negatives and NaN give 0.
  const std::uint32_t sum = trunc_saturate_u32(a * static_cast<float>(w.w0)) +
                            trunc_saturate_u32(b * static_cast<float>(w.w1)) + 1024u;
  return static_cast<float>(sum >> kWeightBits);
}

// Twice-the-height rows: the mean of two rows.
inline std::uint16_t mean_u16(std::uint16_t a, std::uint16_t b) {
  return static_cast<std::uint16_t>((std::uint32_t{a} + b + 1u) >> 1);
}
inline float mean_f32(float a, float b) { return (a + b) * 0.5f; }

// First pass of the two-direction kernels: a Q4 horizontal value.
inline std::uint32_t horizontal_q4(std::uint16_t a, std::uint16_t b, weight_pair w) {
  if (w.w1 == 0) return std::uint32_t{a} * 16u;
  return (std::uint32_t{a} * w.w0 + std::uint32_t{b} * w.w1) >> 7;
}
inline std::uint32_t horizontal_q4(float a, float b, weight_pair w) {
  if (w.w1 == 0) return trunc_saturate_u32(a * 16.0f);
  return (trunc_saturate_u32(a * static_cast<float>(w.w0)) + trunc_saturate_u32(b * static_cast<float>(w.w1))) >> 7;
}

// Second pass: a row with weights (2048, 0) floors the Q4 value of its upper
// row; other rows round the sum of two truncated products (32-bit wrapping).
inline std::uint32_t vertical_from_q4(std::uint32_t ta) { return ta >> 4; }
inline std::uint32_t vertical_from_q4(std::uint32_t ta, std::uint32_t tb, weight_pair w) {
  return (((ta * w.w0) >> 14) + ((tb * w.w1) >> 14) + 1u) >> 1;
}

}  // namespace pxkit::scale
