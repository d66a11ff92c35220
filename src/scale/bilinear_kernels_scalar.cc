// Scalar reference kernels: the bilinear rules applied literally, row after
// row and sample by sample in ascending order, the two-direction kernels in
// two whole passes through the intermediate buffer.
#include <cstddef>
#include <cstdint>

#include "scale/bilinear_kernels.h"
#include "scale/bilinear_rows.h"

namespace pxkit::scale {
namespace {

struct ScalarKernels {
  template <class T>
  static std::int32_t h(const common_img_scale_ctx* c, const void* src, void* dst) {
    for (std::uint32_t r = 0; r < c->src_height; ++r) {
      h_row(row_at<T>(src, c->src_stride, r), row_at<T>(dst, c->dst_stride, r), c->tables, 0,
            c->dst_width);
    }
    return 0;
  }

  template <class T>
  static std::int32_t v(const common_img_scale_ctx* c, const void* src, void* dst) {
    for (std::uint32_t j = 0; j < c->dst_height; ++j) {
      const std::uint32_t y = c->tables.row_index[j];
      const weight_pair w = c->tables.row_weights[j];
      const T* a = row_at<T>(src, c->src_stride, y);
      T* out = row_at<T>(dst, c->dst_stride, j);
      if (w.w1 == 0) {
        copy_row(a, out, 0, c->dst_width);
      } else {
        lerp_row(a, row_at<T>(src, c->src_stride, y + 1), out, w, 0, c->dst_width);
      }
    }
    return 0;
  }

  template <class T>
  static std::int32_t v2x(const common_img_scale_ctx* c, const void* src, void* dst) {
    for (std::uint32_t j = 0; j < c->dst_height; ++j) {
      const T* a = row_at<T>(src, c->src_stride, j / 2);
      T* out = row_at<T>(dst, c->dst_stride, j);
      if (j % 2 == 1 && j + 1 < c->dst_height) {
        mean_row(a, row_at<T>(src, c->src_stride, j / 2 + 1), out, 0, c->dst_width);
      } else {
        copy_row(a, out, 0, c->dst_width);  // even rows, and the last row
      }
    }
    return 0;
  }

  template <class T>
  static std::int32_t hv(const common_img_scale_ctx* c, const void* src, void* dst) {
    const std::size_t width = c->dst_width;
    for (std::uint32_t r = 0; r < c->src_height; ++r) {
      q4_row(row_at<T>(src, c->src_stride, r), c->intermediate + r * width, c->tables, 0, c->dst_width);
    }
    for (std::uint32_t j = 0; j < c->dst_height; ++j) {
      const std::uint32_t* ta = c->intermediate + c->tables.row_index[j] * width;
      vertical_row(ta, ta + width, row_at<T>(dst, c->dst_stride, j), c->tables.row_weights[j], 0,
                   c->dst_width);
    }
    return 0;
  }
};

constexpr bilinear_kernels kScalarKernels = make_bilinear_kernels<ScalarKernels>();

}  // namespace

const bilinear_kernels& scalar_bilinear_kernels() { return kScalarKernels; }

}  // namespace pxkit::scale
