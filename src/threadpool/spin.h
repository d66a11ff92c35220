// Bounded busy waiting: a thread that expects work within microseconds polls
// for it with a pause instruction for a short, fixed time before it blocks, so
// that a hand-off costs a cache-line transfer rather than a futex wake-up and a
// trip through the scheduler. The bound keeps an idle pool's CPU cost small.
#pragma once

#include <chrono>
#include <cstdint>

namespace pxkit {

// Tells the core this is a spin loop (lets a sibling hyper-thread run, saves power).
inline void cpu_relax() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("isb" ::: "memory");  // a short stall; `yield` is a no-op on many cores
#endif
}

// Polls `ready()` until it returns true (then true) or `limit` has passed
// (then false). The clock is read once every 32 polls. No sched_yield: on a
// loaded machine a thread that yields can lose its core for milliseconds,
// whereas one that blocks and is woken gets it back at once.
template <class Ready>
bool spin_until(Ready ready, std::chrono::nanoseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    for (int i = 0; i < 32; ++i) {
      if (ready()) return true;
      cpu_relax();
    }
    if (std::chrono::steady_clock::now() >= deadline) return ready();
  }
}

}  // namespace pxkit
