// create_img_scale_ctx, img_scale and destroy_img_scale_ctx: creation of the
// bilinear context (the area one is made in area_context.cc) and the frame
// call and destroy shared by both.
#include <pxkit.h>

#include <cstddef>
#include <cstdint>

#include "common/diag.h"
#include "common/memory.h"
#include "scale/yuv_scale_context.h"

namespace pxkit::scale {
namespace {

void destroy_bilinear(void* ctx) {
  auto* c = static_cast<img_scale_ctx*>(ctx);
  mem::release(c->intermediate);
  free_yuv_bilinear_tables(c->luma);
  free_yuv_bilinear_tables(c->chroma);
  mem::release(c);
}

// Allocates the intermediate rows: whole frame, every source row plus the one
// beyond (read when up-scaling); banded, the luma ring and two chroma rings.
bool allocate_intermediate(img_scale_ctx& c, bool banded) {
  constexpr std::uint64_t kMaxElements = std::uint64_t{1} << 40;  // more cannot be allocated
  const std::uint64_t width = c.dst_width, chroma_width = c.dst_width >> 1;
  std::uint64_t elements = 0;
  if (banded) {
    const std::uint64_t lines = std::uint64_t{c.src_height} * 16 / c.dst_height + 6;
    if (lines > UINT32_MAX) return false;
    c.interm_buf_lines = static_cast<std::uint32_t>(lines);
    // Each term below 2^64 (lines < 2^32, widths < 2^32); checked one by one.
    const std::uint64_t luma = lines * width, chroma = (lines >> 1) * chroma_width;
    if (luma > kMaxElements || chroma > kMaxElements) return false;
    elements = luma + 2 * chroma;
  } else {
    elements = (std::uint64_t{c.src_height} + 1) * width;
  }
  if (elements > kMaxElements) return false;
  c.intermediate = static_cast<std::uint16_t*>(
      mem::allocate(static_cast<std::size_t>(elements + 1) * sizeof(std::uint16_t)));
  if (c.intermediate == nullptr) return false;
  if (banded) {
    const std::size_t lines = c.interm_buf_lines;
    c.chroma_ring[0] = c.intermediate + lines * width;
    c.chroma_ring[1] = c.chroma_ring[0] + (lines >> 1) * chroma_width;
  }
  return true;
}

void* create_bilinear(std::uint32_t src_width, std::uint32_t src_height, std::uint32_t dst_width,
                      std::uint32_t dst_height, std::uint32_t src_format,
                      std::uint32_t dst_format, std::uint32_t method, std::uint32_t flags) {
  auto* c = static_cast<img_scale_ctx*>(mem::allocate_zeroed(sizeof(img_scale_ctx)));
  if (c == nullptr) {
    diag::line("[error]: no memory");
    return nullptr;
  }
  c->src_format = static_cast<std::uint8_t>(src_format);
  c->dst_format = static_cast<std::uint8_t>(dst_format);
  c->method = method & 7u;
  c->src_width = src_width;
  c->src_height = src_height;
  c->dst_width = dst_width;
  c->dst_height = dst_height;
  if (src_format != PXKIT_FORMAT_YUV420SP || dst_format != PXKIT_FORMAT_YUV420P) {
    diag::format("[error]: not support format change: 0x%02x -> 0x%02x, method 0x%02x\n",
                 src_format, dst_format, method);
    destroy_bilinear(c);
    return nullptr;
  }
  if (src_width == dst_width && src_height == dst_height) {
    diag::line("[error]: non-scale, not supported yet");
    destroy_bilinear(c);
    return nullptr;
  }
  const bool banded = (flags & PXKIT_SCALE_FLAG_BANDED) != 0;
  if (!allocate_intermediate(*c, banded)) {
    diag::line("[error]: no memory");
    destroy_bilinear(c);
    return nullptr;
  }
  if (setup_yuv_bilinear_tables(c->luma, src_width, src_height, dst_width, dst_height, false) != 0 ||
      setup_yuv_bilinear_tables(c->chroma, src_width >> 1, src_height >> 1, dst_width >> 1,
                                dst_height >> 1, true) != 0) {
    diag::line("[error]: __setup_bilinear_scale_ctx_u8 failed");
    destroy_bilinear(c);
    return nullptr;
  }
  c->kernels = &active_yuv_kernels();
  if (banded) {
    c->head.func_scale = bilinear_band;
  } else if ((flags & PXKIT_SCALE_FLAG_TABLE_ROWS) != 0) {
    c->head.func_scale = bilinear_frame_table_rows;
  } else {
    c->head.func_scale = bilinear_frame_counted_rows;
  }
  c->head.magic = kImgScaleMagic;
  c->head.destroy = destroy_bilinear;
  return c;
}

}  // namespace
}  // namespace pxkit::scale

using namespace pxkit;

extern "C" PXKIT_API void* create_img_scale_ctx(uint32_t src_width, uint32_t src_height,
                                                uint32_t dst_width, uint32_t dst_height,
                                                uint32_t src_format, uint32_t dst_format,
                                                uint32_t method, uint32_t flags) {
  if (src_width == 0 || src_height == 0 || dst_width == 0 || dst_height == 0 || src_format == 0 ||
      dst_format == 0 || method == 0) {
    diag::line("[error]: params not valid");
    return nullptr;
  }
  if (method == PXKIT_SCALE_AREA) {
    return scale::create_area_scale_ctx(src_width, src_height, dst_width, dst_height, src_format,
                                        dst_format, flags);
  }
  if (method != PXKIT_SCALE_BILINEAR) {
    diag::format("[error]: not support scale method: 0x%02x\n", method);
    return nullptr;
  }
  return scale::create_bilinear(src_width, src_height, dst_width, dst_height, src_format,
                                dst_format, method, flags);
}

extern "C" PXKIT_API int32_t img_scale(void* ctx, const img_planes* src, const img_planes* dst) {
  if (ctx == nullptr || src == nullptr || dst == nullptr) {
    diag::format("[error]: null ctx %p, or null src %p dst %p\n", ctx,
                 static_cast<const void*>(src), static_cast<const void*>(dst));
    return -1;
  }
  const auto* head = static_cast<const scale::img_scale_head*>(ctx);
  if (head->magic != scale::kImgScaleMagic) {
    diag::format("[error]: bad magic 0x%08x\n", head->magic);
    return -2;
  }
  if (head->func_scale == nullptr) {
    diag::line("[error]: null func_scale");
    return -3;
  }
  head->func_scale(ctx, src, dst);
  return 0;
}

extern "C" PXKIT_API void destroy_img_scale_ctx(void* ctx) {
  if (ctx == nullptr) return;
  const auto* head = static_cast<const scale::img_scale_head*>(ctx);
  if (head->destroy != nullptr) head->destroy(ctx);
}
