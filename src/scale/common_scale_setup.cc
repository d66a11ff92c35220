// Creation and destruction of the single-channel bilinear scaling context.
#include <cstddef>
#include <cstdint>

#include "common/diag.h"
#include "common/memory.h"
#include "pxkit.h"
#include "scale/bilinear_kernels.h"
#include "scale/common_scale_context.h"

namespace pxkit::scale {
namespace {

// Largest intermediate this build will try to allocate: src_height x
// dst_width 4-byte elements must be representable as a byte count.
constexpr std::uint64_t kMaxIntermediateElements = (std::uint64_t{1} << 62) / 4;

// The kernel for a geometry; the same rows for both data types.
scale_kernel choose_kernel(const bilinear_kernels& k, const common_img_scale_ctx& c, bool is_u16) {
  if (c.dst_width == c.src_width) {
    if (std::uint64_t{c.dst_height} == 2 * std::uint64_t{c.src_height}) return is_u16 ? k.v2x_u16 : k.v2x_f32;
    return is_u16 ? k.v_u16 : k.v_f32;
  }
  if (c.dst_height == c.src_height) return is_u16 ? k.h_u16 : k.h_f32;
  return is_u16 ? k.hv_u16 : k.hv_f32;
}

// Columns before the first one whose left source column is the last.
std::uint32_t count_inner_columns(const bilinear_scale_tables& t) {
  std::uint32_t n = 0;
  while (n < t.dst_width && t.column_index[n] + 1 < t.src_width) ++n;
  return n;
}

common_img_scale_ctx* fail(common_img_scale_ctx* ctx) {
  destroy_common_img_scale_ctx(ctx);
  return nullptr;
}

}  // namespace
}  // namespace pxkit::scale

extern "C" PXKIT_API void* create_common_img_scale_ctx(uint32_t src_width, uint32_t src_stride,
                                                       uint32_t src_height, uint32_t dst_width,
                                                       uint32_t dst_stride, uint32_t dst_height,
                                                       uint32_t method, uint32_t data_type) {
  using namespace pxkit;
  using namespace pxkit::scale;
  if (src_width == 0 || src_height == 0 || dst_width == 0 || dst_height == 0 || method == 0) {
    diag::line("[error]: params not valid");
    return nullptr;
  }
  auto* ctx = static_cast<common_img_scale_ctx*>(mem::allocate_zeroed(sizeof(common_img_scale_ctx)));
  if (ctx == nullptr) {
    diag::line("[error]: no memory");
    return nullptr;
  }
  ctx->src_width = src_width;
  ctx->src_stride = src_stride;
  ctx->src_height = src_height;
  ctx->dst_width = dst_width;
  ctx->dst_stride = dst_stride;
  ctx->dst_height = dst_height;
  ctx->method = method;
  if (data_type != kDataU16 && data_type != kDataF32) {
    diag::format("[error]: not support data type 0x%02x\n", data_type);
    return fail(ctx);
  }
  if (method != kMethodBilinear) {
    diag::format("[error]: not support method 0x%02x\n", method);
    return fail(ctx);
  }
  if (dst_width == src_width && dst_height == src_height) {
    ctx->scaling = 0;  // a pure copy is refused, not performed
    diag::line("[error]: non-scale, not supported yet");
    return fail(ctx);
  }
  // The intermediate rows, then two rows of float column weights.
  const std::uint64_t elements = (std::uint64_t{src_height} + 2) * dst_width;
  if (elements <= kMaxIntermediateElements) {
    ctx->intermediate = static_cast<std::uint32_t*>(
        mem::allocate(static_cast<std::size_t>(elements) * sizeof(std::uint32_t)));
  }
  if (ctx->intermediate == nullptr) {
    diag::line("[error]: no memory");
    return fail(ctx);
  }
  if (build_bilinear_scale_tables(&ctx->tables, src_width, src_height, dst_width, dst_height,
                                  BorderClamp::kYes) != 0) {
    diag::line("[error]: __setup_bilinear_scale_ctx_u8 failed");
    return fail(ctx);
  }
  // The vector kernels gather with 32-bit signed byte offsets: rows of 2^29
  // samples or more (2 GiB of f32) are left to the row loops.
  ctx->inner_columns = src_width < (1u << 29) ? count_inner_columns(ctx->tables) : 0;
  ctx->column_w0_f32 = reinterpret_cast<float*>(ctx->intermediate + std::size_t{src_height} * dst_width);
  ctx->column_w1_f32 = ctx->column_w0_f32 + dst_width;
  for (std::uint32_t i = 0; i < dst_width; ++i) {
    ctx->column_w0_f32[i] = static_cast<float>(ctx->tables.column_weights[i].w0);
    ctx->column_w1_f32[i] = static_cast<float>(ctx->tables.column_weights[i].w1);
  }
  ctx->func_scale = choose_kernel(active_bilinear_kernels(), *ctx, data_type == kDataU16);
  ctx->scaling = 1;
  ctx->magic = kScaleMagic;
  return ctx;
}

extern "C" PXKIT_API void destroy_common_img_scale_ctx(void* context) {
  if (context == nullptr) return;
  auto* ctx = static_cast<common_img_scale_ctx*>(context);
  pxkit::mem::release(ctx->intermediate);
  pxkit::scale::free_bilinear_scale_tables(&ctx->tables);
  pxkit::mem::release(ctx);
}
