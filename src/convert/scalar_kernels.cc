// Scalar reference kernels: plain loops over the element rules.
#include "convert/element_rules.h"
#include "convert/convert_kernels.h"

namespace pxkit::convert {
namespace {

struct ScalarKernels {
  template <class T>
  static void to_float(const void* src, void* dst, std::int32_t count, float factor) {
    const float r = 1.0f / factor;  // exact: factor is a power of two
    const T* in = static_cast<const T*>(src);
    float* out = static_cast<float*>(dst);
    for (std::int32_t i = 0; i < count; ++i) out[i] = fixed_to_float(in[i], r);
  }

  template <class T>
  static void to_fixed(const void* src, void* dst, std::int32_t count, float factor) {
    const float* in = static_cast<const float*>(src);
    T* out = static_cast<T*>(dst);
    for (std::int32_t i = 0; i < count; ++i) out[i] = float_to_fixed<T>(in[i], factor);
  }
};

constexpr ConvertKernelTable kScalarKernels = make_convert_kernels<ScalarKernels>();

}  // namespace

const ConvertKernelTable& scalar_convert_kernels() { return kScalarKernels; }

}  // namespace pxkit::convert
