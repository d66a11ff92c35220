// The six single-frequency frame calls: check the context, cut the frame into
// four stripes, run them on the context's pool and wait for all four.
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>

#include "common/diag.h"
#include "common/stripes.h"
#include "pxkit.h"
#include "tof/tof_context.h"
#include "tof/tof_frame.h"

namespace pxkit::tof {
namespace {

// p advanced by `elements` of `size` bytes; null stays null.
template <class T>
T* advance(T* p, std::int64_t elements, std::size_t size) {
  if (p == nullptr) return nullptr;
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(p) + elements * static_cast<std::int64_t>(size));
}

// Row pitch of padded amplitude rows: the width rounded up to 32 elements.
std::int64_t amplitude_pitch(std::uint32_t width) { return (std::int64_t{width} + 31) & ~std::int64_t{31}; }

// Points stripe s at its first pixel: input element `first` (2 * first when
// interleaved), depth element `first`, amplitude element `first_amp`.
void place_stripe(tof_stripe& s, const FrameArgs& a, const tof_option& o, std::int64_t first,
                  std::int64_t first_amp) {
  const std::int64_t first_input = o.enable_substract_interleave != 0 ? 2 * first : first;
  s.phase_0 = a.phase_0 + first_input;
  s.phase_90 = a.phase_90 + first_input;
  s.phase_180 = a.phase_180 + first_input;
  s.phase_270 = a.phase_270 + first_input;
  s.depth_out = advance(a.depth_out, first, a.type == DepthType::kFloat ? 4 : 2);
  s.amplitude_out = advance(a.amplitude_out, first_amp, o.amplitude_out_use_16bit != 0 ? 2 : 1);
}

// Whether the frame's sizes fit the stripe blocks' 32-bit fields: a pixel
// count of at most INT32_MAX, no negative height, and in row mode an
// amplitude pitch that is a positive 32-bit value.
bool representable(const FrameArgs& a, bool row_mode) {
  const std::int64_t pixels = std::int64_t{a.width} * a.height;
  if (a.height < 0 || pixels > std::numeric_limits<std::int32_t>::max()) return false;
  return !row_mode || amplitude_pitch(a.width) <= std::numeric_limits<std::int32_t>::max();
}

// Flat mode: stripes 0-2 get N / 4 of the N = width * height pixels, stripe 3
// the rest. Row mode: stripes 0-2 get height / 4 rows, stripe 3 the rest;
// amplitude rows are amplitude_pitch elements apart (the padding is never
// written), input and depth rows are packed. Row fields are cleared in flat
// mode, so that an empty stripe writes nothing.
void split(tof_context& ctx, const FrameArgs& a, bool row_mode) {
  stripes::Span spans[kStripes];
  stripes::split_even(row_mode ? std::int64_t{a.height} : std::int64_t{a.width} * a.height, spans);
  const std::int64_t pitch = amplitude_pitch(a.width);
  for (int k = 0; k < kStripes; ++k) {
    tof_stripe& s = ctx.stripes[k];
    const stripes::Span& span = spans[k];
    if (row_mode) {
      place_stripe(s, a, ctx.option, span.first * a.width, span.first * pitch);
      s.pixel_count = 0;
      s.width = static_cast<std::int32_t>(a.width);
      s.rows = static_cast<std::int32_t>(span.count);
      s.amplitude_pitch = static_cast<std::int32_t>(pitch);
    } else {
      place_stripe(s, a, ctx.option, span.first, span.first);
      s.pixel_count = static_cast<std::int32_t>(span.count);
      s.width = s.rows = s.amplitude_pitch = 0;
    }
  }
}

std::int32_t run_frame(tof_context* ctx, const FrameArgs& a) {
  const bool row_mode = ctx != nullptr && ctx->option.amplitude_output_32bytes_align != 0 &&
                        a.width % 32 != 0;
  if (ctx == nullptr || a.phase_0 == nullptr || a.phase_90 == nullptr || a.phase_180 == nullptr ||
      a.phase_270 == nullptr || a.depth_out == nullptr || !representable(a, row_mode)) {
    diag::line("error: invalid params");
    return -2;
  }
  if (ctx->thread_pool == nullptr) return serial_frame(*ctx, a);

  const bool float_context = ctx->option.depth_out_use_float != 0;
  if (a.type == DepthType::kFloat && !float_context) {
    diag::line("error: should set 'depth_out_use_float' in option when setup_tof_context");
    return -1;
  }
  if (a.type == DepthType::kFixed16 && float_context) {
    diag::line("error: should not set 'depth_out_use_float' in option when setup_tof_context");
    return -1;
  }

  split(*ctx, a, row_mode);
  for (tof_stripe& s : ctx->stripes) {
    s.depth_scale = a.depth_scale;
    if (a.has_offset) s.depth_offset = a.depth_offset;  // stays for later calls without one
  }
  stripes::run(ctx->thread_pool, std::span(ctx->stripes));
  return 0;
}

FrameArgs args(DepthType type, std::uint32_t width, std::int32_t height, const std::int16_t* p0,
               const std::int16_t* p90, const std::int16_t* p180, const std::int16_t* p270,
               void* depth, void* amplitude, float scale, bool has_offset, float offset) {
  return {type, width, height, p0, p90, p180, p270, depth, amplitude, scale, has_offset, offset};
}

}  // namespace
}  // namespace pxkit::tof

using pxkit::tof::args;
using pxkit::tof::DepthType;
using pxkit::tof::run_frame;

extern "C" PXKIT_API int32_t cal_tof_depth_amplitude_float(
    tof_context* ctx, uint32_t width, int32_t height, const int16_t* phase_0,
    const int16_t* phase_90, const int16_t* phase_180, const int16_t* phase_270, float* depth_out,
    void* amplitude_out, float depth_scale) {
  return run_frame(ctx, args(DepthType::kFloat, width, height, phase_0, phase_90, phase_180,
                             phase_270, depth_out, amplitude_out, depth_scale, false, 0.0f));
}

extern "C" PXKIT_API int32_t cal_tof_depth_amplitude_float_v2(
    tof_context* ctx, uint32_t width, int32_t height, const int16_t* phase_0,
    const int16_t* phase_90, const int16_t* phase_180, const int16_t* phase_270, float* depth_out,
    void* amplitude_out, float depth_scale) {
  return cal_tof_depth_amplitude_float(ctx, width, height, phase_0, phase_90, phase_180, phase_270,
                                       depth_out, amplitude_out, depth_scale);
}

extern "C" PXKIT_API int32_t cal_tof_depth_amplitude_float_v3(
    tof_context* ctx, uint32_t width, int32_t height, const int16_t* phase_0,
    const int16_t* phase_90, const int16_t* phase_180, const int16_t* phase_270, float* depth_out,
    void* amplitude_out, float depth_scale, float depth_offset) {
  return run_frame(ctx, args(DepthType::kFloat, width, height, phase_0, phase_90, phase_180,
                             phase_270, depth_out, amplitude_out, depth_scale, true, depth_offset));
}

extern "C" PXKIT_API int32_t cal_tof_depth_amplitude_fixed16(
    tof_context* ctx, uint32_t width, int32_t height, const int16_t* phase_0,
    const int16_t* phase_90, const int16_t* phase_180, const int16_t* phase_270,
    int16_t* depth_out, void* amplitude_out, float depth_scale) {
  return run_frame(ctx, args(DepthType::kFixed16, width, height, phase_0, phase_90, phase_180,
                             phase_270, depth_out, amplitude_out, depth_scale, false, 0.0f));
}

extern "C" PXKIT_API int32_t cal_tof_depth_amplitude_fixed16_v2(
    tof_context* ctx, uint32_t width, int32_t height, const int16_t* phase_0,
    const int16_t* phase_90, const int16_t* phase_180, const int16_t* phase_270,
    int16_t* depth_out, void* amplitude_out, float depth_scale) {
  return cal_tof_depth_amplitude_fixed16(ctx, width, height, phase_0, phase_90, phase_180,
                                         phase_270, depth_out, amplitude_out, depth_scale);
}

extern "C" PXKIT_API int32_t cal_tof_depth_amplitude_fixed16_v3(
    tof_context* ctx, uint32_t width, int32_t height, const int16_t* phase_0,
    const int16_t* phase_90, const int16_t* phase_180, const int16_t* phase_270,
    int16_t* depth_out, void* amplitude_out, float depth_scale, float depth_offset) {
  return run_frame(ctx, args(DepthType::kFixed16, width, height, phase_0, phase_90, phase_180,
                             phase_270, depth_out, amplitude_out, depth_scale, true, depth_offset));
}
