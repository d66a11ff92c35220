// The frame calls: 4 stripes on the context's pool, or the serial path when
// the context has no pool.
#include <cstddef>
#include <cstdint>

#include "common/diag.h"
#include "convert/convert_context.h"
#include "convert/element_rules.h"

namespace pxkit::convert {
namespace {

// fixed2float (to_float) or float2fixed of `count` elements from src to dst.
std::int32_t convert(fixed_float_context* ctx, std::uint32_t count, const void* src, void* dst,
                     bool to_float) {
  if (ctx == nullptr || ctx->kernel == nullptr) {
    diag::line("error: invalid params");
    return -1;
  }
  const std::size_t fixed_size = ctx->option.fixed_bits / 8u;
  const std::size_t src_size = to_float ? fixed_size : sizeof(float);
  const std::size_t dst_size = to_float ? sizeof(float) : fixed_size;
  // The count is taken as signed: above INT32_MAX it is negative and, like
  // every count <= 0, converts nothing.
  const auto total = static_cast<std::int32_t>(count);
  if (ctx->thread_pool == nullptr) {
    diag::line("null ctx, choose non-parallel version");
    ctx->kernel(src, dst, total, fixed_factor(ctx->option.mantissa_bits));
    return 0;
  }
  const std::int32_t q = total / 4;  // stripes 0-2; stripe 3 takes the rest
  const auto* src_bytes = static_cast<const unsigned char*>(src);
  auto* dst_bytes = static_cast<unsigned char*>(dst);
  for (std::uint32_t i = 0; i < kStripes; ++i) {
    fixed_float_stripe& s = ctx->stripes[i];
    // With q <= 0 every stripe starts at the base: stripes 0-2 are empty and
    // stripe 3 holds the 0-3 elements (none for a negative total).
    const std::size_t first = q > 0 ? static_cast<std::size_t>(q) * i : 0;
    s.src = src_bytes + first * src_size;
    s.dst = dst_bytes + first * dst_size;
    s.count = i + 1 < kStripes ? q : total - 3 * q;
    thread_pool_add_task(ctx->thread_pool, &s.task);
  }
  for (std::uint32_t i = 0; i < kStripes; ++i) thread_pool_wait(ctx->thread_pool);
  return 0;
}

}  // namespace
}  // namespace pxkit::convert

extern "C" PXKIT_API std::int32_t fixed2float(fixed_float_context* ctx, std::uint32_t count,
                                              const void* fixed, float* floats) {
  return pxkit::convert::convert(ctx, count, fixed, floats, true);
}

extern "C" PXKIT_API std::int32_t float2fixed(fixed_float_context* ctx, std::uint32_t count,
                                              const float* floats, void* fixed) {
  return pxkit::convert::convert(ctx, count, floats, fixed, false);
}
