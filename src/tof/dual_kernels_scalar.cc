// The scalar reference stripe kernels: the definition, pixel by pixel. Used
// when no vector target is usable, and as the yardstick of the vector ones.
#include "tof/dual_kernels.h"
#include "tof/dual_pixel.h"

namespace pxkit {
namespace {

template <DualLayout L, class Amp, AmplitudeShift S, bool kAmplitude>
void decode_run(const DualRun<Amp>& r, std::size_t n, const DualParams& p) {
  for (std::size_t i = 0; i < n; ++i) dual_decode_pixel<L, Amp, S, kAmplitude>(r, i, p);
}

template <DualLayout L, class Amp, AmplitudeShift S>
struct ScalarDualKernel {
  static std::int32_t run(std::uint64_t arg0, std::uint64_t /*arg1*/) {
    const tof_dual_stripe& s = stripes::block_of<tof_dual_stripe>(arg0);
    const DualParams p = dual_params(s);
    for_each_run<L, Amp>(s, [&p](const DualRun<Amp>& r, std::size_t n) {
      if (r.amplitude != nullptr) {
        decode_run<L, Amp, S, true>(r, n, p);
      } else {
        decode_run<L, Amp, S, false>(r, n, p);
      }
    });
    return 0;
  }
};

constexpr DualKernelTable kScalarKernels = dual_kernel_table<ScalarDualKernel>();

}  // namespace

const DualKernelTable& dual_scalar_kernels() { return kScalarKernels; }

}  // namespace pxkit
