// One dual-frequency pixel, scalar form: the reference that every stripe
// kernel follows bit for bit (the vector kernels also use it for run tails).
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "tof/amplitude.h"
#include "tof/amplitude_shift.h"
#include "tof/dual_kernels.h"
#include "tof/dual_unwrap.h"
#include "tof/fast_atan.h"
#include "common/numeric.h"

namespace pxkit {

inline constexpr float kInvTwoPi = 0.15915494f;  // 1/(2 pi) rounded to f32

// t minus its whole wraps: the fraction in [0, 1) for t >= 0.
inline float wrap_fraction(float t) { return t - static_cast<float>(trunc_saturate_i32(t)); }

// One term of pixel i: a sample, or the even sample minus the odd one.
template <DualLayout L>
inline std::int32_t dual_term(const std::uint16_t* plane, std::size_t i) {
  if constexpr (L == DualLayout::kInterleave) {
    return std::int32_t{plane[2 * i]} - std::int32_t{plane[2 * i + 1]};
  } else {
    return plane[i];
  }
}

template <DualLayout L, class Amp, AmplitudeShift S, bool kAmplitude>
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
    r.amplitude[i] = static_cast<Amp>(apply_amplitude_shift<S>(amplitude_scalar(x1, y1), p.shift));
  }
}

}  // namespace pxkit
