// Dual-frequency ToF context: the option copied at setup, the pool, and one
// parameter block per stripe. Setup fills the per-context fields of the
// blocks (kernel, amplitude shift, index); each decode call rewrites the rest.
#pragma once

#include <cstdint>

#include "pxkit.h"
#include "threadpool/thread_pool.h"

namespace pxkit {

inline constexpr std::uint32_t kDualStripes = 4;

// One stripe's work, read by the stripe kernel on a worker thread.
struct tof_dual_stripe {
  thread_pool_task task;  // the chosen kernel, arg0 = this block
  std::uint32_t index;    // 0..3

  // Run mode: pixel_count > 0 consecutive pixels. Row mode (pixel_count 0):
  // rows x width pixels of packed input and depth; amplitude rows are
  // amplitude_pitch elements apart.
  std::uint32_t pixel_count;
  std::uint32_t width;
  std::uint32_t rows;
  std::uint32_t amplitude_pitch;

  const std::uint16_t* planes[8];  // p0..p3 frequency 0, p4..p7 frequency 1
  const void* channel_plane;       // kept for the caller, read by no kernel
  float* depth;
  void* amplitude;  // u8 or u16 elements by the option; null = no amplitude
  float* distance_0;  // kept when requested; no stripe kernel writes them
  float* distance_1;
  float scale;  // read by no stripe kernel (they use 1/(2 pi))
  float offset_0;
  float offset_1;
  std::uint32_t m0;
  std::uint32_t m1;
  std::uint32_t amplitude_shift;  // 0 for the no-shift kernels
};

}  // namespace pxkit

struct tof_dual_context {
  pxkit::thread_pool* thread_pool;  // null: every decode runs the serial path
  pxkit::tof_dual_stripe stripes[pxkit::kDualStripes];
  tof_dual_option option;  // the packed word and m1, verbatim
};
