// Context of the Scharr edge suppression (s1): sizes, scratch rows, the pool
// and one record per stripe with the task its worker runs.
#pragma once

#include <cstdint>

#include "analysis/scharr_s1_kernels.h"
#include "threadpool/thread_pool.h"

namespace pxkit::analysis {

inline constexpr std::uint32_t kMaxS1Stripes = 8;

}  // namespace pxkit::analysis

struct sparse_scharr_s1_ctx {
  std::uint32_t width;   // pixels; also the row pitch
  std::uint32_t height;  // rows
  void* smooth_rows;  // T x 3 rows of width 32-bit values (single-threaded: 3)
  void* diff_rows;    // the same, in the second half of the scratch block
  pxkit::thread_pool* pool;   // null when single-threaded
  std::uint32_t number_of_parallel;  // stripes per frame (pooled when > 1)
  pxkit::analysis::s1_stripe stripes[pxkit::analysis::kMaxS1Stripes];
  const pxkit::analysis::S1KernelTable* kernels;  // chosen at init for this CPU
};
