// The family of 48 stripe kernels, one per combination of five properties, in
// a scalar reference form and a vector form per Highway target. Setup picks
// one entry by kernel_index() and stores it in every stripe's task.
#pragma once

#include <cstdint>

#include "common/stripes.h"
#include "tof/amplitude_shift.h"

namespace pxkit::tof {

struct KernelKind {
  bool float_depth;      // f32 depth, else i16 fixed point
  bool interleaved;      // two samples (a, b) per pixel, used as a - b
  AmplitudeShift shift;  // direction of the amplitude shift
  bool reversed;         // y = s270 - s90 instead of s90 - s270
  bool amp16;            // u16 amplitude, else u8
};

inline constexpr int kKernelCount = 2 * 2 * 3 * 2 * 2;

constexpr int kernel_index(const KernelKind& k) {
  const int shift = static_cast<int>(k.shift);
  return (((int{k.float_depth} * 2 + int{k.interleaved}) * 3 + shift) * 2 + int{k.reversed}) * 2 +
         int{k.amp16};
}

constexpr KernelKind kernel_kind(int index) {
  return {index / 24 != 0, (index / 12) % 2 != 0, static_cast<AmplitudeShift>((index / 4) % 3),
          (index / 2) % 2 != 0, index % 2 != 0};
}

constexpr bool kernel_index_round_trips() {
  for (int i = 0; i < kKernelCount; ++i)
    if (kernel_index(kernel_kind(i)) != i) return false;
  return true;
}
static_assert(kernel_index_round_trips());

// Tables of kKernelCount kernels in kernel_index order: the scalar reference,
// and the best usable vector target's table (or the scalar one).
using TofKernelTable = stripes::KernelTable<kKernelCount>;
const TofKernelTable& scalar_kernels();
const TofKernelTable& active_kernels();

}  // namespace pxkit::tof
