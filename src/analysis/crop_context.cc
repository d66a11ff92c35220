// The pooled perspective crop: create, run, destroy.
#include <algorithm>
#include <cstdint>
#include <span>

#include "analysis/crop_context.h"
#include "common/diag.h"
#include "common/memory.h"
#include "common/stripes.h"
#include "pxkit.h"

namespace pxkit::analysis {
namespace {

// Fills stripe `k` covering destination rows [first, first + rows).
void fill_stripe(crop_stripe& s, const datacode_image& src, const datacode_image& dst,
                 const CropMatrix& m, std::uint32_t x_offset, std::uint32_t y_offset,
                 std::int64_t first, std::int64_t rows) {
  const std::int32_t* h = m.h;
  s.src_width = src.width;
  s.src_height = src.height;
  s.src_pitch = 0;  // only width, height and data are taken from the source record
  s.dst_width = dst.width;
  s.dst_height = dst.height;
  s.dst_stride = dst.stride;
  s.src = src.data;
  s.dst = dst.data + static_cast<std::uint64_t>(first) * dst.stride;
  const std::uint32_t x0 = x_offset + 1u;
  const std::uint32_t y0 = y_offset + 1u + static_cast<std::uint32_t>(first);
  s.col_x = wrap_mad(h[0], x0, 0);
  s.col_y = wrap_mad(h[3], x0, 0);
  s.col_d = wrap_mad(h[6], x0, 0);
  s.row_x = wrap_mad(h[1], y0, h[2]);
  s.row_y = wrap_mad(h[4], y0, h[5]);
  s.row_d = wrap_mad(h[7], y0, h[8]);
  s.inc_x = h[0];
  s.inc_y = h[3];
  s.inc_d = h[6];
  s.step_x = h[1];
  s.step_y = h[4];
  s.step_d = h[7];
  s.rows = static_cast<std::uint32_t>(rows);
}

}  // namespace
}  // namespace pxkit::analysis

using pxkit::analysis::datacode_crop_ctx;

extern "C" PXKIT_API void* create_datacode_bili_inter_crop_ctx(int32_t threads,
                                                              const datacode_image* src,
                                                              const datacode_image* dst,
                                                              const float* matrix,
                                                              uint32_t x_offset, uint32_t y_offset) {
  namespace pa = pxkit::analysis;
  // Null image data counts as a null pointer too, unless there is nothing to write.
  if (threads == 0 || src == nullptr || dst == nullptr || matrix == nullptr ||
      (dst->width != 0 && dst->height != 0 && (dst->data == nullptr || src->data == nullptr))) {
    pxkit::diag::line("[error]: params not valid");
    return nullptr;
  }
  const pa::CropMatrix m = pa::to_q19(matrix);
  auto* ctx = static_cast<datacode_crop_ctx*>(pxkit::mem::allocate_zeroed(sizeof(datacode_crop_ctx)));
  if (ctx == nullptr) {
    pxkit::diag::line("[error]: no memory");
    return nullptr;
  }
  // A negative count reaches the pool as a huge unsigned one and is refused there.
  ctx->pool = pxkit::thread_pool_create(static_cast<std::uint32_t>(threads));
  std::int64_t stripes = 1;
  if (ctx->pool != nullptr) {
    if (threads < 1) return ctx;
    stripes = std::min<std::int64_t>(threads, pa::kMaxCropStripes);
  } else {
    pxkit::diag::line("error: thread pool create fail");
  }
  // Rows per stripe: ceil(height / T) made even; trailing stripes that would
  // start past the destination are empty (pxkit::stripes::split).
  const std::int64_t height = dst->height;
  const std::int64_t rows_per = (height - 1 + stripes) / stripes / 2 * 2;
  pxkit::stripes::Span spans[pa::kMaxCropStripes];
  const std::span<pxkit::stripes::Span> used(spans, static_cast<std::size_t>(stripes));
  pxkit::stripes::split(height, rows_per, used);
  const std::span<pa::crop_stripe> blocks(ctx->stripes, static_cast<std::size_t>(stripes));
  for (std::size_t k = 0; k < blocks.size(); ++k)
    pa::fill_stripe(blocks[k], *src, *dst, m, x_offset, y_offset, spans[k].first, spans[k].count);
  pxkit::stripes::bind(blocks, pa::active_crop_kernels().stripe);
  ctx->number_of_parallel = static_cast<std::uint32_t>(stripes);
  return ctx;
}

extern "C" PXKIT_API int32_t datacode_bili_inter_crop_parallel_u8(void* context) {
  auto* ctx = static_cast<datacode_crop_ctx*>(context);
  if (ctx == nullptr || ctx->pool == nullptr || ctx->number_of_parallel == 0) {
    pxkit::diag::format("fatal: internal bug, thread_pool %p, number_of_parallel %d\n",
                        ctx != nullptr ? static_cast<void*>(ctx->pool) : nullptr,
                        ctx != nullptr ? static_cast<int>(ctx->number_of_parallel) : 0);
    return -1;
  }
  const std::span<pxkit::analysis::crop_stripe> blocks(ctx->stripes, ctx->number_of_parallel);
  if (pxkit::stripes::run(ctx->pool, blocks) != blocks.size()) {
    pxkit::diag::line("fatal: add task fail");
    return -2;
  }
  return 0;
}

extern "C" PXKIT_API void destroy_datacode_bili_inter_crop_ctx(void* context) {
  auto* ctx = static_cast<datacode_crop_ctx*>(context);
  if (ctx == nullptr) return;
  pxkit::thread_pool_destroy(ctx->pool);
  pxkit::mem::release(ctx);
}
