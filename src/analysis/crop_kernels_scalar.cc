// Scalar reference of the perspective crop: the stripe kernel, the single
// call, and the Q19 matrix conversion.
#include <cmath>
#include <cstdint>

#include "analysis/crop_context.h"
#include "analysis/crop_pixel.h"
#include "common/stripes.h"

namespace pxkit::analysis {

CropMatrix to_q19(const float* matrix) {
  CropMatrix m{};
  for (int k = 0; k < 9; ++k) {
    const float v = matrix[k] * 524288.0f;  // exact: a power of two
    if (std::isnan(v)) {
      m.h[k] = 0;
    } else if (v >= 2147483648.0f) {
      m.h[k] = INT32_MAX;
    } else if (v <= -2147483648.0f) {
      m.h[k] = INT32_MIN;
    } else {
      m.h[k] = static_cast<std::int32_t>(v);  // in range: truncates toward zero
    }
  }
  return m;
}

void single_groups_row(const CropFrame& f, std::uint8_t* dst_row, std::int32_t nx0,
                       std::int32_t ny0, std::int32_t nd0, std::uint32_t columns) {
  const std::int32_t* h = f.m.h;
  const std::int32_t dx = saturated_add(saturated_add(h[0], h[0]), saturated_add(h[0], h[0]));
  const std::int32_t dy = saturated_add(saturated_add(h[3], h[3]), saturated_add(h[3], h[3]));
  const std::int32_t dd = saturated_add(saturated_add(h[6], h[6]), saturated_add(h[6], h[6]));
  std::int32_t nx[4], ny[4], nd[4];
  for (std::uint32_t l = 0; l < 4; ++l) {
    nx[l] = wrap_mad(h[0], l, nx0);
    ny[l] = wrap_mad(h[3], l, ny0);
    nd[l] = wrap_mad(h[6], l, nd0);
  }
  for (std::uint32_t c = 0; c < columns; c += 4) {
    for (std::uint32_t l = 0; l < 4; ++l) {
      dst_row[c + l] = group_pixel(f.src, f.src_stride, f.src_width, f.src_height, nx[l], ny[l], nd[l]);
      nx[l] = saturated_add(nx[l], dx);
      ny[l] = saturated_add(ny[l], dy);
      nd[l] = saturated_add(nd[l], dd);
    }
  }
}

namespace {

std::int32_t stripe_kernel(std::uint64_t arg0, std::uint64_t /*arg1*/) {
  const crop_stripe& s = stripes::block_of<crop_stripe>(arg0);
  std::uint8_t* dst = s.dst;
  std::int32_t rx = s.row_x, ry = s.row_y, rd = s.row_d;
  for (std::uint32_t r = 0; r < s.rows; ++r) {
    std::int32_t nx = wrap_add(rx, s.col_x), ny = wrap_add(ry, s.col_y), nd = wrap_add(rd, s.col_d);
    for (std::uint32_t i = 0; i < s.dst_width; ++i) {
      dst[i] = stripe_pixel(s.src, s.src_pitch, s.src_width, s.src_height, nx, ny, nd);
      nx = wrap_add(nx, s.inc_x);
      ny = wrap_add(ny, s.inc_y);
      nd = wrap_add(nd, s.inc_d);
    }
    rx = wrap_add(rx, s.step_x);
    ry = wrap_add(ry, s.step_y);
    rd = wrap_add(rd, s.step_d);
    dst += s.dst_stride;
  }
  return 0;
}

void single_crop(const CropFrame& f) {
  const std::int32_t* h = f.m.h;
  const std::uint32_t x0 = f.x_offset + 1u;
  const std::uint32_t groups = crop_group_columns(f.dst_width);
  for (std::uint32_t j = 0; j < f.dst_height; ++j) {
    const std::uint32_t y = j + f.y_offset + 1u;
    const std::int32_t nx0 = wrap_mad(h[0], x0, wrap_mad(h[1], y, h[2]));
    const std::int32_t ny0 = wrap_mad(h[3], x0, wrap_mad(h[4], y, h[5]));
    const std::int32_t nd0 = wrap_mad(h[6], x0, wrap_mad(h[7], y, h[8]));
    std::uint8_t* row = f.dst + std::uint64_t{j} * f.dst_stride;
    single_groups_row(f, row, nx0, ny0, nd0, groups);
    for (std::uint32_t c = groups; c < f.dst_width; ++c) {
      row[c] = tail_pixel(f.src, f.src_stride, f.src_width, f.src_height, wrap_mad(h[0], c, nx0),
                          wrap_mad(h[3], c, ny0), wrap_mad(h[6], c, nd0));
    }
  }
}

}  // namespace

const crop_kernels& scalar_crop_kernels() {
  static constexpr crop_kernels kKernels{&stripe_kernel, &single_crop};
  return kKernels;
}

}  // namespace pxkit::analysis
