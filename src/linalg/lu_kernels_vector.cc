// Vector LU row updates, compiled once per Highway target. -m x p + r is one
// fused NegMulAdd per lane, the same rounding as std::fma(-m, p, r).
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "linalg/lu_kernels_vector.cc"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cmath>
#include <cstddef>

#include "linalg/lu_kernels.h"
#include "simd/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit::linalg::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR

using DF = hn::ScalableTag<float>;

void Eliminate1(float* HWY_RESTRICT row, const float* HWY_RESTRICT pivot, float m,
                std::size_t count) {
  const DF d;
  const std::size_t n = hn::Lanes(d);
  const auto vm = hn::Set(d, m);
  std::size_t k = 0;
  for (; k + 2 * n <= count; k += 2 * n) {
    const auto r0 = hn::NegMulAdd(vm, hn::LoadU(d, pivot + k), hn::LoadU(d, row + k));
    const auto r1 = hn::NegMulAdd(vm, hn::LoadU(d, pivot + k + n), hn::LoadU(d, row + k + n));
    hn::StoreU(r0, d, row + k);
    hn::StoreU(r1, d, row + k + n);
  }
  for (; k + n <= count; k += n) {
    hn::StoreU(hn::NegMulAdd(vm, hn::LoadU(d, pivot + k), hn::LoadU(d, row + k)), d, row + k);
  }
  for (; k < count; ++k) row[k] = std::fma(-m, pivot[k], row[k]);
}

void Eliminate2(float* HWY_RESTRICT row, const float* HWY_RESTRICT p1, float m1,
                const float* HWY_RESTRICT p2, float m2, std::size_t count) {
  const DF d;
  const std::size_t n = hn::Lanes(d);
  const auto v1 = hn::Set(d, m1);
  const auto v2 = hn::Set(d, m2);
  std::size_t k = 0;
  for (; k + 2 * n <= count; k += 2 * n) {
    auto r0 = hn::NegMulAdd(v1, hn::LoadU(d, p1 + k), hn::LoadU(d, row + k));
    auto r1 = hn::NegMulAdd(v1, hn::LoadU(d, p1 + k + n), hn::LoadU(d, row + k + n));
    r0 = hn::NegMulAdd(v2, hn::LoadU(d, p2 + k), r0);
    r1 = hn::NegMulAdd(v2, hn::LoadU(d, p2 + k + n), r1);
    hn::StoreU(r0, d, row + k);
    hn::StoreU(r1, d, row + k + n);
  }
  for (; k + n <= count; k += n) {
    const auto r = hn::NegMulAdd(v1, hn::LoadU(d, p1 + k), hn::LoadU(d, row + k));
    hn::StoreU(hn::NegMulAdd(v2, hn::LoadU(d, p2 + k), r), d, row + k);
  }
  for (; k < count; ++k) row[k] = std::fma(-m2, p2[k], std::fma(-m1, p1[k], row[k]));
}

const lu_kernels* VectorLuKernels() {
  static constexpr lu_kernels kKernels{&Eliminate1, &Eliminate2};
  return &kKernels;
}

#else  // HWY_TARGET == HWY_SCALAR

// Compiled on x86-64 but never chosen (only AVX2, AVX-512 and NEON are).
const lu_kernels* VectorLuKernels() { return &scalar_lu_kernels(); }

#endif

}  // namespace pxkit::linalg::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pxkit::linalg {

HWY_EXPORT(VectorLuKernels);

const lu_kernels& active_lu_kernels() {
  const auto getter = simd::select(HWY_DISPATCH_TABLE(VectorLuKernels));
  return getter != nullptr ? *getter() : scalar_lu_kernels();
}

}  // namespace pxkit::linalg
#endif  // HWY_ONCE
