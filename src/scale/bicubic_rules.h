// Arithmetic of the bicubic scanline sampler shared by the scalar reference and
// the vector kernels' tails: the usable range of a line and one output.
#pragma once

#include <cmath>
#include <cstdint>

namespace pxkit::scale {

// Outputs [first, end) of a line are computed; the others are 0.
struct BicubicRange {
  std::int32_t first = 0;
  std::int32_t end = 0;
};

// First computed output from the lower bound: trunc(lo) + 1 when lo > 0, else 0,
// kept within [0, count] (never converting an out-of-range float).
inline std::int32_t first_from(float lo, std::int32_t count) {
  if (!(lo > 0.0f)) return 0;
  if (lo >= static_cast<float>(count)) return count;
  const std::int64_t k = static_cast<std::int64_t>(lo) + 1;
  return k < count ? static_cast<std::int32_t>(k) : count;
}

// End from the upper bound: trunc(hi) when hi < count, else count; kept >= 0.
inline std::int32_t end_from(float hi, std::int32_t count) {
  if (!(hi < static_cast<float>(count))) return count;
  if (!(hi > 0.0f)) return 0;
  return static_cast<std::int32_t>(hi);
}

// Bounds of k along one moving axis: positions p0 + k d with 1 <= p < size - 2.
// The reciprocal is formed once and multiplied.
inline void axis_bounds(float p0, float d, std::uint32_t size, float* lo, float* hi) {
  const float r = 1.0f / d;
  const float low = (1.0f - p0) * r;
  const float high = (static_cast<float>(static_cast<std::int64_t>(size) - 2) - p0) * r;
  *lo = d > 0.0f ? low : high;
  *hi = d > 0.0f ? high : low;
}

inline bool inside_image(float p, std::uint32_t size) {
  return p >= 0.0f && p < static_cast<float>(size);  // false for NaN
}

// Whether output k's position, rounded as the kernels compute it, keeps its
// 4 x 4 neighbourhood inside the image along every moving axis.
inline bool usable_output(std::uint32_t width, std::uint32_t height, float x0, float y0,
                          float dx, float dy, std::int32_t k) {
  const float kf = static_cast<float>(k);
  const float x = std::fma(kf, dx, x0);
  const float y = std::fma(kf, dy, y0);
  const bool x_ok = dx == 0.0f || (x >= 1.0f && x < static_cast<float>(std::int64_t{width} - 2));
  const bool y_ok = dy == 0.0f || (y >= 1.0f && y < static_cast<float>(std::int64_t{height} - 2));
  return x_ok && y_ok;
}

// The bounds come from a rounded reciprocal, and a tiny step can round a
// position near the border onto the border itself (x0 + k dx == width - 2), so
// the outputs at either end of the range are checked as computed. Positions are
// monotonic in k, so the unusable ones form a prefix and a suffix of the range.
inline void trim_to_usable(BicubicRange* r, std::uint32_t width, std::uint32_t height, float x0,
                           float y0, float dx, float dy) {
  while (r->first < r->end && !usable_output(width, height, x0, y0, dx, dy, r->first)) ++r->first;
  while (r->end > r->first && !usable_output(width, height, x0, y0, dx, dy, r->end - 1)) --r->end;
}

inline BicubicRange bicubic_range(std::uint32_t width, std::uint32_t height, std::int32_t count,
                                  float x0, float y0, float dx, float dy) {
  BicubicRange r;
  if (count <= 0) return r;
  float lo = 0.0f, hi = 0.0f;
  if (dx != 0.0f && dy != 0.0f) {
    float lo_x, hi_x, lo_y, hi_y;
    axis_bounds(x0, dx, width, &lo_x, &hi_x);
    axis_bounds(y0, dy, height, &lo_y, &hi_y);
    lo = lo_x > lo_y ? lo_x : lo_y;
    hi = hi_x < hi_y ? hi_x : hi_y;
    if (std::isnan(lo_x) || std::isnan(lo_y) || std::isnan(hi_x) || std::isnan(hi_y)) return r;
  } else if (dx != 0.0f) {
    if (!inside_image(y0, height)) return r;
    axis_bounds(x0, dx, width, &lo, &hi);
  } else if (dy != 0.0f) {
    if (!inside_image(x0, width)) return r;
    axis_bounds(y0, dy, height, &lo, &hi);
  } else {
    if (!inside_image(x0, width) || !inside_image(y0, height)) return r;
    r.end = count;
    return r;
  }
  if (std::isnan(lo) || std::isnan(hi)) return r;
  r.first = first_from(lo, count);
  r.end = end_from(hi, count);
  if (r.end < r.first) r.end = r.first;
  trim_to_usable(&r, width, height, x0, y0, dx, dy);
  return r;
}

// The cubic convolution weights of the four taps at fraction t, fused as nested.
struct CubicWeights {
  float w0, w1, w2, w3;
};

inline float cubic_inner(float s, float a2, float a3) {
  return std::fma(std::fma(a2, s, -a3), s * s, 1.0f);
}
inline float cubic_outer(float s, float a) {
  return a * std::fma(std::fma(s - 5.0f, s, 8.0f), s, -4.0f);
}
inline CubicWeights cubic_weights(float t, float a) {
  const float a2 = a + 2.0f, a3 = a + 3.0f;
  return {cubic_outer(1.0f + t, a), cubic_inner(t, a2, a3), cubic_inner(1.0f - t, a2, a3),
          cubic_outer(2.0f - t, a)};
}

// w0 p0 + w1 p1 + w2 p2 + w3 p3 as a fused chain from the second product.
inline float cubic_dot(const CubicWeights& w, float p0, float p1, float p2, float p3) {
  float acc = w.w1 * p1;
  acc = std::fma(w.w0, p0, acc);
  acc = std::fma(w.w2, p2, acc);
  return std::fma(w.w3, p3, acc);
}

// Low 8 bits of the sum truncated toward zero. Negative sums, NaN and infinity
// give 0; every float of 2^31 or more is a multiple of 256, so its low byte is 0.
inline std::uint8_t wrap_to_byte(float sum) {
  if (!(sum >= 0.0f && sum < 2147483648.0f)) return 0;
  return static_cast<std::uint8_t>(static_cast<std::uint32_t>(static_cast<std::int32_t>(sum)));
}

// Output k of a line: the 4 x 4 neighbourhood around (x0 + k dx, y0 + k dy).
inline std::uint8_t bicubic_output(const std::uint8_t* src, std::uint32_t width, float a,
                                   float x0, float y0, float dx, float dy, std::int32_t k) {
  const float kf = static_cast<float>(k);
  const float x = std::fma(kf, dx, x0);
  const float y = std::fma(kf, dy, y0);
  const auto xi = static_cast<std::int32_t>(x);
  const auto yi = static_cast<std::int32_t>(y);
  const CubicWeights wx = cubic_weights(x - static_cast<float>(xi), a);
  const CubicWeights wy = cubic_weights(y - static_cast<float>(yi), a);
  float rows[4];
  for (int j = 0; j < 4; ++j) {
    const std::uint8_t* p =
        src + (static_cast<std::int64_t>(yi) - 1 + j) * static_cast<std::int64_t>(width) + xi - 1;
    rows[j] = cubic_dot(wx, p[0], p[1], p[2], p[3]);
  }
  return wrap_to_byte(cubic_dot(wy, rows[0], rows[1], rows[2], rows[3]));
}

}  // namespace pxkit::scale
