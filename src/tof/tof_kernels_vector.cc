// The vector family: the same stripe kernels with a Highway pixel loop,
// compiled once per target. Whole vectors of pixels go through the vector
// body; the last count % lanes pixels of a run take the scalar definition.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tof/tof_kernels_vector.cc"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <utility>

#include "common/numeric-inl.h"
#include "tof/tof_kernels.h"
#include "tof/tof_pixel.h"
#include "tof/tof_stripe_loop.h"
#include "tof/tof_vector-inl.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit {
namespace HWY_NAMESPACE {
// Vector kernels only where MulAdd is a native fused multiply-add; the other
// targets report no table (the scalar reference runs instead).
#if PXKIT_NATIVE_FMA_TARGET
namespace {

using tof::AmpOf;
using tof::DepthOf;
using tof::KernelKind;
using tof::PhaseRows;
using tof::PixelParams;

static_assert(std::endian::native == std::endian::little, "interleaved pairs are split by shifts");

// Samples of lanes-many pixels from pixel i, widened to i32. Interleaved pairs
// (a, b) are read as one i32 lane each: a in the low half, b in the high half.
template <bool kInterleaved, class DI>
HWY_INLINE hn::Vec<DI> LoadSamples(DI di, const std::int16_t* p, std::size_t i) {
  if constexpr (kInterleaved) {
    const hn::Repartition<std::int16_t, DI> d16;
    const auto pairs = hn::BitCast(di, hn::LoadU(d16, p + 2 * i));
    return PairDifference(di, pairs);
  } else {
    const hn::Rebind<std::int16_t, DI> d16;
    return hn::PromoteTo(di, hn::LoadU(d16, p + i));
  }
}

template <KernelKind K>
struct VectorRun {
  static constexpr KernelKind kKind = K;

  template <bool kUnitScale, bool kAmp>
  static void run(const PixelParams& p, const PhaseRows& in, std::int32_t count,
                  DepthOf<K>* depth, AmpOf<K>* amp) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const std::size_t lanes = hn::Lanes(df);
    const auto n = static_cast<std::size_t>(count);
    const auto scale = hn::Set(df, p.scale);
    const auto offset = hn::Set(df, p.offset);
    const auto period = hn::Set(df, p.period);
    const auto mantissa = hn::Set(df, p.mantissa);
    const auto zero = hn::Zero(df);
    const float* atan_pairs_table = atan_pairs();

    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
      const auto s90 = LoadSamples<K.interleaved>(di, in.p90, i);
      const auto s270 = LoadSamples<K.interleaved>(di, in.p270, i);
      const auto y = hn::ConvertTo(df, K.reversed ? hn::Sub(s270, s90) : hn::Sub(s90, s270));
      const auto x = hn::ConvertTo(df, hn::Sub(LoadSamples<K.interleaved>(di, in.p0, i),
                                               LoadSamples<K.interleaved>(di, in.p180, i)));
      const auto phase = FastAtan2(df, y, x, atan_pairs_table);
      auto d = kUnitScale ? hn::Add(phase, offset) : hn::MulAdd(scale, phase, offset);
      d = hn::IfThenElse(d > period, hn::Sub(d, period),
                         hn::IfThenElse(d < zero, hn::Add(d, period), d));
      if constexpr (K.float_depth) {
        hn::StoreU(d, df, depth + i);
      } else {
        StoreLow16(di, TruncSaturateI32(df, hn::Mul(d, mantissa)), depth + i);
      }
      if constexpr (kAmp) {
        const auto a = ShiftAmplitude<K.shift>(di, Amplitude(df, x, y), p.amplitude_shift);
        if constexpr (K.amp16) {
          StoreLow16(di, a, amp + i);
        } else {
          StoreLow8(di, a, amp + i);
        }
      }
    }
    for (; i < n; ++i) {
      tof::tof_pixel<K, kUnitScale, kAmp>(p, in, static_cast<std::ptrdiff_t>(i), depth, amp);
    }
  }
};

template <std::size_t... I>
constexpr tof::TofKernelTable MakeTable(std::index_sequence<I...>) {
  return {&tof::stripe_kernel<VectorRun<tof::kernel_kind(static_cast<int>(I))>>...};
}

constexpr auto kVectorKernels = MakeTable(std::make_index_sequence<tof::kKernelCount>());

}  // namespace

// This target's kernel table, in kernel_index order.
const tof::TofKernelTable* TofVectorKernels() { return &kVectorKernels; }
#else
const tof::TofKernelTable* TofVectorKernels() { return nullptr; }
#endif

}  // namespace HWY_NAMESPACE
}  // namespace pxkit
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pxkit {
HWY_EXPORT(TofVectorKernels);

const tof::TofKernelTable& tof::active_kernels() {
  return stripes::choose_table(HWY_DISPATCH_TABLE(TofVectorKernels), scalar_kernels());
}
}  // namespace pxkit
#endif  // HWY_ONCE
