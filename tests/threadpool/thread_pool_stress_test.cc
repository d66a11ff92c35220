// Many frames of N tasks on pools of several sizes, driven from several caller
// threads at once: every task must run exactly once per frame and come back
// exactly once. (That frames allocate nothing is checked in common/stripes_test.cc.)
#include <atomic>
#include <thread>
#include <vector>

#include "support/test_support.h"
#include "threadpool/thread_pool.h"

namespace {

using pxkit::thread_pool;
using pxkit::thread_pool_task;

struct CountedTask {
  thread_pool_task task;
  std::atomic<int> runs{0};
  int returned = 0;
};

std::int32_t count_run(std::uint64_t arg0, std::uint64_t) {
  reinterpret_cast<CountedTask*>(arg0)->runs.fetch_add(1, std::memory_order_relaxed);
  return 1;
}

// Runs `frames` frames of 1..kMaxTasks tasks; returns the number of faults seen.
int drive_pool(std::uint32_t threads, int frames, unsigned seed) {
  constexpr int kMaxTasks = 9;
  thread_pool* pool = pxkit::thread_pool_create(threads);
  if (pool == nullptr) return 1;
  std::vector<CountedTask> tasks(kMaxTasks);
  for (auto& t : tasks) t.task = {count_run, reinterpret_cast<std::uint64_t>(&t), 0, 0};
  int faults = 0;
  unsigned state = seed;
  for (int frame = 0; frame < frames; ++frame) {
    state = state * 1103515245u + 12345u;
    const int n = 1 + static_cast<int>((state >> 16) % kMaxTasks);
    for (int i = 0; i < n; ++i) {
      tasks[i].runs.store(0, std::memory_order_relaxed);
      tasks[i].returned = 0;
      faults += pxkit::thread_pool_add_task(pool, &tasks[i].task) != 0;
    }
    for (int i = 0; i < n; ++i) {
      thread_pool_task* done = pxkit::thread_pool_wait(pool);
      if (done != nullptr) reinterpret_cast<CountedTask*>(done)->returned++;
    }
    for (int i = 0; i < n; ++i) faults += tasks[i].runs.load(std::memory_order_relaxed) != 1 || tasks[i].returned != 1;
  }
  pxkit::thread_pool_destroy(pool);
  return faults;
}

class PoolStress : public testing::TestWithParam<std::uint32_t> {};

TEST_P(PoolStress, EveryTaskRunsExactlyOncePerFrame) {
  EXPECT_EQ(drive_pool(GetParam(), 3000, 1u), 0);
}

TEST_P(PoolStress, SeveralPoolsFromSeveralCallersAtOnce) {
  constexpr int kCallers = 3;
  std::atomic<int> faults{0};
  std::vector<std::thread> callers;
  for (int c = 0; c < kCallers; ++c)
    callers.emplace_back([&, c] { faults += drive_pool(GetParam(), 1500, 100u + c); });
  for (auto& t : callers) t.join();
  EXPECT_EQ(faults.load(), 0);
}

INSTANTIATE_TEST_SUITE_P(Threads, PoolStress, testing::Values(1u, 2u, 4u, 32u));

}  // namespace
