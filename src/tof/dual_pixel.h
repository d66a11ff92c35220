// One dual-frequency pixel, scalar form: the reference that every stripe
// kernel follows bit for bit (the vector kernels also use it for run tails).
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "tof/amplitude.h"
#include "tof/dual_kernels.h"
#include "tof/dual_unwrap.h"
#include "tof/fast_atan.h"

namespace pxkit {

inline constexpr float kInvTwoPi = 0.15915494f;  // 1/(2 pi) rounded to f32

// Truncation toward zero to int32, saturating, NaN -> 0 (what the Arm
// conversion instruction does; a plain cast would be undefined out of range).
inline std::int32_t trunc_to_i32(float v) {
  if (v != v) return 0;
  if (v >= 2147483648.0f) return std::numeric_limits<std::int32_t>::max();
  if (v < -2147483648.0f) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(v);
}

// t minus its whole wraps: the fraction in [0, 1) for t >= 0.
inline float wrap_fraction(float t) { return t - static_cast<float>(trunc_to_i32(t)); }

// One term of pixel i: a sample, or the even sample minus the odd one.
template <DualLayout L>
inline std::int32_t dual_term(const std::uint16_t* plane, std::size_t i) {
  if constexpr (L == DualLayout::kInterleave) {
    return std::int32_t{plane[2 * i]} - std::int32_t{plane[2 * i + 1]};
  } else {
    return plane[i];
  }
}

// The shifted amplitude whose low bits are stored; shifts of 32 or more give 0.
template <DualShift S>
inline std::uint32_t shift_amplitude(std::int32_t a, std::uint32_t shift) {
  const auto v = static_cast<std::uint32_t>(a);  // a >= 0
  if constexpr (S == DualShift::kNone) {
    return v;
  } else {
    if (shift >= 32) return 0;
    return S == DualShift::kLeft ? v << shift : v >> shift;
  }
}

template <DualLayout L, class Amp, DualShift S, bool kAmplitude>
inline void dual_decode_pixel(const DualRun<Amp>& r, std::size_t i, const DualParams& p) {
  const auto x0 = static_cast<float>(dual_term<L>(r.planes[0], i) - dual_term<L>(r.planes[2], i));
  const auto y0 = static_cast<float>(dual_term<L>(r.planes[1], i) - dual_term<L>(r.planes[3], i));
  const auto x1 = static_cast<float>(dual_term<L>(r.planes[4], i) - dual_term<L>(r.planes[6], i));
  const auto y1 = static_cast<float>(dual_term<L>(r.planes[5], i) - dual_term<L>(r.planes[7], i));
  const float phi0 = wrap_fraction(std::fma(fast_atan2_scalar(y0, x0), kInvTwoPi, p.o0));
  const float phi1 = wrap_fraction(std::fma(fast_atan2_scalar(y1, x1), kInvTwoPi, p.o1));
  r.depth[i] = dual_unwrap(phi0, phi1, p.m0, p.m1);
  if constexpr (kAmplitude) {
    // Low 8 or 16 bits, no saturation.
    r.amplitude[i] = static_cast<Amp>(shift_amplitude<S>(amplitude_scalar(x1, y1), p.shift));
  }
}

}  // namespace pxkit
