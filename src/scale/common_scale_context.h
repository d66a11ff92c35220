// Context of create_common_img_scale_ctx / common_img_scale: the geometry, the
// bilinear tables, the intermediate buffer and the line kernel chosen at creation.
#pragma once

#include <cstdint>

#include "scale/bilinear_tables.h"

struct common_img_scale_ctx;

namespace pxkit::scale {

// The first word of every live scaling context.
inline constexpr std::uint32_t kScaleMagic = 0x963D5BA2u;

inline constexpr std::uint32_t kDataU16 = 1;
inline constexpr std::uint32_t kDataF32 = 2;
inline constexpr std::uint32_t kMethodBilinear = 2;

// A line kernel: scales one frame from `src` to `dst` with the context's
// geometry. Its result is not looked at by the frame call.
using scale_kernel = std::int32_t (*)(const common_img_scale_ctx* ctx, const void* src, void* dst);

}  // namespace pxkit::scale

// Zero-filled at allocation; owned by the caller between create and destroy.
struct common_img_scale_ctx {
  std::uint32_t magic;  // kScaleMagic once creation has succeeded
  pxkit::scale::bilinear_scale_tables tables;
  std::uint32_t* intermediate;  // src_height x dst_width 4-byte elements, then column_weights_f32
  std::uint32_t src_width, src_stride, src_height;  // strides in bytes
  std::uint32_t dst_width, dst_stride, dst_height;
  std::uint32_t method;
  std::uint32_t scaling;  // 1 once a kernel has been chosen
  pxkit::scale::scale_kernel func_scale;
  // Leading destination columns whose left source column is not the last one
  // (so that its right neighbour exists): the vector kernels gather these.
  std::uint32_t inner_columns;
  // The column weights as floats (w0, w1 per column, dst_width of each), for
  // the f32 vector kernels; they live after the intermediate rows.
  float* column_w0_f32;
  float* column_w1_f32;
};
