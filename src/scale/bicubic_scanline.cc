// The bicubic scanline sampler: the line's usable range, zeros outside it, and
// the chosen kernel inside.
#include <cstdint>
#include <cstring>

#include "pxkit.h"
#include "scale/bicubic_kernels.h"
#include "scale/bicubic_rules.h"

namespace pxkit::scale {

void bicubic_line_scalar(const std::uint8_t* src, std::uint8_t* dst, std::uint32_t width, float a,
                         float x0, float y0, float dx, float dy, std::int32_t first,
                         std::int32_t end) {
  for (std::int32_t k = first; k < end; ++k)
    dst[k] = bicubic_output(src, width, a, x0, y0, dx, dy, k);
}

}  // namespace pxkit::scale

extern "C" PXKIT_API void scanline_bicubic_f32(const uint8_t* src, uint8_t* dst,
                                               uint32_t src_width, uint32_t src_height,
                                               int32_t count, int32_t a, float x0, float y0,
                                               float dx, float dy) {
  using namespace pxkit::scale;
  if (count <= 0 || dst == nullptr) return;
  const BicubicRange r = bicubic_range(src_width, src_height, count, x0, y0, dx, dy);
  std::memset(dst, 0, static_cast<std::size_t>(r.first));
  if (r.end > r.first && src != nullptr) {
    choose_bicubic_kernel(src_width, src_height)(src, dst, src_width, static_cast<float>(a), x0,
                                                 y0, dx, dy, r.first, r.end);
  } else if (r.end > r.first) {
    std::memset(dst + r.first, 0, static_cast<std::size_t>(r.end - r.first));
  }
  std::memset(dst + r.end, 0, static_cast<std::size_t>(count - r.end));
}
