// Thread pool hand-off: the round trip of N empty tasks (add N, wait N times)
// through a pool, which is the fixed cost every pooled frame call pays, and the
// CPU time an idle pool burns in the second after a burst of frames.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

#include "threadpool/thread_pool.h"

namespace {

using pxkit::thread_pool_task;

std::int32_t empty_task(std::uint64_t, std::uint64_t) { return 0; }

// range(0) = workers, range(1) = tasks per frame.
void BM_EmptyRoundTrip(benchmark::State& state) {
  const auto workers = static_cast<std::uint32_t>(state.range(0));
  const auto tasks = static_cast<std::size_t>(state.range(1));
  pxkit::thread_pool* pool = pxkit::thread_pool_create(workers);
  std::vector<thread_pool_task> records(tasks, thread_pool_task{empty_task, 0, 0, 0});
  for (auto _ : state) {
    for (auto& t : records) pxkit::thread_pool_add_task(pool, &t);
    for (std::size_t i = 0; i < tasks; ++i) benchmark::DoNotOptimize(pxkit::thread_pool_wait(pool));
  }
  pxkit::thread_pool_destroy(pool);
}
BENCHMARK(BM_EmptyRoundTrip)
    ->ArgNames({"workers", "tasks"})
    ->Args({4, 4})
    ->Args({1, 4})
    ->Args({8, 8})
    ->UseRealTime();

// Same, with frames spaced by a pause the caller spends elsewhere (here asleep),
// so that the workers have gone back to sleep when the frame arrives.
void BM_EmptyRoundTripAfterPause(benchmark::State& state) {
  pxkit::thread_pool* pool = pxkit::thread_pool_create(4);
  std::vector<thread_pool_task> records(4, thread_pool_task{empty_task, 0, 0, 0});
  for (auto _ : state) {
    state.PauseTiming();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    state.ResumeTiming();
    for (auto& t : records) pxkit::thread_pool_add_task(pool, &t);
    for (int i = 0; i < 4; ++i) benchmark::DoNotOptimize(pxkit::thread_pool_wait(pool));
  }
  pxkit::thread_pool_destroy(pool);
}
BENCHMARK(BM_EmptyRoundTripAfterPause)->UseRealTime()->Iterations(300);

double process_cpu_ms() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  auto ms = [](const timeval& t) { return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_usec) / 1e3; };
  return ms(usage.ru_utime) + ms(usage.ru_stime);
}

// A 4-worker pool is driven through 1000 empty frames and then left alone for
// one second; the counter is the process's CPU time during that second.
void BM_IdleCpuAfterBurst(benchmark::State& state) {
  pxkit::thread_pool* pool = pxkit::thread_pool_create(4);
  std::vector<thread_pool_task> records(4, thread_pool_task{empty_task, 0, 0, 0});
  double idle_ms = 0;
  for (auto _ : state) {
    for (int frame = 0; frame < 1000; ++frame) {
      for (auto& t : records) pxkit::thread_pool_add_task(pool, &t);
      for (int i = 0; i < 4; ++i) pxkit::thread_pool_wait(pool);
    }
    const double before = process_cpu_ms();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    idle_ms = process_cpu_ms() - before;
  }
  state.counters["idle_cpu_ms"] = idle_ms;
  pxkit::thread_pool_destroy(pool);
}
BENCHMARK(BM_IdleCpuAfterBurst)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
