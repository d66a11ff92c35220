// The stripe kernel shared by the scalar and vector families: reads the stripe
// block, picks the loop for depth_scale == 1 and for a null amplitude once, and
// walks the stripe as one flat run or row by row. `Run` supplies the pixel
// loop over a contiguous run: Run::kKind and
//   Run::run<kUnitScale, kAmp>(params, phases, count, depth, amplitude).
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/stripes.h"
#include "tof/tof_context.h"
#include "tof/tof_pixel.h"

namespace pxkit::tof {

template <class Run, bool kUnitScale, bool kAmp>
void walk_stripe(const tof_stripe& s) {
  constexpr KernelKind K = Run::kKind;
  constexpr std::ptrdiff_t kSamples = K.interleaved ? 2 : 1;
  const PixelParams p =
      pixel_params(s.depth_scale, s.depth_offset, s.mantissa_scale, s.amplitude_shift, kUnitScale);
  const PhaseRows in{s.phase_0, s.phase_90, s.phase_180, s.phase_270};
  auto* depth = static_cast<DepthOf<K>*>(s.depth_out);
  auto* amp = static_cast<AmpOf<K>*>(s.amplitude_out);

  if (s.pixel_count != 0) {
    if (s.pixel_count >= 1) Run::template run<kUnitScale, kAmp>(p, in, s.pixel_count, depth, amp);
    return;
  }
  if (s.rows < 1 || s.width < 1) return;
  for (std::ptrdiff_t r = 0; r < s.rows; ++r) {
    const std::ptrdiff_t first = r * s.width;  // inputs and depth are packed
    const PhaseRows row{in.p0 + first * kSamples, in.p90 + first * kSamples,
                        in.p180 + first * kSamples, in.p270 + first * kSamples};
    Run::template run<kUnitScale, kAmp>(p, row, s.width, depth + first,
                                        kAmp ? amp + r * s.amplitude_pitch : nullptr);
  }
}

// A thread_pool_task function: arg0 is the stripe block.
template <class Run>
std::int32_t stripe_kernel(std::uint64_t arg0, std::uint64_t /*arg1*/) {
  const tof_stripe& s = stripes::block_of<tof_stripe>(arg0);
  const bool unit_scale = s.depth_scale == 1.0f;
  if (s.amplitude_out == nullptr) {
    unit_scale ? walk_stripe<Run, true, false>(s) : walk_stripe<Run, false, false>(s);
  } else {
    unit_scale ? walk_stripe<Run, true, true>(s) : walk_stripe<Run, false, true>(s);
  }
  return 0;
}

}  // namespace pxkit::tof
