// The frame calls of the Scharr edge suppression: checks, the zero frame, and
// the stripes on the pool (or the whole interior on the calling thread).
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "analysis/scharr_s1_context.h"
#include "analysis/scharr_s1_layout.h"
#include "common/diag.h"
#include "pxkit.h"

namespace pxkit::analysis {
namespace {

constexpr float kDefaultEpsilon = 1e-5f;

bool overlap(const void* a, const void* b, std::size_t bytes) {
  const auto x = reinterpret_cast<std::uintptr_t>(a);
  const auto y = reinterpret_cast<std::uintptr_t>(b);
  return x < y + bytes && y < x + bytes;
}

// Rows 0 and height - 1 and columns 0 and width - 1: the pixels no kernel
// writes. Every other pixel is written by a stripe, so the whole result ends
// up as if it had been cleared first.
void zero_frame(unsigned char* dst, std::size_t w, std::size_t h, std::size_t elem) {
  const std::size_t pitch = w * elem;
  std::memset(dst, 0, pitch);
  std::memset(dst + (h - 1) * pitch, 0, pitch);
  for (std::size_t r = 1; r + 1 < h; ++r) {
    std::memset(dst + r * pitch, 0, elem);
    std::memset(dst + r * pitch + pitch - elem, 0, elem);
  }
}

std::int32_t s1_frame(void* context, const void* src, void* dst, bool relative,
                      std::uint32_t data_type, float threshold, float epsilon) {
  auto* ctx = static_cast<sparse_scharr_s1_ctx*>(context);
  if (ctx == nullptr || src == nullptr || dst == nullptr) {
    diag::line("bad params");
    return 0;
  }
  if (data_type != SPARSE_SCHARR_S1_U16 && data_type != SPARSE_SCHARR_S1_F32) {
    diag::format("data type is invalid, %d\n", static_cast<int>(data_type));
    return 0;
  }
  const std::size_t w = ctx->width, h = ctx->height;
  const std::size_t elem = data_type == SPARSE_SCHARR_S1_U16 ? 2 : 4;
  auto* out = static_cast<unsigned char*>(dst);
  const auto* in = static_cast<const unsigned char*>(src);
  const bool pooled = ctx->number_of_parallel > 1;
  // An overlapping result is cleared first, so its source reads as 0 and the
  // result stays all 0 (an exact in-place call gives what clearing first gives).
  if (overlap(src, dst, w * h * elem) ||
      (pooled && relative && data_type == SPARSE_SCHARR_S1_U16)) {
    std::memset(out, 0, w * h * elem);
    if (pooled && relative && data_type == SPARSE_SCHARR_S1_U16)
      diag::line("not support dynamic normalization for u16 now");
    return 0;
  }
  zero_frame(out, w, h, elem);
  if (epsilon == 0.0f) epsilon = kDefaultEpsilon;
  const S1KernelTable& k = *ctx->kernels;
  const std::size_t first = w + 1;  // row 1, column 1
  if (!pooled) {
    // One stripe over the whole interior with the plain test of the type: the
    // relative test is not used on this path.
    s1_stripe whole{};
    whole.width = ctx->width;
    whole.rows = static_cast<std::uint32_t>(s1_interior_rows(ctx->height));
    whole.threshold = threshold;
    whole.epsilon = epsilon;
    whole.src = whole.rows > 0 ? in + first * elem : in;
    whole.dst = whole.rows > 0 ? out + first * elem : out;
    whole.smooth = ctx->smooth_rows;
    whole.diff = ctx->diff_rows;
    const thread_pool_func kernel = k[data_type == SPARSE_SCHARR_S1_U16 ? kS1U16Plain : kS1F32Plain];
    kernel(reinterpret_cast<std::uintptr_t>(&whole), 0);
    return 0;
  }
  // Pooled: u16 plain; f32 relative when asked for, else f32 plain.
  const thread_pool_func kernel = k[data_type == SPARSE_SCHARR_S1_U16 ? kS1U16Plain
                                    : relative                         ? kS1F32Relative
                                                                       : kS1F32Plain];
  const std::span blocks(ctx->stripes, ctx->number_of_parallel);
  stripes::Span spans[kMaxS1Stripes];
  s1_split(ctx->height, std::span(spans, blocks.size()));
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    s1_stripe& s = blocks[i];
    // An empty stripe keeps the image's base: it is queued but writes nothing.
    const std::size_t at =
        s.rows > 0 ? (first + static_cast<std::size_t>(spans[i].first) * w) * elem : 0;
    s.src = in + at;
    s.dst = out + at;
    s.threshold = threshold;
    s.epsilon = epsilon;
    s.task.func = kernel;
  }
  stripes::run(ctx->pool, blocks);
  return 0;
}

}  // namespace
}  // namespace pxkit::analysis

extern "C" PXKIT_API int32_t do_sparse_scharr_s1(void* ctx, const void* src, void* dst,
                                                 uint32_t data_type, float threshold) {
  return pxkit::analysis::s1_frame(ctx, src, dst, false, data_type, threshold, 0.0f);
}

extern "C" PXKIT_API int32_t do_sparse_scharr_s1_v2(void* ctx, const void* src, void* dst,
                                                    uint32_t dynamic_normalization,
                                                    uint32_t data_type, float threshold,
                                                    float epsilon) {
  return pxkit::analysis::s1_frame(ctx, src, dst, dynamic_normalization != 0, data_type, threshold,
                                   epsilon);
}
