// init / do / deinit of the sparse Scharr gradient, and the walk over the grid
// rows. The context's layout is part of the C interface and has no room for a
// kernel pointer, so each frame takes the kernel table of the best usable
// target (a few loads: the CPU's targets are detected once).
#include <cstddef>
#include <cstdint>

#include "analysis/sparse_scharr_kernels.h"
#include "common/diag.h"
#include "common/memory.h"
#include "pxkit.h"

namespace pxkit::analysis {
namespace {

void walk_grid(const sparse_scharr_ctx& ctx, const sparse_scharr_kernels& k,
               const std::uint8_t* table, const std::uint8_t* src, std::uint8_t* magnitude,
               std::uint8_t* code) {
  const std::int64_t width = ctx.width;
  const GridColumns g{ctx.sparse_width, ctx.step, width,
                      std::int64_t{ctx.sparse_width} * ctx.step == width && ctx.sparse_width > 1};
  const auto row = [&](std::int64_t r) { return src + static_cast<std::size_t>(r * width); };
  sparse_row_pass row_pass = k.row_pass_any;
  if (ctx.step == 1) row_pass = k.row_pass_step1;
  if (ctx.step == 4) row_pass = k.row_pass_step4;
  const std::int16_t* const smooth[3] = {ctx.smooth[0], ctx.smooth[1], ctx.smooth[2]};
  const std::int16_t* const diff[3] = {ctx.diff[0], ctx.diff[1], ctx.diff[2]};
  std::size_t out = 0;
  for (std::int64_t r = 1; r < ctx.row_limit; r += ctx.step) {
    if (ctx.step == 2) {
      k.step2_row(row(r - 1), row(r), row(r + 1), g, table, magnitude + out, code + out);
    } else {
      for (int i = 0; i < 3; ++i) row_pass(row(r - 1 + i), g, ctx.smooth[i], ctx.diff[i]);
      k.combine(smooth, diff, g.count, table, magnitude + out, code + out);
    }
    out += static_cast<std::size_t>(g.count);
  }
}

}  // namespace
}  // namespace pxkit::analysis

extern "C" PXKIT_API int32_t init_sparse_scharr_ctx(sparse_scharr_ctx* ctx, int32_t width,
                                                    int32_t height, int32_t step) {
  using namespace pxkit;
  if (ctx == nullptr || width == 0 || height == 0 || step == 0) {
    diag::line("bad params");
    return -1;
  }
  ctx->width = width;
  ctx->height = height;
  ctx->step = step;
  // In 64 bits: INT32_MIN / -1 does not fit, and the product must not wrap.
  ctx->sparse_width = static_cast<int32_t>(std::int64_t{width} / step);
  ctx->sparse_height = static_cast<int32_t>(std::int64_t{height} / step);
  ctx->row_limit = static_cast<int32_t>(std::int64_t{ctx->sparse_height} * step - 1);
  if (step == 2) {
    for (int i = 0; i < 3; ++i) ctx->smooth[i] = ctx->diff[i] = nullptr;
    return 0;
  }
  const std::int64_t entries = std::int64_t{ctx->sparse_width} + 2;
  auto* block = entries > 0 ? static_cast<int16_t*>(pxkit::mem::allocate(
                                  static_cast<std::size_t>(entries) * 12))
                            : nullptr;
  for (int i = 0; i < 3; ++i) {
    ctx->smooth[i] = block != nullptr ? block + i * entries : nullptr;
    ctx->diff[i] = block != nullptr ? block + (3 + i) * entries : nullptr;
  }
  if (block == nullptr) {
    diag::line("no memory");
    return -2;
  }
  return 0;
}

extern "C" PXKIT_API int32_t do_sparse_scharr(sparse_scharr_ctx* ctx, const uint8_t* code_table,
                                              const uint8_t* src, uint8_t* magnitude,
                                              uint8_t* code) {
  using namespace pxkit;
  if (ctx == nullptr || code_table == nullptr || src == nullptr || magnitude == nullptr ||
      code == nullptr) {
    diag::line("bad params");
    return 0;
  }
  // Negative sizes or steps describe no grid; the rows of a general-step
  // context must still be there (not freed by deinit).
  if (ctx->width <= 0 || ctx->height <= 0 || ctx->step <= 0 || ctx->sparse_width <= 0) return 0;
  if (ctx->step != 2 && (ctx->smooth[0] == nullptr || ctx->smooth[1] == nullptr ||
                         ctx->smooth[2] == nullptr || ctx->diff[0] == nullptr ||
                         ctx->diff[1] == nullptr || ctx->diff[2] == nullptr)) {
    diag::line("bad params");
    return 0;
  }
  analysis::walk_grid(*ctx, analysis::sparse_scharr_active_kernels(), code_table, src, magnitude,
                      code);
  return 0;
}

extern "C" PXKIT_API void deinit_sparse_scharr_ctx(sparse_scharr_ctx* ctx) {
  if (ctx == nullptr || ctx->smooth[0] == nullptr) return;
  pxkit::mem::release(ctx->smooth[0]);
  ctx->smooth[0] = nullptr;
}
