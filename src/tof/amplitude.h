// Amplitude of a phase pair, scalar form shared by the ToF kernels:
// trunc(sqrt(double(x*x + y*y))) with x*x rounded to f32 first and y*y fused in.
#pragma once

#include <cmath>
#include <cstdint>

namespace pxkit {

// x and y are differences of 16-bit samples (|x|, |y| < 2^18), so the root is
// below 2^19 and the truncation to int32 is always defined. For every f32
// q < 2^48 the truncated double root is exactly floor(sqrt(q)): an f32 below an
// integer's square n^2 lies at least n^2 * 2^-48 below it, far more than the
// half unit of a double root near n. The vector kernels rely on this to take
// the root in f32 (FloorSqrt in tof_vector-inl.h).
inline std::int32_t amplitude_scalar(float x, float y) {
  const float q = std::fma(y, y, x * x);
  return static_cast<std::int32_t>(std::sqrt(static_cast<double>(q)));
}

}  // namespace pxkit
