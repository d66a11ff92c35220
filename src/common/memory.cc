#include "common/memory.h"

#include <atomic>
#include <cstdlib>

namespace pxkit::mem {
namespace {

std::atomic<std::uint64_t> g_allocations{0};
std::atomic<std::uint64_t> g_releases{0};
// Remaining successes before an injected failure; negative = never fail.
std::atomic<int> g_fail_countdown{-1};

bool injected_failure() {
  int left = g_fail_countdown.load(std::memory_order_relaxed);
  while (left >= 0) {
    if (g_fail_countdown.compare_exchange_weak(left, left - 1, std::memory_order_relaxed))
      return left == 0;
  }
  return false;
}

void* counted(void* p) {
  if (p != nullptr) g_allocations.fetch_add(1, std::memory_order_relaxed);
  return p;
}

}  // namespace

void* allocate(std::size_t bytes) {
  if (injected_failure()) return nullptr;
  return counted(std::malloc(bytes));
}

void* allocate_zeroed(std::size_t bytes) {
  if (injected_failure()) return nullptr;
  return counted(std::calloc(1, bytes));
}

void release(void* p) {
  if (p != nullptr) g_releases.fetch_add(1, std::memory_order_relaxed);
  std::free(p);
}

std::uint64_t allocation_count() { return g_allocations.load(std::memory_order_relaxed); }
std::uint64_t release_count() { return g_releases.load(std::memory_order_relaxed); }

void fail_allocation_after(int successes) {
  g_fail_countdown.store(successes, std::memory_order_relaxed);
}

}  // namespace pxkit::mem
