// Per-pixel definition of single-frequency depth and amplitude, scalar form.
// The reference kernels loop over it; the vector kernels use it for the pixels
// that do not fill a whole vector, and must equal it bit for bit elsewhere.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "tof/amplitude.h"
#include "tof/amplitude_shift.h"
#include "tof/fast_atan.h"
#include "tof/tof_kernels.h"
#include "common/numeric.h"

namespace pxkit::tof {

template <KernelKind K>
using DepthOf = std::conditional_t<K.float_depth, float, std::int16_t>;
template <KernelKind K>
using AmpOf = std::conditional_t<K.amp16, std::uint16_t, std::uint8_t>;

// The four phase images from a stripe's (or row's) first pixel.
struct PhaseRows {
  const std::int16_t* p0;
  const std::int16_t* p90;
  const std::int16_t* p180;
  const std::int16_t* p270;
};

// A stripe's values, read once before its pixel loop.
struct PixelParams {
  float scale;
  float offset;
  float period;                   // depth_scale * 2pi, or 2pi when depth_scale is 1
  float mantissa;                 // fixed-point depth factor
  std::uint32_t amplitude_shift;  // its direction is the kernel's
};

inline PixelParams pixel_params(float scale, float offset, float mantissa,
                                std::uint32_t amplitude_shift, bool unit_scale) {
  return {scale, offset, unit_scale ? kTwoPi : scale * kTwoPi, mantissa,
          amplitude_shift};
}

// One period fold: d > P gives d - P, d < 0 gives d + P (P itself stays).
inline float wrap_depth(float d, float period) {
  if (d > period) return d - period;
  if (d < 0.0f) return d + period;
  return d;
}

// Fixed-point depth: the low 16 bits of trunc(d * mantissa).
inline std::int16_t fixed_depth(float d, float mantissa) {
  return static_cast<std::int16_t>(trunc_saturate_i32(d * mantissa));
}

template <bool kInterleaved>
inline std::int32_t sample(const std::int16_t* p, std::ptrdiff_t i) {
  if constexpr (kInterleaved) return std::int32_t{p[2 * i]} - std::int32_t{p[2 * i + 1]};
  return p[i];
}

// Depth and (when kAmp) amplitude of pixel i.
template <KernelKind K, bool kUnitScale, bool kAmp>
inline void tof_pixel(const PixelParams& p, const PhaseRows& in, std::ptrdiff_t i,
                      DepthOf<K>* depth, AmpOf<K>* amp) {
  const std::int32_t s90 = sample<K.interleaved>(in.p90, i);
  const std::int32_t s270 = sample<K.interleaved>(in.p270, i);
  const auto y = static_cast<float>(K.reversed ? s270 - s90 : s90 - s270);  // exact: |y| < 2^18
  const auto x = static_cast<float>(sample<K.interleaved>(in.p0, i) -
                                    sample<K.interleaved>(in.p180, i));
  const float phase = fast_atan2_scalar(y, x);
  const float d = wrap_depth(kUnitScale ? phase + p.offset : std::fma(p.scale, phase, p.offset),
                             p.period);
  if constexpr (K.float_depth) {
    depth[i] = d;
  } else {
    depth[i] = fixed_depth(d, p.mantissa);
  }
  if constexpr (kAmp) {
    amp[i] = static_cast<AmpOf<K>>(
        apply_amplitude_shift<K.shift>(amplitude_scalar(x, y), p.amplitude_shift));
  }
}

}  // namespace pxkit::tof
