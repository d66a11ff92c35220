// The single-frequency ToF context: the caller's options, a 4-worker pool and
// one parameter block per stripe whose embedded task runs the chosen kernel.
#pragma once

#include <cstdint>

#include "pxkit.h"
#include "threadpool/thread_pool.h"

namespace pxkit::tof {

inline constexpr int kStripes = 4;
inline constexpr std::uint32_t kWorkers = 4;

// One stripe of a frame. A flat stripe is a run of pixel_count pixels; a row
// stripe (pixel_count 0) is `rows` rows of `width` pixels whose amplitude rows
// start amplitude_pitch elements apart. The frame call rewrites the pointers,
// sizes and depth_scale every frame, depth_offset only in the _v3 calls.
struct tof_stripe {
  const std::int16_t* phase_0;
  const std::int16_t* phase_270;
  const std::int16_t* phase_180;
  const std::int16_t* phase_90;
  std::int32_t pixel_count;
  std::int32_t width;
  std::int32_t rows;
  std::int32_t amplitude_pitch;  // elements
  void* depth_out;               // f32 or i16
  void* amplitude_out;           // u8 or u16; null = no amplitude
  float depth_scale;
  float mantissa_scale;          // 2^mantissa_bits for fixed-point depth, 0 for f32
  std::uint32_t amplitude_shift; // its direction is built into the kernel
  float depth_offset;
  thread_pool_task task;         // func = the kernel, arg0 = this block
  std::uint32_t index;
};

}  // namespace pxkit::tof

struct tof_context {
  pxkit::thread_pool* thread_pool;  // null when the workers could not be started
  pxkit::tof::tof_stripe stripes[pxkit::tof::kStripes];
  tof_option option;
};
