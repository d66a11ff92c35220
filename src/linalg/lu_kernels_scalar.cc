// Scalar reference of the LU row updates.
#include <cmath>
#include <cstddef>

#include "linalg/lu_kernels.h"

namespace pxkit::linalg {
namespace {

void eliminate1(float* row, const float* pivot, float m, std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) row[k] = std::fma(-m, pivot[k], row[k]);
}

void eliminate2(float* row, const float* p1, float m1, const float* p2, float m2,
                std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) {
    const float t = std::fma(-m1, p1[k], row[k]);
    row[k] = std::fma(-m2, p2[k], t);
  }
}

}  // namespace

const lu_kernels& scalar_lu_kernels() {
  static constexpr lu_kernels kKernels{&eliminate1, &eliminate2};
  return kKernels;
}

}  // namespace pxkit::linalg
