// The perspective crop's matrix terms, stripe records, context and kernels.
#pragma once

#include <cstddef>
#include <cstdint>

#include "threadpool/thread_pool.h"

namespace pxkit::analysis {

inline constexpr std::uint32_t kMaxCropStripes = 8;

// h0..h8 as Q19 fixed point: x 2^19, truncated toward zero, saturated.
struct CropMatrix {
  std::int32_t h[9];
};
CropMatrix to_q19(const float* matrix);

// a * b + c in wrapping 32-bit arithmetic.
inline std::int32_t wrap_mad(std::int32_t a, std::uint32_t b, std::int32_t c) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * b + static_cast<std::uint32_t>(c));
}

inline std::int32_t wrap_add(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

// One stripe of destination rows, in the order the stripe kernel reads it.
struct crop_stripe {
  std::uint32_t src_width, src_height, src_pitch;  // src_pitch stays 0 (see create)
  std::uint32_t dst_width, dst_height, dst_stride;
  const std::uint8_t* src;
  std::uint8_t* dst;                   // this stripe's first destination row
  std::int32_t col_x, col_y, col_d;    // h0, h3, h6 x (x_offset + 1)
  std::int32_t row_x, row_y, row_d;    // h2 + h1 Y, h5 + h4 Y, h8 + h7 Y of the first row
  std::int32_t inc_x, inc_y, inc_d;    // per column: h0, h3, h6
  std::int32_t step_x, step_y, step_d; // per row: h1, h4, h7
  std::uint32_t rows;
  thread_pool_task task;
  std::uint32_t index;
};

struct datacode_crop_ctx {
  thread_pool* pool;
  std::uint32_t number_of_parallel;
  crop_stripe stripes[kMaxCropStripes];
};

// Everything the single call needs for one destination.
struct CropFrame {
  const std::uint8_t* src;
  std::uint32_t src_width, src_height, src_stride;
  std::uint8_t* dst;
  std::uint32_t dst_width, dst_height, dst_stride;
  CropMatrix m;
  std::uint32_t x_offset, y_offset;
};

using single_crop_fn = void (*)(const CropFrame& f);

struct crop_kernels {
  thread_pool_func stripe;  // arg0: the crop_stripe
  single_crop_fn single;
};

const crop_kernels& scalar_crop_kernels();
// Chosen per the CPU and the test seam in simd/dispatch.h.
const crop_kernels& active_crop_kernels();

// Whether 32-bit byte offsets reach every source byte the vector kernels
// load (4-byte words from column qx - 1 of rows qy and qy + 1), and a source
// of at least 4 x 4 (smaller ones have no valid point and are never read).
inline bool crop_gather_fits(std::uint32_t width, std::uint32_t height, std::uint32_t pitch) {
  return width >= 4 && height >= 4 &&
         (std::uint64_t{height} - 1) * pitch + width <= std::uint64_t{INT32_MAX};
}

// The single call's row layout: groups of 8 from column 0 while a group
// starts below width - 8 (none for widths below 9), then the tail.
inline std::uint32_t crop_group_columns(std::uint32_t dst_width) {
  return dst_width < 9 ? 0 : (dst_width - 1) / 8 * 8;
}

// The scalar reference of one row of the single call's groups, lanes
// stepped as the vector body steps them: four columns from the previous four
// by a saturating addition of 4 h (itself saturated).
void single_groups_row(const CropFrame& f, std::uint8_t* dst_row, std::int32_t nx0,
                       std::int32_t ny0, std::int32_t nd0, std::uint32_t columns);

}  // namespace pxkit::analysis
