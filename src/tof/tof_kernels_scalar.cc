// The scalar reference family: the per-pixel definition in a plain loop.
#include <utility>

#include "tof/tof_kernels.h"
#include "tof/tof_pixel.h"
#include "tof/tof_stripe_loop.h"

namespace pxkit::tof {
namespace {

template <KernelKind K>
struct ScalarRun {
  static constexpr KernelKind kKind = K;
  template <bool kUnitScale, bool kAmp>
  static void run(const PixelParams& p, const PhaseRows& in, std::int32_t count, DepthOf<K>* depth,
                  AmpOf<K>* amp) {
    for (std::ptrdiff_t i = 0; i < count; ++i) tof_pixel<K, kUnitScale, kAmp>(p, in, i, depth, amp);
  }
};

template <std::size_t... I>
constexpr TofKernelTable make_table(std::index_sequence<I...>) {
  return {&stripe_kernel<ScalarRun<kernel_kind(static_cast<int>(I))>>...};
}

constexpr auto kScalarKernels = make_table(std::make_index_sequence<kKernelCount>());

}  // namespace

const TofKernelTable& scalar_kernels() { return kScalarKernels; }

}  // namespace pxkit::tof
