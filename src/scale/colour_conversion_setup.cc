// Setup and destroy of the colour conversion context: the format pair, the
// sizes and, when the sizes differ, the two nearest-neighbour index tables.
#include <cstdint>
#include <cstring>

#include "common/diag.h"
#include "common/memory.h"
#include "pxkit.h"
#include "scale/colour_conversion.h"

namespace pxkit::scale {
namespace {

// Byte step of one source pixel for a supported pair, 0 for any other.
std::uint32_t byte_step(std::int32_t src, std::uint32_t dst) {
  if (src == 1 && dst == 2) return 1;
  if (dst != 10) return 0;
  switch (src) {
    case 7:
    case 8: return 3;
    case 4:
    case 5: return 4;
    case 10: return 1;
    default: return 0;
  }
}

}  // namespace

void fill_index_table(std::uint32_t* table, std::uint32_t src_size, std::uint32_t dst_size,
                      std::uint32_t step) {
  std::uint32_t acc = src_size >> 1, idx = 0;
  for (std::uint32_t i = 0; i < dst_size; ++i) {
    acc += src_size;
    table[i] = step * idx;  // written before the accumulator is reduced
    while (acc > dst_size) {
      acc -= dst_size;
      idx += 1;
    }
  }
}

}  // namespace pxkit::scale

extern "C" PXKIT_API int setup_scale_color_conversion(scale_color_conversion_ctx* ctx,
                                                      uint32_t src_width, uint32_t src_height,
                                                      uint32_t dst_width, uint32_t dst_height,
                                                      int32_t src_format, uint32_t dst_format) {
  using namespace pxkit;
  if (ctx == nullptr || src_width == 0 || src_height == 0 || dst_width == 0 || dst_height == 0 ||
      src_format == 0 || dst_format == 0) {
    diag::line("[error]: params not valid");
    return -1;
  }
  const std::uint32_t step = scale::byte_step(src_format, dst_format);
  if (step == 0) {
    diag::format("[error]: not support format change: 0x%02x -> 0x%02x\n",
                 static_cast<unsigned>(src_format), dst_format);
    return -2;
  }
  if (ctx->p_scale_index_x != nullptr) {
    diag::format("[warn]: p_scale_index_x is not null, %p\n",
                 static_cast<void*>(ctx->p_scale_index_x));
    ctx->p_scale_index_x = nullptr;  // left to the caller: destroy belongs before a new setup
    ctx->p_scale_index_y = nullptr;
  }
  ctx->src_format = static_cast<std::uint8_t>(src_format);
  ctx->dst_format = static_cast<std::uint8_t>(dst_format);
  ctx->src_width = src_width;
  ctx->src_height = src_height;
  ctx->dst_width = dst_width;
  ctx->dst_height = dst_height;
  if (dst_width == src_width && dst_height == src_height) {
    ctx->scaling = 0;
    ctx->magic = scale::kColourMagic;
    return 0;
  }
  // A failed allocation leaves a context that frame calls refuse (scaling
  // without tables), whatever magic an earlier setup left.
  ctx->scaling = 1;
  const std::uint64_t entries = std::uint64_t{dst_width} + dst_height;  // < 2^33: no overflow
  auto* block = static_cast<std::uint32_t*>(
      entries <= SIZE_MAX / sizeof(std::uint32_t) ? mem::allocate(entries * sizeof(std::uint32_t))
                                                  : nullptr);
  if (block == nullptr) {
    diag::line("[error]: no memory");
    return -3;
  }
  ctx->p_scale_index_x = block;
  ctx->p_scale_index_y = block + dst_width;
  scale::fill_index_table(ctx->p_scale_index_x, src_width, dst_width, step);
  scale::fill_index_table(ctx->p_scale_index_y, src_height, dst_height, 1);
  ctx->magic = scale::kColourMagic;
  return 0;
}

extern "C" PXKIT_API void destroy_scale_color_conversion(scale_color_conversion_ctx* ctx) {
  if (ctx == nullptr) return;
  pxkit::mem::release(ctx->p_scale_index_x);  // the one block holding both tables
  std::memset(ctx, 0, sizeof *ctx);
}
