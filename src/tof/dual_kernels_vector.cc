// The dual-frequency stripe kernels for each vector target. Each loop step
// decodes one vector of pixels exactly as dual_decode_pixel does; the tail of
// a run that does not fill a vector goes through dual_decode_pixel itself.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tof/dual_kernels_vector.cc"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "tof/dual_kernels.h"
#include "tof/dual_pixel.h"
#include "tof/dual_vector-inl.h"
#include "tof/tof_vector-inl.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit {
namespace HWY_NAMESPACE {

// Vector kernels only where MulAdd is a native fused multiply-add; the other
// targets report no table (the scalar reference runs instead).
#if PXKIT_NATIVE_FMA_TARGET

template <AmplitudeShift S, class DI>
HWY_INLINE void StoreAmplitude(DI di, hn::Vec<DI> a, std::uint32_t shift, std::uint16_t* out) {
  StoreLow16(di, ShiftAmplitude<S>(di, a, shift), out);
}
template <AmplitudeShift S, class DI>
HWY_INLINE void StoreAmplitude(DI di, hn::Vec<DI> a, std::uint32_t shift, std::uint8_t* out) {
  StoreLow8(di, ShiftAmplitude<S>(di, a, shift), out);
}

template <DualLayout L, class Amp, AmplitudeShift S, bool kAmplitude>
void DecodeRun(const DualRun<Amp>& r, std::size_t n, const DualParams& p) {
  const hn::ScalableTag<float> df;
  const hn::RebindToSigned<decltype(df)> di;
  const std::size_t lanes = hn::Lanes(df);
  const auto inv_two_pi = hn::Set(df, kInvTwoPi);
  const auto o0 = hn::Set(df, p.o0);
  const auto o1 = hn::Set(df, p.o1);
  const float* pairs = atan_pairs();
  std::size_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    const auto x0 = hn::ConvertTo(df, hn::Sub(DualTerm<L>(di, r.planes[0], i), DualTerm<L>(di, r.planes[2], i)));
    const auto y0 = hn::ConvertTo(df, hn::Sub(DualTerm<L>(di, r.planes[1], i), DualTerm<L>(di, r.planes[3], i)));
    const auto x1 = hn::ConvertTo(df, hn::Sub(DualTerm<L>(di, r.planes[4], i), DualTerm<L>(di, r.planes[6], i)));
    const auto y1 = hn::ConvertTo(df, hn::Sub(DualTerm<L>(di, r.planes[5], i), DualTerm<L>(di, r.planes[7], i)));
    const auto phi0 = WrapFraction(df, hn::MulAdd(FastAtan2(df, y0, x0, pairs), inv_two_pi, o0));
    const auto phi1 = WrapFraction(df, hn::MulAdd(FastAtan2(df, y1, x1, pairs), inv_two_pi, o1));
    hn::StoreU(DualUnwrap(df, phi0, phi1, p.m0, p.m1), df, r.depth + i);
    if constexpr (kAmplitude) StoreAmplitude<S>(di, Amplitude(df, x1, y1), p.shift, r.amplitude + i);
  }
  for (; i < n; ++i) dual_decode_pixel<L, Amp, S, kAmplitude>(r, i, p);
}

template <DualLayout L, class Amp, AmplitudeShift S>
struct VectorDualKernel {
  static std::int32_t run(std::uint64_t arg0, std::uint64_t /*arg1*/) {
    const tof_dual_stripe& s = stripes::block_of<tof_dual_stripe>(arg0);
    const DualParams p = dual_params(s);
    for_each_run<L, Amp>(s, [&p](const DualRun<Amp>& r, std::size_t n) {
      if (r.amplitude != nullptr) {
        DecodeRun<L, Amp, S, true>(r, n, p);
      } else {
        DecodeRun<L, Amp, S, false>(r, n, p);
      }
    });
    return 0;
  }
};

const DualKernelTable* DualVectorKernels() {
  static constexpr DualKernelTable kTable = dual_kernel_table<VectorDualKernel>();
  return &kTable;
}

#else
const DualKernelTable* DualVectorKernels() { return nullptr; }
#endif  // PXKIT_NATIVE_FMA_TARGET

}  // namespace HWY_NAMESPACE
}  // namespace pxkit
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pxkit {

HWY_EXPORT(DualVectorKernels);

const DualKernelTable& dual_active_kernels() {
  return stripes::choose_table(HWY_DISPATCH_TABLE(DualVectorKernels), dual_scalar_kernels());
}

}  // namespace pxkit
#endif  // HWY_ONCE
