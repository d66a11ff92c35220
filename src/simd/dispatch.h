// Choosing a vector kernel once, at setup.
//
// A vector kernel module is one source compiled for every target by Highway's
// foreach_target.h. Inside HWY_NAMESPACE it defines a getter that returns that
// target's kernel (or table of kernels); HWY_EXPORT(getter) makes Highway's
// per-target table of getters. At setup the module calls
//     auto getter = pxkit::simd::select(HWY_DISPATCH_TABLE(getter));
// and falls back to its portable scalar reference when the result is null.
// The chosen kernel pointer is stored in the context; frame calls never dispatch.
//
// Vector kernels run only on targets with native fused multiply-add (AVX2,
// AVX-512, NEON): elsewhere Highway's MulAdd is not fused and the scalar
// reference is used instead.
#pragma once

#include <hwy/targets.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace pxkit::simd {

// As a macro too, so that per-target code can test it with #if (see
// PXKIT_NATIVE_FMA_TARGET in common/stripes.h).
#if HWY_ARCH_X86
#define PXKIT_VECTOR_TARGET_BITS (HWY_AVX2 | HWY_AVX3)
#elif HWY_ARCH_ARM_A64
#define PXKIT_VECTOR_TARGET_BITS HWY_NEON
#else
#define PXKIT_VECTOR_TARGET_BITS 0
#endif
inline constexpr std::int64_t kVectorTargets = PXKIT_VECTOR_TARGET_BITS;

// Targets a kernel may use now: those the CPU supports, limited to
// kVectorTargets and to the test mask below.
std::int64_t usable_targets();

// Test seam: limits the targets that later setups may choose. 0 selects the
// scalar reference; a single target bit selects that target (if usable);
// kAllTargets restores the default. Contexts keep what their setup chose.
inline constexpr std::int64_t kAllTargets = -1;
void set_allowed_targets(std::int64_t mask);

// Every vector target this build has and this CPU runs, best first (for tests).
std::vector<std::int64_t> available_vector_targets();
// Readable name of a target bit, "scalar" for 0.
const char* target_name(std::int64_t target);

// Picks the best usable entry of a Highway dispatch table made by HWY_EXPORT in
// the calling translation unit; null when no vector target is usable. When not
// null, *chosen receives the target bit.
template <class Fn, std::size_t N>
Fn select(Fn const (&table)[N], std::int64_t* chosen = nullptr) {
  const std::int64_t usable = usable_targets();
  if constexpr (N == 1) {
    // Static dispatch: the single entry is the compile-time target.
    if ((HWY_STATIC_TARGET & usable) == 0) return nullptr;
    if (chosen != nullptr) *chosen = HWY_STATIC_TARGET;
    return table[0];
  } else {
    // Lower bits are better targets; index as Highway's own ChosenTarget does.
    for (std::int64_t left = usable & HWY_TARGETS; left != 0; left &= left - 1) {
      const std::int64_t target = left & -left;
      const auto index = static_cast<std::size_t>(
          std::countr_zero(static_cast<std::uint64_t>(HWY_CHOSEN_TARGET_SHIFT(target))));
      if (index < N && table[index] != nullptr) {
        if (chosen != nullptr) *chosen = target;
        return table[index];
      }
    }
    return nullptr;
  }
}

}  // namespace pxkit::simd
