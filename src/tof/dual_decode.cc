// itof_dual_dec_float: checks, the split into four stripes, and the pool.
#include <cstddef>
#include <cstdint>
#include <span>

#include "common/diag.h"
#include "common/stripes.h"
#include "pxkit.h"
#include "threadpool/thread_pool.h"
#include "tof/dual_context.h"
#include "tof/dual_frame.h"

namespace pxkit {
namespace {

// Where a stripe starts and how much it covers.
struct StripeSpan {
  std::size_t first_pixel;      // in the packed input and depth
  std::size_t first_amplitude;  // in amplitude elements
  std::uint32_t pixel_count;    // run mode; 0 in row mode
  std::uint32_t rows;           // row mode
};

// Run mode (amplitude rows as wide as the image): the pixels are cut into
// q = (w h) / 4, q, q and the rest. Row mode: h / 4 rows each, stripe 3
// taking the remaining rows. An empty run-mode stripe gets no rows either,
// so that row fields left by an earlier call never make it write.
void split(const DualFrame& f, bool run_mode, StripeSpan (&spans)[kDualStripes]) {
  stripes::Span parts[kDualStripes];
  stripes::split_even(run_mode ? std::int64_t{f.width} * f.height : std::int64_t{f.height}, parts);
  for (std::uint32_t s = 0; s < kDualStripes; ++s) {
    const auto first = static_cast<std::size_t>(parts[s].first);
    const auto count = static_cast<std::uint32_t>(parts[s].count);
    spans[s] = run_mode ? StripeSpan{first, first, count, 0}
                        : StripeSpan{first * f.width, first * f.amplitude_pitch, 0, count};
  }
}

void fill_stripe(tof_dual_stripe& b, const tof_dual_context& ctx, const DualFrame& f,
                 const StripeSpan& span, bool run_mode) {
  const tof_dual_option& o = ctx.option;
  b.pixel_count = span.pixel_count;
  if (!run_mode) {
    b.width = f.width;
    b.amplitude_pitch = f.amplitude_pitch;
  }
  if (!run_mode || span.pixel_count == 0) b.rows = span.rows;
  const std::size_t samples = span.first_pixel * (o.enable_substract_interleave ? 2 : 1);
  for (int p = 0; p < 8; ++p) b.planes[p] = f.planes[p] + samples;
  b.channel_plane =
      o.enable_substract_channel && !o.enable_substract_interleave ? f.channel_plane : nullptr;
  b.depth = f.depth + span.first_pixel;
  if (f.amplitude == nullptr) {
    b.amplitude = nullptr;
  } else if (o.amplitude_out_use_16bit) {
    b.amplitude = static_cast<std::uint16_t*>(f.amplitude) + span.first_amplitude;
  } else {
    b.amplitude = static_cast<std::uint8_t*>(f.amplitude) + span.first_amplitude;
  }
  b.distance_0 = o.output_distance_0 ? f.distance_0 : nullptr;
  b.distance_1 = o.output_distance_1 ? f.distance_1 : nullptr;
  b.scale = f.scale;
  b.offset_0 = f.offset_0;
  b.offset_1 = f.offset_1;
  b.m0 = static_cast<std::uint32_t>(o.m0);
  b.m1 = static_cast<std::uint32_t>(o.m1);
}

}  // namespace

bool has_planes(const DualFrame& f, int sample_planes) {
  if (f.width == 0 || f.height == 0) return true;
  if (f.depth == nullptr) return false;
  for (int p = 0; p < sample_planes; ++p)
    if (f.planes[p] == nullptr) return false;
  return true;
}

std::int32_t dual_decode_pooled(tof_dual_context& ctx, const DualFrame& f) {
  const tof_dual_option& o = ctx.option;
  // Every refusal comes before the first stripe is queued.
  if (!o.depth_out_use_float) {
    diag::line("error: should set 'distance_out_use_float' in option when setup_tof_context");
    return -1;
  }
  if (o.output_distance_0 && f.distance_0 == nullptr) {
    diag::line("error: null p_distance_0");
    return -2;
  }
  if (o.output_distance_1 && f.distance_1 == nullptr) {
    diag::line("error: null p_distance_1");
    return -3;
  }

  // Frames of 2^31 pixels or more, whose count a signed 32-bit division
  // cannot take, are cut by rows; the result is the same.
  const bool run_mode = f.width == f.amplitude_pitch &&
                        std::uint64_t{f.width} * f.height < (std::uint64_t{1} << 31);
  StripeSpan spans[kDualStripes];
  split(f, run_mode, spans);
  for (std::uint32_t s = 0; s < kDualStripes; ++s) fill_stripe(ctx.stripes[s], ctx, f, spans[s], run_mode);
  stripes::run(ctx.thread_pool, std::span(ctx.stripes));
  return 0;
}

}  // namespace pxkit

extern "C" PXKIT_API int32_t itof_dual_dec_float(
    tof_dual_context* ctx, uint32_t width, uint32_t height, const uint16_t* p0, const uint16_t* p1,
    const uint16_t* p2, const uint16_t* p3, const uint16_t* p4, const uint16_t* p5,
    const uint16_t* p6, const uint16_t* p7, const void* channel_plane, float* depth,
    float* distance_0, float* distance_1, void* amplitude, uint32_t amplitude_pitch, float scale,
    float offset_0, float offset_1) {
  const pxkit::DualFrame frame{width,      height,     {p0, p1, p2, p3, p4, p5, p6, p7},
                               channel_plane, depth,   distance_0,
                               distance_1, amplitude,  amplitude_pitch,
                               scale,      offset_0,   offset_1};
  if (ctx == nullptr || !pxkit::has_planes(frame, ctx->thread_pool != nullptr ? 8 : 4)) {
    pxkit::diag::line("error: invalid params");
    return -4;
  }
  if (ctx->thread_pool == nullptr) return pxkit::dual_decode_serial(*ctx, frame);
  return pxkit::dual_decode_pooled(*ctx, frame);
}
