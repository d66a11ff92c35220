// Creation and destroy of the area down-sampling context (method 3).
#include <pxkit.h>

#include <cstddef>
#include <cstdint>

#include "common/diag.h"
#include "common/memory.h"
#include "scale/yuv_scale_context.h"

namespace pxkit::scale {
namespace {

void destroy_area(void* ctx) {
  auto* c = static_cast<area_scale_ctx*>(ctx);
  free_area_tables(c->luma);
  free_area_tables(c->chroma);
  mem::release(c->scratch);
  mem::release(c);
}

}  // namespace

void* create_area_scale_ctx(std::uint32_t src_width, std::uint32_t src_height,
                            std::uint32_t dst_width, std::uint32_t dst_height,
                            std::uint32_t src_format, std::uint32_t dst_format,
                            std::uint32_t flags) {
  if (!(dst_width < src_width && dst_height < src_height)) {
    diag::format("dst resolution[%dx%d] shall be less than src [%dx%d]\n",
                 static_cast<int>(dst_width), static_cast<int>(dst_height),
                 static_cast<int>(src_width), static_cast<int>(src_height));
    return nullptr;
  }
  auto* c = static_cast<area_scale_ctx*>(mem::allocate_zeroed(sizeof(area_scale_ctx)));
  if (c == nullptr) {
    diag::line("[error]: no memory");
    return nullptr;
  }
  c->src_width = src_width;
  c->src_height = src_height;
  c->dst_width = dst_width;
  c->dst_height = dst_height;
  c->src_format = static_cast<std::uint8_t>(src_format);
  c->dst_format = static_cast<std::uint8_t>(dst_format);
  c->method = PXKIT_SCALE_AREA;
  if (src_format != PXKIT_FORMAT_YUV420SP || dst_format != PXKIT_FORMAT_YUV420P) {
    diag::format("[error]: not support format change: 0x%02x -> 0x%02x in downsampling\n",
                 src_format, dst_format);
    destroy_area(c);
    return nullptr;
  }
  if (setup_area_tables(c->luma, src_width, src_height, dst_width, dst_height, false) != 0 ||
      setup_area_tables(c->chroma, src_width >> 1, src_height >> 1, dst_width >> 1,
                        dst_height >> 1, true) != 0) {
    diag::line("[error]: __setup_down_sampling_ctx_u8 failed");
    destroy_area(c);
    return nullptr;
  }
  c->scratch = static_cast<float*>(
      mem::allocate(static_cast<std::size_t>(area_scratch_floats(dst_width) + 1) * sizeof(float)));
  if (c->scratch == nullptr) {
    diag::line("[error]: no memory");
    destroy_area(c);
    return nullptr;
  }
  c->kernels = &active_yuv_kernels();
  c->head.magic = kImgScaleMagic;
  c->head.func_scale = (flags & PXKIT_SCALE_FLAG_BANDED) != 0 ? area_band : area_frame;
  c->head.destroy = destroy_area;
  return c;
}

}  // namespace pxkit::scale
