// The twelve dual-frequency stripe kernels: one template over the input
// layout, the amplitude element type and the amplitude shift, instantiated
// once as the scalar reference and once per vector target.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "common/stripes.h"
#include "tof/amplitude_shift.h"
#include "tof/dual_context.h"

namespace pxkit {

enum class DualLayout { kPlain, kInterleave };  // interleave: each term is even - odd sample

inline constexpr std::size_t kDualKernelCount = 12;
using DualKernelTable = stripes::KernelTable<kDualKernelCount>;

// Position in a kernel table, in the order of dual_kernel_table below.
constexpr std::size_t dual_kernel_index(bool interleave, bool amplitude_u16, AmplitudeShift shift) {
  return (interleave ? 6u : 0u) + (amplitude_u16 ? 3u : 0u) + static_cast<std::size_t>(shift);
}

// Kernel<L, Amp, S>::run for every combination, in choice order.
template <template <DualLayout, class, AmplitudeShift> class Kernel>
constexpr DualKernelTable dual_kernel_table() {
  using L = DualLayout;
  using S = AmplitudeShift;
  using u8 = std::uint8_t;
  using u16 = std::uint16_t;
  return {{
      Kernel<L::kPlain, u8, S::kNone>::run,             // dual_kernel_plain_u8
      Kernel<L::kPlain, u8, S::kLeft>::run,             // dual_kernel_plain_u8_shl
      Kernel<L::kPlain, u8, S::kRight>::run,            // dual_kernel_plain_u8_shr
      Kernel<L::kPlain, u16, S::kNone>::run,            // dual_kernel_plain_u16
      Kernel<L::kPlain, u16, S::kLeft>::run,            // dual_kernel_plain_u16_shl
      Kernel<L::kPlain, u16, S::kRight>::run,           // dual_kernel_plain_u16_shr
      Kernel<L::kInterleave, u8, S::kNone>::run,        // dual_kernel_interleave_u8
      Kernel<L::kInterleave, u8, S::kLeft>::run,        // dual_kernel_interleave_u8_shl
      Kernel<L::kInterleave, u8, S::kRight>::run,       // dual_kernel_interleave_u8_shr
      Kernel<L::kInterleave, u16, S::kNone>::run,       // dual_kernel_interleave_u16
      Kernel<L::kInterleave, u16, S::kLeft>::run,       // dual_kernel_interleave_u16_shl
      Kernel<L::kInterleave, u16, S::kRight>::run,      // dual_kernel_interleave_u16_shr
  }};
}

// The scalar reference kernels, and the best usable vector target's kernels
// (or the scalar ones).
const DualKernelTable& dual_scalar_kernels();
const DualKernelTable& dual_active_kernels();

// What a kernel needs besides the pointers, fixed for a whole stripe.
struct DualParams {
  float o0;  // offset_0 + 3
  float o1;  // offset_1 + 3
  std::uint32_t m0;
  std::uint32_t m1;
  std::uint32_t shift;
};

inline DualParams dual_params(const tof_dual_stripe& s) {
  return {s.offset_0 + 3.0f, s.offset_1 + 3.0f, s.m0, s.m1, s.amplitude_shift};
}

// A run of consecutive output pixels: sample planes, depth and amplitude
// (null = none) all start at the run's first pixel.
template <class Amp>
struct DualRun {
  const std::uint16_t* planes[8];
  float* depth;
  Amp* amplitude;
};

// Calls decode(run, n) for the stripe's one run (run mode) or for each of its
// rows (row mode); the samples run on continuously from row to row, the
// amplitude rows are amplitude_pitch elements apart.
template <DualLayout L, class Amp, class Decode>
void for_each_run(const tof_dual_stripe& s, Decode&& decode) {
  constexpr std::size_t kSamplesPerPixel = L == DualLayout::kInterleave ? 2 : 1;
  auto* amplitude = static_cast<Amp*>(s.amplitude);
  if (s.pixel_count != 0) {
    DualRun<Amp> run{{}, s.depth, amplitude};
    for (int p = 0; p < 8; ++p) run.planes[p] = s.planes[p];
    decode(run, std::size_t{s.pixel_count});
    return;
  }
  for (std::uint32_t row = 0; row < s.rows; ++row) {
    const std::size_t first = std::size_t{row} * s.width;
    DualRun<Amp> run{{}, s.depth + first,
                     amplitude != nullptr ? amplitude + std::size_t{row} * s.amplitude_pitch : nullptr};
    for (int p = 0; p < 8; ++p) run.planes[p] = s.planes[p] + first * kSamplesPerPixel;
    decode(run, std::size_t{s.width});
  }
}

}  // namespace pxkit
