// Images with padded rows and guard bytes, and matrices for the crop tests.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "pxkit.h"
#include "support/test_support.h"

namespace crop_test {

inline constexpr std::uint8_t kGuard = 0xA5;

struct Image {
  std::uint32_t width = 0, height = 0, stride = 0;
  std::vector<std::uint8_t> bytes;  // stride * height + 1 guard byte at the end
  datacode_image record() { return {width, height, stride, bytes.data()}; }
  std::uint8_t at(std::uint32_t x, std::uint32_t y) const { return bytes[std::size_t{y} * stride + x]; }
};

// width x height with `padding` guard bytes after every row.
inline Image make_image(std::uint32_t width, std::uint32_t height, std::uint32_t padding = 0) {
  Image im{width, height, width + padding, {}};
  im.bytes.assign(std::size_t{im.stride} * height + 1, kGuard);
  return im;
}

inline Image random_image(std::uint32_t width, std::uint32_t height, std::uint32_t padding = 0) {
  Image im = make_image(width, height, padding);
  const auto values = pxtest::random_ints<std::uint8_t>(std::size_t{width} * height, 0, 255);
  for (std::uint32_t y = 0; y < height; ++y)
    for (std::uint32_t x = 0; x < width; ++x) im.bytes[std::size_t{y} * im.stride + x] = values[std::size_t{y} * width + x];
  return im;
}

// Every byte outside the rows' first `width` bytes still holds the guard.
inline bool guards_intact(const Image& im) {
  for (std::size_t i = 0; i < im.bytes.size(); ++i)
    if ((i >= std::size_t{im.stride} * im.height || i % im.stride >= im.width) && im.bytes[i] != kGuard)
      return false;
  return true;
}

using Matrix = std::vector<float>;

// A perspective map of the destination into a source of about src_w x src_h,
// last row near (0, 0, 1); kind 1: entries anywhere in the Q19 range and
// beyond (saturation, den 0 and -1, huge quotients).
// kind 3: see below. kind 2: num_x = 3 den - 1 and num_y = 5 den exactly (quotients at or just
// below an integer, where one through a reciprocal is most likely to need
// correcting; every entry a multiple of 2^-19 exact in f32).
inline Matrix random_matrix(int kind, float src_w, float src_h, float dst_w, float dst_h) {
  std::mt19937& g = pxtest::rng();
  auto u = [&](float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(g); };
  if (kind == 3) {
    // num_x climbs by 2^28 a column and passes INT32_MAX; den and num_y are
    // 2^30, so a saturated num_x still samples column 1 while a wrapped one
    // gives 0: the single call's saturating lane steps show.
    return {512, 0, 0, 0, 0, 2048, 0, 0, 2048};
  }
  if (kind == 2) {
    Matrix m(9);
    for (int k = 6; k < 9; ++k) {
      const int e = std::uniform_int_distribution<int>(0, 22)(g);
      m[k] = static_cast<float>(std::uniform_int_distribution<int>(-(1 << e), 1 << e)(g)) / 524288.0f;
      m[k - 6] = 3 * m[k];
      m[k - 3] = 5 * m[k];
    }
    m[2] -= 1.0f / 524288.0f;
    return m;
  }
  if (kind == 1) {
    Matrix m(9);
    for (float& v : m) {
      const int pick = std::uniform_int_distribution<int>(0, 5)(g);
      v = pick == 0 ? 0.0f : pick == 1 ? u(-5000.0f, 5000.0f) : pick == 2 ? -1.0f / 524288.0f : u(-2.0f, 2.0f);
    }
    return m;
  }
  const float sx = src_w / dst_w, sy = src_h / dst_h;
  return {u(0.3f, 1.3f) * sx, u(-0.3f, 0.3f) * sx, u(-4.0f, src_w / 4),
          u(-0.3f, 0.3f) * sy, u(0.3f, 1.3f) * sy, u(-4.0f, src_h / 4),
          u(-0.002f, 0.002f), u(-0.002f, 0.002f), u(0.8f, 1.2f)};
}

}  // namespace crop_test
