// Per-sample arithmetic of the 8-bit YUV scalers, exactly as defined. The
// scalar reference kernels are loops over these; the vector kernels use them
// for the columns their word reads cannot reach, and must equal them.
#pragma once

#include <cmath>
#include <cstdint>

#include "scale/area_tables.h"

namespace pxkit::scale {

// Horizontal bilinear pass: Q7 intermediate from neighbours a, b and weights
// (w0, w1); a x 128 without reading b when w1 is 0.
inline std::uint16_t bilinear_h_sample(const std::uint8_t* a, std::uint32_t w0, std::uint32_t w1,
                                       std::ptrdiff_t b_offset) {
  if (w1 == 0) return static_cast<std::uint16_t>(a[0] * 128u);
  return static_cast<std::uint16_t>((a[0] * w0 + a[b_offset] * w1) >> 4);
}

// Vertical bilinear pass on two Q7 intermediates (rounding), 32-bit unsigned.
inline std::uint8_t bilinear_v_sample(std::uint32_t ta, std::uint32_t tb, std::uint32_t w0,
                                      std::uint32_t w1) {
  return static_cast<std::uint8_t>((((ta * w0) >> 16) + 2 + ((tb * w1) >> 16)) >> 2);
}

// Vertical pass on a row whose second weight is 0 (truncating).
inline std::uint8_t bilinear_v_single(std::uint32_t ta) { return static_cast<std::uint8_t>(ta >> 7); }

// Area: horizontal sum of one source row over a column span. `step` is 1 for
// luma and 2 for one channel of interleaved pairs.
inline float area_h_sum(const std::uint8_t* row, const area_span& span, std::uint32_t step) {
  const float a = static_cast<float>(row[std::size_t{span.first} * step]);
  if (span.first == span.last) return a;  // one sample, weight 1.0
  const float b = static_cast<float>(row[std::size_t{span.last} * step]);
  std::uint32_t middle = 0;
  for (std::uint32_t k = span.first + 1; k < span.last; ++k) middle += row[std::size_t{k} * step];
  return std::fma(a, span.first_weight, b * span.last_weight) + static_cast<float>(middle);
}

// Area: final value, truncated toward zero (no rounding) and stored as a byte.
inline std::uint8_t area_result(float acc, float factor) {
  return static_cast<std::uint8_t>(static_cast<std::uint32_t>(acc * factor));
}

}  // namespace pxkit::scale
