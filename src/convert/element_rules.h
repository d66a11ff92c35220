// Per-element conversion rules, written out without undefined casts. The scalar
// reference kernels are loops over these; the vector kernels use them for their
// tails and must equal them bit for bit in their bodies.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "common/numeric.h"

namespace pxkit::convert {

// (int32)1 << (mantissa_bits mod 32) as f32: 31 reaches the sign bit and gives
// -2^31, 32 wraps to 1. The shift is done unsigned and then reinterpreted
// (modular since C++20), so no shift or conversion is undefined.
inline float fixed_factor(std::uint8_t mantissa_bits) {
  const std::uint32_t bits = std::uint32_t{1} << (mantissa_bits % 32u);
  return static_cast<float>(static_cast<std::int32_t>(bits));
}

// f32(in) x r, r = 1 / factor. 8- and 16-bit inputs convert exactly; 32-bit
// ones round to nearest-even.
template <class T>
float fixed_to_float(T in, float r) {
  return static_cast<float>(in) * r;
}

// p = in x factor truncated to T. 8- and 16-bit elements, signed or unsigned,
// keep the low bits of the saturated int32 (200.0 -> int8 -56, -1.0 -> uint16
// 0xFFFF); the int32 -> narrow conversion is modular.
template <class T>
T float_to_fixed(float in, float factor) {
  const float p = in * factor;
  if constexpr (std::is_same_v<T, std::uint32_t>) {
    return trunc_saturate_u32(p);
  } else {
    return static_cast<T>(trunc_saturate_i32(p));
  }
}

}  // namespace pxkit::convert
