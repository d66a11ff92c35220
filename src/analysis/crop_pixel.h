// Per-pixel definitions of the perspective crop, shared by the scalar
// reference kernels and the columns that the vector kernels leave over.
// All matrix arithmetic is 32-bit and wraps; it is done in unsigned types so
// that overflow is defined.
#pragma once

#include <cstdint>

namespace pxkit::analysis {

// Truncating signed 32-bit division; 0 when den is 0, and INT32_MIN / -1
// wraps to INT32_MIN.
inline std::int32_t crop_quotient(std::int32_t num, std::int32_t den) {
  if (den == 0) return 0;
  if (den == -1) return static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(num));
  return num / den;
}

// num - q * den, wrapping.
inline std::int32_t crop_remainder(std::int32_t num, std::int32_t q, std::int32_t den) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(num) -
                                   static_cast<std::uint32_t>(q) * static_cast<std::uint32_t>(den));
}

// Whether the source point (qx, qy) may be sampled: 1..width-3 by 1..height-3.
inline bool crop_valid(std::int32_t qx, std::int32_t qy, std::uint32_t width, std::uint32_t height) {
  return qx >= 1 && qy >= 1 && std::int64_t{qx} <= std::int64_t{width} - 3 &&
         std::int64_t{qy} <= std::int64_t{height} - 3;
}

// a + b saturated to the int32 range.
inline std::int32_t saturated_add(std::int32_t a, std::int32_t b) {
  const std::int64_t s = std::int64_t{a} + b;
  return s > INT32_MAX ? INT32_MAX : s < INT32_MIN ? INT32_MIN : static_cast<std::int32_t>(s);
}

// Sign-extends the low 16 bits (a 16-bit lane's wrap-around).
inline std::int32_t low16(std::uint32_t v) { return static_cast<std::int16_t>(v & 0xFFFFu); }

// The stripe kernel's pixel: 8-bit fractions (remainder >> 11) and a blend in
// 32-bit unsigned wrapping arithmetic, shifted right by 16.
inline std::uint8_t stripe_pixel(const std::uint8_t* src, std::uint32_t pitch, std::uint32_t width,
                                 std::uint32_t height, std::int32_t nx, std::int32_t ny,
                                 std::int32_t den) {
  const std::int32_t qx = crop_quotient(nx, den);
  const std::int32_t qy = crop_quotient(ny, den);
  if (!crop_valid(qx, qy, width, height)) return 0;
  const std::uint32_t fx = static_cast<std::uint32_t>(crop_remainder(nx, qx, den) >> 11);
  const std::uint32_t fy = static_cast<std::uint32_t>(crop_remainder(ny, qy, den) >> 11);
  const std::uint8_t* r0 = src + std::uint64_t(std::uint32_t(qy)) * pitch + std::uint32_t(qx);
  const std::uint8_t* r1 = r0 + pitch;
  const std::uint32_t p00 = r0[0], p01 = r0[1], p10 = r1[0], p11 = r1[1];
  const std::uint32_t out = (((p01 - p00) * fx + (p10 - p00) * fy) << 8) +
                            (p11 - p10 + p00 - p01) * (fx * fy) + (p00 << 16);
  return static_cast<std::uint8_t>(out >> 16);
}

// The single call's tail pixel: 3-bit fractions truncated (remainder >> 16),
// s = ((d1 fx + d2 fy) << 3) + c fx fy + (p00 << 6) in 32 bits, s >> 6.
inline std::uint8_t tail_pixel(const std::uint8_t* src, std::uint32_t stride, std::uint32_t width,
                               std::uint32_t height, std::int32_t nx, std::int32_t ny,
                               std::int32_t den) {
  const std::int32_t qx = crop_quotient(nx, den);
  const std::int32_t qy = crop_quotient(ny, den);
  if (!crop_valid(qx, qy, width, height)) return 0;
  const std::uint32_t fx = static_cast<std::uint32_t>(crop_remainder(nx, qx, den) >> 16);
  const std::uint32_t fy = static_cast<std::uint32_t>(crop_remainder(ny, qy, den) >> 16);
  const std::uint8_t* r0 = src + std::uint64_t(std::uint32_t(qy)) * stride + std::uint32_t(qx);
  const std::uint8_t* r1 = r0 + stride;
  const std::uint32_t p00 = r0[0], p01 = r0[1], p10 = r1[0], p11 = r1[1];
  const std::uint32_t s = (((p01 - p00) * fx + (p10 - p00) * fy) << 3) +
                          (p11 - p01 + p00 - p10) * fx * fy + (p00 << 6);
  return static_cast<std::uint8_t>(static_cast<std::int32_t>(s) >> 6);
}

// The single call's group pixel: fractions rounded ((remainder + 2^15) >> 16,
// exactly) and kept as 16-bit lanes; the blend in 16-bit lanes with
// saturating left shifts and wrapping products and sums; (s + 32) >> 6, low
// 8 bits.
inline std::int32_t saturate16(std::int32_t v) {
  return v > INT16_MAX ? INT16_MAX : v < INT16_MIN ? INT16_MIN : v;
}
inline std::uint8_t group_pixel(const std::uint8_t* src, std::uint32_t stride, std::uint32_t width,
                                std::uint32_t height, std::int32_t nx, std::int32_t ny,
                                std::int32_t den) {
  const std::int32_t qx = crop_quotient(nx, den);
  const std::int32_t qy = crop_quotient(ny, den);
  if (!crop_valid(qx, qy, width, height)) return 0;
  const std::int32_t rx = crop_remainder(nx, qx, den), ry = crop_remainder(ny, qy, den);
  const auto fx = static_cast<std::uint32_t>(low16(static_cast<std::uint32_t>((rx >> 16) + ((rx >> 15) & 1))));
  const auto fy = static_cast<std::uint32_t>(low16(static_cast<std::uint32_t>((ry >> 16) + ((ry >> 15) & 1))));
  const std::uint8_t* r0 = src + std::uint64_t(std::uint32_t(qy)) * stride + std::uint32_t(qx);
  const std::uint8_t* r1 = r0 + stride;
  const std::uint32_t p00 = r0[0], p01 = r0[1], p10 = r1[0], p11 = r1[1];
  const std::int32_t t = saturate16(low16((p01 - p00) * fx + (p10 - p00) * fy) * 8);
  const std::int32_t s = low16(static_cast<std::uint32_t>(t) + (p11 - p01 + p00 - p10) * fx * fy +
                               (p00 << 6));
  return static_cast<std::uint8_t>((s + 32) >> 6);
}

}  // namespace pxkit::analysis
