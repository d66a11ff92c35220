#include "colour_rotate.h"

#include <pxkit.h>

#include <cmath>
#include <cstring>

namespace pxcli {

std::vector<std::uint8_t> rotate_grey(const std::vector<std::uint8_t>& grey, Size size, double degrees,
                                      std::int32_t a) {
  const std::size_t w = size.width, h = size.height;
  // Lines along an axis (steps of exactly 0) read one row or column beyond the
  // picture's edge: the copy has two zero rows before it and three after.
  constexpr std::size_t kRowsBefore = 2, kRowsAfter = 3;
  std::vector<std::uint8_t> padded((kRowsBefore + h + kRowsAfter) * w, 0);
  std::memcpy(padded.data() + kRowsBefore * w, grey.data(), w * h);
  const std::uint8_t* src = padded.data() + kRowsBefore * w;

  const double rad = degrees * 3.14159265358979323846 / 180.0;
  const double c = std::cos(rad), s = std::sin(rad);
  const double cx = (static_cast<double>(w) - 1) / 2, cy = (static_cast<double>(h) - 1) / 2;
  std::vector<std::uint8_t> out(w * h);
  // Output (i, j) samples the source at the centre plus its offset rotated
  // back (y points down, so a turn that looks counter-clockwise maps the offset
  // (ox, oy) to (c ox - s oy, s ox + c oy)); along a row the position moves by (c, s).
  for (std::size_t j = 0; j < h; ++j) {
    const double ox = -cx, oy = static_cast<double>(j) - cy;
    const double x0 = cx + c * ox - s * oy;
    const double y0 = cy + s * ox + c * oy;
    scanline_bicubic_f32(src, out.data() + j * w, size.width, size.height, static_cast<int32_t>(w), a,
                         static_cast<float>(x0), static_cast<float>(y0), static_cast<float>(c),
                         static_cast<float>(s));
  }
  return out;
}

}  // namespace pxcli
