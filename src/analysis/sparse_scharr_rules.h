// Per-point arithmetic of the sparse Scharr gradient, written out once. The
// scalar kernels are loops over these rules; the vector kernels use them for
// the border columns and tails and equal them bit for bit elsewhere.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstdint>

namespace pxkit::analysis {

// Horizontal smoothing s and difference d of one source row at one grid column.
struct SmoothDiff {
  std::int32_t s;
  std::int32_t d;
};

// Interior column c: both neighbours are read.
inline SmoothDiff interior_smooth_diff(const std::uint8_t* p, std::int64_t c) {
  return {3 * p[c - 1] + 10 * p[c] + 3 * p[c + 1], p[c + 1] - p[c - 1]};
}

// First grid column (column 0): the left neighbour is the mirror of column 1.
// A one-pixel-wide row has no column 1; the pixel stands in for it.
inline SmoothDiff left_smooth_diff(const std::uint8_t* p, std::int64_t width) {
  return {10 * p[0] + 6 * p[width > 1 ? 1 : 0], 0};
}

// Last grid column c when the grid ends exactly at the image's edge: the right
// neighbour is mirrored from c - 1 even when column c + 1 exists (step > 1).
inline SmoothDiff right_smooth_diff(const std::uint8_t* p, std::int64_t c) {
  return {10 * p[c] + 6 * p[c - 1], 0};
}

// Where the mirrored forms apply along one grid row.
struct GridColumns {
  std::int64_t count;  // sparse_width (> 0)
  std::int64_t step;
  std::int64_t width;
  bool mirror_right;  // sparse_width x step == width and sparse_width > 1
};

inline SmoothDiff smooth_diff_at(const std::uint8_t* p, const GridColumns& g, std::int64_t j) {
  const std::int64_t c = j * g.step;
  if (j == 0) return left_smooth_diff(p, g.width);
  if (g.mirror_right && j == g.count - 1) return right_smooth_diff(p, c);
  return interior_smooth_diff(p, c);
}

// gx and gy from the three rows' values (arithmetic shifts floor).
inline std::int32_t gradient_x(std::int32_t d_t, std::int32_t d_m, std::int32_t d_b) {
  return (3 * d_t + 10 * d_m + 3 * d_b) >> 4;
}
inline std::int32_t gradient_y(std::int32_t s_t, std::int32_t s_b) { return (s_b - s_t) >> 4; }

inline std::uint8_t gradient_magnitude(std::int32_t gx, std::int32_t gy) {
  return static_cast<std::uint8_t>(std::min(std::abs(gx) + std::abs(gy), 255));
}

// Offset of (gx, gy) in the 512 x 512 code table.
inline std::int32_t code_index(std::int32_t gx, std::int32_t gy) {
  return (gy + 256) * 512 + (gx + 256);
}

// Writes magnitude and code of one grid point.
inline void finish_point(std::int32_t gx, std::int32_t gy, const std::uint8_t* table,
                         std::uint8_t* magnitude, std::uint8_t* code) {
  *magnitude = gradient_magnitude(gx, gy);
  *code = table[code_index(gx, gy)];
}

}  // namespace pxkit::analysis
