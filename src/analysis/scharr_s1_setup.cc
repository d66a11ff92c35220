// init and deinit of the Scharr edge suppression: the pool, the scratch block
// and the stripe layout.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "analysis/scharr_s1_context.h"
#include "analysis/scharr_s1_layout.h"
#include "common/diag.h"
#include "common/memory.h"
#include "pxkit.h"

namespace pxkit::analysis {
namespace {

// Scratch for `stripes` stripes: three rows of smoothing values per stripe in
// the first half, three rows of differences in the second (4 bytes a value).
bool make_scratch(sparse_scharr_s1_ctx& ctx, std::uint32_t stripes) {
  const std::size_t per_stripe = std::size_t{3} * ctx.width;
  void* block = mem::allocate(std::size_t{stripes} * ctx.width * 24);
  if (block == nullptr) return false;
  ctx.smooth_rows = block;
  ctx.diff_rows = static_cast<std::int32_t*>(block) + std::size_t{stripes} * per_stripe;
  for (std::uint32_t k = 0; k < stripes; ++k) {
    s1_stripe& s = ctx.stripes[k];
    s.width = ctx.width;
    s.smooth = static_cast<std::int32_t*>(ctx.smooth_rows) + k * per_stripe;
    s.diff = static_cast<std::int32_t*>(ctx.diff_rows) + k * per_stripe;
  }
  // The frame call sets each task's kernel: it depends on the data type.
  stripes::bind(std::span(ctx.stripes, stripes), nullptr);
  return true;
}

}  // namespace
}  // namespace pxkit::analysis

extern "C" PXKIT_API void* init_sparse_scharr_s1_ctx(uint32_t threads, uint32_t width,
                                                     uint32_t height) {
  using namespace pxkit;
  using namespace pxkit::analysis;
  if (width == 0 || height == 0) {
    diag::line("bad params");
    return nullptr;
  }
  auto* ctx = static_cast<sparse_scharr_s1_ctx*>(mem::allocate_zeroed(sizeof(sparse_scharr_s1_ctx)));
  if (ctx == nullptr) {
    diag::line("no memory");
    return nullptr;
  }
  ctx->width = width;
  ctx->height = height;
  ctx->kernels = &s1_active_kernels();
  if (threads > 1) {
    ctx->pool = thread_pool_create(threads);
    if (ctx->pool == nullptr) {
      diag::line("error: thread pool create fail");
      ctx->number_of_parallel = 1;
    } else {
      const std::uint32_t stripes = std::min(threads, kMaxS1Stripes);
      ctx->number_of_parallel = stripes;
      if (!make_scratch(*ctx, stripes)) {
        diag::line("no memory");
        thread_pool_destroy(ctx->pool);
        mem::release(ctx);
        return nullptr;
      }
      stripes::Span spans[kMaxS1Stripes];
      s1_split(height, std::span(spans, stripes));
      for (std::uint32_t k = 0; k < stripes; ++k)
        ctx->stripes[k].rows = static_cast<std::uint32_t>(spans[k].count);
      return ctx;
    }
  } else {
    ctx->number_of_parallel = threads;
  }
  if (!make_scratch(*ctx, 1)) {
    diag::line("no memory");
    mem::release(ctx);
    return nullptr;
  }
  return ctx;
}

extern "C" PXKIT_API void deinit_sparse_scharr_s1_ctx(void* context) {
  auto* ctx = static_cast<sparse_scharr_s1_ctx*>(context);
  if (ctx == nullptr) return;
  // The pool is left running on purpose (see the public header): its workers
  // stay blocked on their empty queue for the rest of the process.
  pxkit::mem::release(ctx->smooth_rows);
  pxkit::mem::release(ctx);
}
