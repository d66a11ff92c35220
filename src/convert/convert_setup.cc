// Setup and destroy of the conversion contexts (both directions).
#include <cstdint>

#include "common/diag.h"
#include "common/memory.h"
#include "convert/convert_context.h"
#include "convert/element_rules.h"

namespace pxkit::convert {
namespace {

constexpr std::uint32_t kPoolThreads = 4;

std::int32_t run_stripe(std::uint64_t arg0, std::uint64_t /*arg1*/) {
  const auto* s = reinterpret_cast<const fixed_float_stripe*>(arg0);
  s->kernel(s->src, s->dst, s->count, s->factor);
  return 0;
}

convert_kernel choose_kernel(const convert_kernels& k, bool to_float,
                             const fixed_float_option& option) {
  const bool is_signed = option.fixed_is_signed != 0;
  switch (option.fixed_bits) {
    case 8:
      if (to_float) return is_signed ? k.s8_to_f32_kernel : k.u8_to_f32_kernel;
      return is_signed ? k.f32_to_s8_kernel : k.f32_to_u8_kernel;
    case 16:
      if (to_float) return is_signed ? k.s16_to_f32_kernel : k.u16_to_f32_kernel;
      return is_signed ? k.f32_to_s16_kernel : k.f32_to_u16_kernel;
    case 32:
      if (to_float) return is_signed ? k.s32_to_f32_kernel : k.u32_to_f32_kernel;
      return is_signed ? k.f32_to_s32_kernel : k.f32_to_u32_kernel;
    default:
      return nullptr;
  }
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
  ctx->kernel = choose_kernel(active_convert_kernels(), to_float, ctx->option);
  // The message names two of the three accepted widths; it is kept as it is.
  if (ctx->kernel == nullptr) diag::line("fixed bit is not 16 or 32");
  const float factor = fixed_factor(ctx->option.mantissa_bits);
  for (std::uint32_t i = 0; i < kStripes; ++i) {
    fixed_float_stripe& s = ctx->stripes[i];
    s = fixed_float_stripe{};
    s.factor = factor;
    s.kernel = ctx->kernel;
    s.task.func = run_stripe;
    s.task.arg0 = reinterpret_cast<std::uint64_t>(&s);
    s.index = i;
  }
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
