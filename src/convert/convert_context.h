// Context of the fixed-point <-> float conversions: the option, the kernel
// chosen at setup, a 4-worker pool and one stripe block per worker.
#pragma once

#include <cstdint>

#include "pxkit.h"
#include "threadpool/thread_pool.h"

namespace pxkit::convert {

inline constexpr std::uint32_t kStripes = 4;

// One stripe of a call. The call sets src, dst and count; setup sets the rest.
// fixed2float: src = fixed-point elements, dst = floats; float2fixed: the reverse.
struct fixed_float_stripe {
  const void* src;
  void* dst;
  std::int32_t count;     // elements; <= 0 converts nothing
  float factor;           // 2^mantissa_bits as (int32)1 << (mantissa_bits % 32)
  thread_pool_task task;  // the context's kernel, arg0 = this block
  std::uint32_t index;    // 0..3
};

}  // namespace pxkit::convert

struct fixed_float_context {
  pxkit::thread_pool* thread_pool;  // null when it could not be made: serial path
  pxkit::convert::fixed_float_stripe stripes[pxkit::convert::kStripes];
  fixed_float_option option;
  pxkit::thread_pool_func kernel;  // the stripe kernel; null for an unsupported fixed_bits
};
