// Per-pixel rules of the colour conversion with nearest-neighbour scaling,
// shared by the scalar reference and the vector kernels' tails.
#pragma once

#include <cstdint>

namespace pxkit::scale {

// Byte positions of R, G and B within one source pixel of `bytes` bytes.
struct PixelLayout {
  int bytes, r, g, b;
};
inline constexpr PixelLayout kRgb24{3, 0, 1, 2};  // format 7
inline constexpr PixelLayout kBgr24{3, 2, 1, 0};  // format 8
inline constexpr PixelLayout kRgbx{4, 0, 1, 2};   // format 4
inline constexpr PixelLayout kXbgr{4, 3, 2, 1};   // format 5

// (4899 R + 9618 G + 1868 B) >> 14 in 32-bit integers, no rounding term. The
// weights sum to 2^14 + 1, so white stays 255 and no clamp is needed.
inline std::uint8_t luma(std::int32_t r, std::int32_t g, std::int32_t b) {
  return static_cast<std::uint8_t>((4899 * r + 9618 * g + 1868 * b) >> 14);
}

template <PixelLayout L>
inline std::uint8_t pixel_luma(const std::uint8_t* p) {
  return luma(p[L.r], p[L.g], p[L.b]);
}

// Truncating mean of the four bytes (two rows, two byte offsets).
inline std::uint8_t mean4(const std::uint8_t* c0, const std::uint8_t* c1, std::uint32_t k0,
                          std::uint32_t k1) {
  return static_cast<std::uint8_t>((c0[k0] + c1[k0] + c0[k1] + c1[k1]) >> 2);
}

}  // namespace pxkit::scale
