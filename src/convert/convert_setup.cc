// Setup and destroy of the conversion contexts (both directions).
#include <cstddef>
#include <cstdint>
#include <span>

#include "common/diag.h"
#include "common/memory.h"
#include "common/stripes.h"
#include "convert/convert_context.h"
#include "convert/convert_kernels.h"
#include "convert/element_rules.h"

namespace pxkit::convert {
namespace {

constexpr std::uint32_t kPoolThreads = 4;

// The kernel for the option's signedness and width; null for another width.
thread_pool_func choose_kernel(bool to_float, const fixed_float_option& option) {
  const int index = convert_kernel_index(to_float, option.fixed_is_signed != 0, option.fixed_bits);
  return index < 0 ? nullptr : active_convert_kernels()[static_cast<std::size_t>(index)];
}

fixed_float_context* setup_context(const fixed_float_option* option, bool to_float) {
  if (option == nullptr) {
    diag::line("error: invalid params");
    return nullptr;
  }
  auto* ctx = static_cast<fixed_float_context*>(mem::allocate(sizeof(fixed_float_context)));
  if (ctx == nullptr) {
    diag::line("error: no memory");
    return nullptr;
  }
  ctx->thread_pool = thread_pool_create(kPoolThreads);
  ctx->option = *option;
  // Both directions print "fixed2float" here.
  diag::format("setup fixed2float option:\n\t\tfixed_is_signed: %d\n\t\tfixed_bits: %d\n"
               "\t\tmantissa_bits: %d\n",
               ctx->option.fixed_is_signed, ctx->option.fixed_bits, ctx->option.mantissa_bits);
  ctx->kernel = choose_kernel(to_float, ctx->option);
  // The message names two of the three accepted widths; it is kept as it is.
  if (ctx->kernel == nullptr) diag::line("fixed bit is not 16 or 32");
  const float factor = fixed_factor(ctx->option.mantissa_bits);
  for (fixed_float_stripe& s : ctx->stripes) {
    s = fixed_float_stripe{};
    s.factor = factor;
  }
  stripes::bind(std::span(ctx->stripes), ctx->kernel);
  return ctx;
}

}  // namespace
}  // namespace pxkit::convert

extern "C" PXKIT_API fixed_float_context* setup_fixed2float_context(
    const fixed_float_option* option) {
  return pxkit::convert::setup_context(option, true);
}

extern "C" PXKIT_API fixed_float_context* setup_float2fixed_context(
    const fixed_float_option* option) {
  return pxkit::convert::setup_context(option, false);
}

extern "C" PXKIT_API void destroy_fixed2float_context(fixed_float_context* ctx) {
  if (ctx == nullptr) return;
  pxkit::thread_pool_destroy(ctx->thread_pool);
  pxkit::mem::release(ctx);
}
