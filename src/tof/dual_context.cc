// Setting up and releasing a dual-frequency ToF context.
#include <cstdint>
#include <span>

#include "common/diag.h"
#include "common/memory.h"
#include "common/stripes.h"
#include "pxkit.h"
#include "threadpool/thread_pool.h"
#include "tof/amplitude_shift.h"
#include "tof/dual_context.h"
#include "tof/dual_kernels.h"

namespace pxkit {
namespace {

inline constexpr std::uint32_t kDualWorkers = 4;

void report_option(const tof_dual_option& o) {
  diag::format(
      "setup tof_dual option:\n\t\tenable substract interleave: %d\n\t\tenable substract channel: "
      "%d\n\t\tdepth_out_use_float: %d\n\t\tamplitude_out_use_16bit: %d\n\t\toutput_distance_0: "
      "%d\n\t\toutput_distance_1: %d\n\t\tright shift bits: %d\n\t\tmantissa_bits: "
      "%d\n\t\tcut_higher_amplitude_bits: %d\n\t\tm0: %d\n\t\tm1: %d\n",
      static_cast<int>(o.enable_substract_interleave), static_cast<int>(o.enable_substract_channel),
      static_cast<int>(o.depth_out_use_float), static_cast<int>(o.amplitude_out_use_16bit),
      static_cast<int>(o.output_distance_0), static_cast<int>(o.output_distance_1),
      static_cast<int>(o.right_shift_bits), static_cast<int>(o.mantissa_bits),
      static_cast<int>(o.cut_higher_amplitude_bits), static_cast<int>(o.m0),
      static_cast<int>(o.m1));
}

}  // namespace
}  // namespace pxkit

extern "C" PXKIT_API tof_dual_context* setup_tof_dual_context(const tof_dual_option* option) {
  using namespace pxkit;
  // m0 and m1 are loop counts of the unwrapping search: a negative one would
  // count to about 4 billion per pixel.
  if (option == nullptr || option->m0 < 0 || option->m1 < 0) {
    diag::line("error: invalid params");
    return nullptr;
  }
  auto* ctx = static_cast<tof_dual_context*>(mem::allocate_zeroed(sizeof(tof_dual_context)));
  if (ctx == nullptr) {
    diag::line("error: no memory");
    return nullptr;
  }
  ctx->thread_pool = thread_pool_create(kDualWorkers);  // null: serial decoding
  ctx->option = *option;
  report_option(ctx->option);
  const AmplitudeShiftChoice shift =
      choose_amplitude_shift(ctx->option.right_shift_bits, ctx->option.cut_higher_amplitude_bits);
  report_amplitude_shift(shift);

  const thread_pool_func kernel = dual_active_kernels()[dual_kernel_index(
      ctx->option.enable_substract_interleave != 0, ctx->option.amplitude_out_use_16bit != 0,
      shift.direction)];
  for (tof_dual_stripe& stripe : ctx->stripes) stripe.amplitude_shift = shift.amount;
  stripes::bind(std::span(ctx->stripes), kernel);
  return ctx;
}

extern "C" PXKIT_API void destroy_tof_dual_context(tof_dual_context* ctx) {
  if (ctx == nullptr) return;
  pxkit::thread_pool_destroy(ctx->thread_pool);
  pxkit::mem::release(ctx);
}
