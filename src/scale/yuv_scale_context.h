// Contexts of create_img_scale_ctx: the bilinear one and the area one share a
// head (magic word, frame driver, destroy function), so that img_scale and
// destroy_img_scale_ctx serve both.
#pragma once

#include <pxkit.h>

#include <cstdint>

#include "scale/area_tables.h"
#include "scale/yuv_kernels.h"
#include "scale/yuv_tables.h"

namespace pxkit::scale {

inline constexpr std::uint32_t kImgScaleMagic = 0x963D5BA2u;
inline constexpr std::uint32_t kBandRows = 16;  // luma rows per band (8 chroma rows)

// A driver returns its own status, which img_scale does not pass on.
using img_scale_driver = std::int32_t (*)(void* ctx, const img_planes* src, const img_planes* dst);

struct img_scale_head {
  std::uint32_t magic;
  img_scale_driver func_scale;
  void (*destroy)(void* ctx);
};

// Rows of one channel that a band ring holds.
struct ring_rows {
  std::uint32_t first;
  std::uint32_t last;
};

struct img_scale_ctx {
  img_scale_head head;
  yuv_bilinear_tables luma;
  yuv_bilinear_tables chroma;
  std::uint16_t* intermediate;     // whole frame: Q7 rows; banded: luma ring then two chroma rings
  std::uint32_t interm_buf_lines;  // banded: luma ring capacity in source rows
  std::uint32_t src_width, src_height, dst_width, dst_height;
  std::uint8_t src_format, dst_format;
  std::uint8_t method : 3;
  std::uint32_t current_row;       // banded: first destination row of the next band
  std::uint16_t* chroma_ring[2];   // banded: inside `intermediate`
  ring_rows luma_held, chroma_held;
  const yuv_kernels* kernels;
};

struct area_scale_ctx {
  img_scale_head head;
  area_scale_tables luma;
  area_scale_tables chroma;
  std::uint32_t src_width, src_height, dst_width, dst_height;
  std::uint8_t src_format, dst_format;
  std::uint8_t method : 3;
  std::uint32_t current_row;  // banded: first destination row of the next band
  // Scratch of the frame drivers (made at creation): the horizontal sums of
  // the last two source rows per channel, and one accumulator row per channel.
  float* scratch;
  const yuv_kernels* kernels;
};

// Drivers (yuv_bilinear_drivers.cc, area_drivers.cc).
std::int32_t bilinear_frame_table_rows(void* ctx, const img_planes* src, const img_planes* dst);
std::int32_t bilinear_frame_counted_rows(void* ctx, const img_planes* src, const img_planes* dst);
std::int32_t bilinear_band(void* ctx, const img_planes* src, const img_planes* dst);
std::int32_t area_frame(void* ctx, const img_planes* src, const img_planes* dst);
std::int32_t area_band(void* ctx, const img_planes* src, const img_planes* dst);

// Creation of the area context (area_context.cc); arguments already checked non-zero.
void* create_area_scale_ctx(std::uint32_t src_width, std::uint32_t src_height,
                            std::uint32_t dst_width, std::uint32_t dst_height,
                            std::uint32_t src_format, std::uint32_t dst_format,
                            std::uint32_t flags);

// Floats of area scratch for a destination of dst_width (luma) columns.
inline std::uint64_t area_scratch_floats(std::uint32_t dst_width) {
  const std::uint64_t w = dst_width, cw = dst_width >> 1;
  return 3 * w + 6 * cw;
}

}  // namespace pxkit::scale
