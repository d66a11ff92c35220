// Line kernels of the bicubic scanline sampler: the scalar reference and the
// best vector target's kernel share one signature.
#pragma once

#include <cstdint>

namespace pxkit::scale {

// Computes dst[k] for k in [first, end) of the line (x0 + k dx, y0 + k dy) on
// a src image `width` bytes wide, with cubic parameter a.
using bicubic_kernel = void (*)(const std::uint8_t* src, std::uint8_t* dst, std::uint32_t width,
                                float a, float x0, float y0, float dx, float dy,
                                std::int32_t first, std::int32_t end);

void bicubic_line_scalar(const std::uint8_t* src, std::uint8_t* dst, std::uint32_t width, float a,
                         float x0, float y0, float dx, float dy, std::int32_t first,
                         std::int32_t end);

// The best usable vector kernel, or the scalar reference. Vector kernels
// address the image with 32-bit offsets: images of 2^31 bytes or more (with
// the rows around them) take the scalar reference.
bicubic_kernel choose_bicubic_kernel(std::uint32_t width, std::uint32_t height);

}  // namespace pxkit::scale
