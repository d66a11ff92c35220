// setup_tof_context / destroy_tof_context: every decision the options settle
// is made here once: the amplitude shift, the fixed-point depth factor and the
// kernel that all four stripes run.
#include <cstddef>
#include <span>

#include "common/diag.h"
#include "common/memory.h"
#include "common/stripes.h"
#include "pxkit.h"
#include "tof/amplitude_shift.h"
#include "tof/tof_context.h"
#include "tof/tof_kernels.h"

namespace pxkit::tof {
namespace {

void report_options(const tof_option& o) {
  diag::format(
      "setup tof option:\n\t\tenable substract interleave: %d\n\t\tright shift bits: %d\n"
      "\t\treverse_90_270: %d\n\t\tcut_higher_amplitude_bits: %d\n\t\tmantissa_bits: %d\n"
      "\t\tdepth_out_use_float: %d\n\t\tamplitude_output_32bytes_align: %d\n"
      "\t\tamplitude_out_use_16bit: %d\n",
      o.enable_substract_interleave, o.right_shift_bits, o.reverse_90_270,
      o.cut_higher_amplitude_bits, o.mantissa_bits, o.depth_out_use_float,
      o.amplitude_output_32bytes_align, o.amplitude_out_use_16bit);
}

// 2^mantissa_bits; 0 and anything above 15 give the default 6.10 format.
// 15 itself is accepted although the message says "less than 15".
float mantissa_scale(std::uint8_t bits) {
  if (bits == 0) return 1024.0f;
  if (bits > 15) {
    diag::format("error: mantissa bits (%d) should less than 15, use 10 by default\n", bits);
    return 1024.0f;
  }
  return static_cast<float>(1 << bits);
}

thread_pool_func choose_kernel(const tof_option& o, AmplitudeShift shift) {
  const KernelKind kind{o.depth_out_use_float != 0, o.enable_substract_interleave != 0, shift,
                        o.reverse_90_270 != 0, o.amplitude_out_use_16bit != 0};
  return active_kernels()[static_cast<std::size_t>(kernel_index(kind))];
}

}  // namespace
}  // namespace pxkit::tof

extern "C" PXKIT_API tof_context* setup_tof_context(const tof_option* option) {
  using namespace pxkit::tof;
  if (option == nullptr) {
    pxkit::diag::line("error: invalid params");
    return nullptr;
  }
  auto* ctx = static_cast<tof_context*>(pxkit::mem::allocate_zeroed(sizeof(tof_context)));
  if (ctx == nullptr) {
    pxkit::diag::line("error: no memory");
    return nullptr;
  }
  // A pool that fails to start leaves the frame calls on their serial path.
  ctx->thread_pool = pxkit::thread_pool_create(kWorkers);
  ctx->option = *option;
  report_options(ctx->option);

  const pxkit::AmplitudeShiftChoice shift = pxkit::choose_amplitude_shift(
      ctx->option.right_shift_bits, ctx->option.cut_higher_amplitude_bits);
  const float mantissa = ctx->option.depth_out_use_float != 0
                             ? 0.0f
                             : mantissa_scale(ctx->option.mantissa_bits);
  pxkit::report_amplitude_shift(shift);  // after any mantissa message

  const pxkit::thread_pool_func kernel = choose_kernel(ctx->option, shift.direction);
  for (tof_stripe& s : ctx->stripes) {
    s.mantissa_scale = mantissa;
    s.amplitude_shift = shift.amount;
  }
  pxkit::stripes::bind(std::span(ctx->stripes), kernel);
  return ctx;
}

extern "C" PXKIT_API void destroy_tof_context(tof_context* ctx) {
  if (ctx == nullptr) return;
  pxkit::thread_pool_destroy(ctx->thread_pool);
  pxkit::mem::release(ctx);
}
