// The frame calls: 4 stripes on the context's pool, or the serial path when
// the context has no pool.
#include <cstddef>
#include <cstdint>
#include <span>

#include "common/diag.h"
#include "common/stripes.h"
#include "convert/convert_context.h"
#include "convert/element_rules.h"

namespace pxkit::convert {
namespace {

// fixed2float (to_float) or float2fixed of `count` elements from src to dst.
std::int32_t convert(fixed_float_context* ctx, std::uint32_t count, const void* src, void* dst,
                     bool to_float) {
  if (ctx == nullptr || ctx->kernel == nullptr ||
      (count != 0 && (src == nullptr || dst == nullptr))) {
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
    const fixed_float_stripe whole{src, dst, total, fixed_factor(ctx->option.mantissa_bits), {}, 0};
    ctx->kernel(reinterpret_cast<std::uintptr_t>(&whole), 0);
    return 0;
  }
  stripes::Span spans[kStripes];  // count / 4 each, stripe 3 the rest
  stripes::split_even(total, spans);
  for (std::uint32_t i = 0; i < kStripes; ++i) {
    fixed_float_stripe& s = ctx->stripes[i];
    const auto first = static_cast<std::size_t>(spans[i].first);
    s.src = static_cast<const unsigned char*>(src) + first * src_size;
    s.dst = static_cast<unsigned char*>(dst) + first * dst_size;
    s.count = static_cast<std::int32_t>(spans[i].count);
  }
  stripes::run(ctx->thread_pool, std::span(ctx->stripes));
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
