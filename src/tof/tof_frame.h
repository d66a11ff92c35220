// Arguments of one single-frequency frame call, shared by the pooled and the
// serial paths.
#pragma once

#include <cstdint>

#include "tof/tof_context.h"

namespace pxkit::tof {

enum class DepthType { kFloat, kFixed16 };

struct FrameArgs {
  DepthType type;
  std::uint32_t width;
  std::int32_t height;
  const std::int16_t* phase_0;
  const std::int16_t* phase_90;
  const std::int16_t* phase_180;
  const std::int16_t* phase_270;
  void* depth_out;
  void* amplitude_out;  // null = no amplitude
  float depth_scale;
  bool has_offset;      // the _v3 calls
  float depth_offset;
};

// Runs the frame on the caller's thread for a context without a pool: planar
// input, normal order, no shift, 6.10 fixed point. Returns 0.
std::int32_t serial_frame(const tof_context& ctx, const FrameArgs& a);

}  // namespace pxkit::tof
