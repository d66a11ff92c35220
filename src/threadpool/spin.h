// Bounded busy waiting: a thread that expects work within microseconds polls
// for it with a pause instruction for a short, fixed time before it blocks, so
// that a hand-off costs a cache-line transfer rather than a futex wake-up and a
// trip through the scheduler. The bound keeps an idle pool's CPU cost small.
#pragma once

#include <sched.h>

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
// (then false). After the first microseconds it also yields the core between
// rounds: with more threads than cores, the thread it waits for may be queued
// behind it on the same core. The clock is read once every 32 polls.
template <class Ready>
bool spin_until(Ready ready, std::chrono::nanoseconds limit) {
  const auto start = std::chrono::steady_clock::now();
  const auto yield_after = start + std::chrono::microseconds(2);
  const auto deadline = start + limit;
  for (;;) {
    for (int i = 0; i < 32; ++i) {
      if (ready()) return true;
      cpu_relax();
    }
    const auto now = std::chrono::steady_clock::now();
    if (now >= deadline) return ready();
    if (now >= yield_after) sched_yield();
  }
}

}  // namespace pxkit
