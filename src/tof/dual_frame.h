// The arguments of one itof_dual_dec_float call, as the two decode paths take them.
#pragma once

#include <cstdint>

#include "tof/dual_context.h"

namespace pxkit {

struct DualFrame {
  std::uint32_t width;
  std::uint32_t height;
  const std::uint16_t* planes[8];  // p0..p3 frequency 0, p4..p7 frequency 1
  const void* channel_plane;
  float* depth;
  float* distance_0;
  float* distance_1;
  void* amplitude;
  std::uint32_t amplitude_pitch;
  float scale;
  float offset_0;
  float offset_1;
};

// Whether a frame with pixels has its depth plane and the first
// `sample_planes` sample planes (an empty frame needs none).
bool has_planes(const DualFrame& frame, int sample_planes);
// The pool's path: refusals (-1, -2, -3) before anything is queued, then four stripes.
std::int32_t dual_decode_pooled(tof_dual_context& ctx, const DualFrame& frame);
// The caller's-thread path of a context without a pool: frequency 0 only (see there).
std::int32_t dual_decode_serial(const tof_dual_context& ctx, const DualFrame& frame);

}  // namespace pxkit
