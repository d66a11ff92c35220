#include "simd/dispatch.h"

#include <atomic>

namespace pxkit::simd {
namespace {

std::atomic<std::int64_t> g_allowed{kAllTargets};

std::int64_t cpu_targets() {
#if HWY_ARCH_X86
  // Highway 1.0 runs CPUID on every query, and CPUID traps to the hypervisor
  // in a virtual machine (tens of microseconds): ask once. Calls without a
  // context (solve_f32, the single-call crop) choose their kernel per call.
  static const std::int64_t targets = hwy::SupportedTargets();
  return targets;
#else
  // aarch64 always has Advanced SIMD; the NEON kernels use no AES instruction.
  return HWY_NEON;
#endif
}

}  // namespace

std::int64_t usable_targets() {
  return cpu_targets() & kVectorTargets & g_allowed.load(std::memory_order_relaxed);
}

void set_allowed_targets(std::int64_t mask) { g_allowed.store(mask, std::memory_order_relaxed); }

std::vector<std::int64_t> available_vector_targets() {
  std::vector<std::int64_t> targets;
  for (std::int64_t left = cpu_targets() & kVectorTargets; left != 0; left &= left - 1)
    targets.push_back(left & -left);
  return targets;
}

const char* target_name(std::int64_t target) {
  if (target == 0) return "scalar";
  return hwy::TargetName(target);
}

}  // namespace pxkit::simd
