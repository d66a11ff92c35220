#include "threadpool/thread_pool.h"

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "common/memory.h"
#include "support/test_support.h"

namespace {

using pxkit::thread_pool;
using pxkit::thread_pool_task;

std::uint64_t as_arg(void* p) { return reinterpret_cast<std::uint64_t>(p); }

std::int32_t return_arg1(std::uint64_t, std::uint64_t arg1) { return static_cast<std::int32_t>(arg1); }

// Runs one task through the pool and returns its result (-1 if another came back).
std::int32_t round_trip(thread_pool* pool, std::int32_t value) {
  thread_pool_task task{return_arg1, 0, static_cast<std::uint64_t>(value), 0};
  if (pxkit::thread_pool_add_task(pool, &task) != 0) return -1;
  return pxkit::thread_pool_wait(pool) == &task ? task.result : -1;
}

TEST(ThreadPool, RefusesBadThreadCountsAndNullPools) {
  thread_pool_task task{};
  EXPECT_EQ(pxtest::capture_stdout([] { EXPECT_EQ(pxkit::thread_pool_create(0), nullptr); }),
            "thread number 0 less than 1\n");
  EXPECT_EQ(pxtest::capture_stdout([] { EXPECT_EQ(pxkit::thread_pool_create(33), nullptr); }),
            "thread number 33 exceed max 32\n");
  EXPECT_EQ(pxtest::capture_stdout([&] { EXPECT_EQ(pxkit::thread_pool_add_task(nullptr, &task), -1); }),
            "error: invalid params\n");
  EXPECT_EQ(pxtest::capture_stdout([] { EXPECT_EQ(pxkit::thread_pool_wait(nullptr), nullptr); }),
            "error: invalid params\n");
  pxkit::thread_pool_destroy(nullptr);  // accepted, no effect
}

TEST(ThreadPool, TaskWithoutFunctionIsStillDelivered) {
  for (std::uint32_t threads : {1u, 2u}) {
    thread_pool* pool = pxkit::thread_pool_create(threads);
    thread_pool_task task{nullptr, 0, 0, 1234};
    thread_pool_task* back = nullptr;
    const std::string out = pxtest::capture_stdout([&] {
      EXPECT_EQ(pxkit::thread_pool_add_task(pool, &task), 0);
      back = pxkit::thread_pool_wait(pool);
    });
    EXPECT_EQ(out, "error: invalid task\n");
    EXPECT_EQ(back, &task);
    EXPECT_EQ(task.result, 1234);
    pxkit::thread_pool_destroy(pool);
  }
}

// Returns 10 x (the number of tasks that ran before it) + arg1.
std::atomic<int> g_ran{0};
std::int32_t count_in(std::uint64_t, std::uint64_t arg1) {
  return g_ran.fetch_add(1) * 10 + static_cast<std::int32_t>(arg1);
}

TEST(ThreadPool, SingleWorkerRunsAndReturnsTasksInTheOrderAdded) {
  thread_pool* pool = pxkit::thread_pool_create(1);
  g_ran = 0;
  thread_pool_task tasks[4];
  for (auto& t : tasks) {
    t = {count_in, 0, 7, -1};
    ASSERT_EQ(pxkit::thread_pool_add_task(pool, &t), 0);
  }
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(pxkit::thread_pool_wait(pool), &tasks[i]);
    EXPECT_EQ(tasks[i].result, i * 10 + 7);  // it ran i-th
  }
  pxkit::thread_pool_destroy(pool);
}

// Tasks that hold their worker until `expected` tasks are inside at once, so
// that every one of them runs on a different worker. A worker that ran one
// counts itself out when the thread ends (a thread_local destructor).
struct Rendezvous {
  int expected = 0;
  std::atomic<int> inside{0};
  std::atomic<bool> complete{false};
};
std::atomic<int> g_workers_ended{0};

struct CountsThreadEnd {
  ~CountsThreadEnd() { g_workers_ended.fetch_add(1); }
};

std::int32_t meet_then_return(std::uint64_t arg0, std::uint64_t) {
  thread_local CountsThreadEnd marker;
  (void)marker;
  auto* r = reinterpret_cast<Rendezvous*>(arg0);
  if (r->inside.fetch_add(1) + 1 == r->expected) r->complete = true;
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!r->complete && std::chrono::steady_clock::now() < give_up) std::this_thread::yield();
  return r->complete ? 1 : 0;
}

TEST(ThreadPool, EveryWorkerRunsAndDestroyJoinsThemAll) {
  for (std::uint32_t threads : {1u, 3u, 8u}) {
    g_workers_ended = 0;
    thread_pool* pool = nullptr;
    EXPECT_EQ(pxtest::capture_stdout([&] { pool = pxkit::thread_pool_create(threads); }), "");
    Rendezvous r;
    r.expected = static_cast<int>(threads);
    std::vector<thread_pool_task> tasks(threads, {meet_then_return, as_arg(&r), 0, 0});
    // All inside at once before the first wait, so only workers run them.
    for (auto& t : tasks) pxkit::thread_pool_add_task(pool, &t);
    while (!r.complete) std::this_thread::yield();
    for (std::uint32_t i = 0; i < threads; ++i) EXPECT_EQ(pxkit::thread_pool_wait(pool)->result, 1);
    EXPECT_EQ(g_workers_ended.load(), 0);
    pxkit::thread_pool_destroy(pool);
    EXPECT_EQ(g_workers_ended.load(), static_cast<int>(threads));
  }
}

struct Gate {
  std::atomic<int> entered{0};
  std::atomic<bool> open{false};
};

std::int32_t wait_at_gate(std::uint64_t arg0, std::uint64_t) {
  auto* gate = reinterpret_cast<Gate*>(arg0);
  gate->entered++;
  while (!gate->open) std::this_thread::yield();
  return 1;
}

std::int32_t must_not_run(std::uint64_t, std::uint64_t) {
  ADD_FAILURE() << "an abandoned task ran";
  return 2;
}

// With both workers busy, a waiting caller runs a queued task itself. Destroy
// then lets the workers finish their tasks and abandons the queued ones untouched.
TEST(ThreadPool, CallerRunsQueuedTasksWhileWorkersAreBusyAndDestroyAbandonsTheRest) {
  thread_pool* pool = pxkit::thread_pool_create(2);
  Gate gate;
  thread_pool_task busy[2] = {{wait_at_gate, as_arg(&gate), 0, 0}, {wait_at_gate, as_arg(&gate), 0, 0}};
  for (auto& t : busy) pxkit::thread_pool_add_task(pool, &t);
  while (gate.entered != 2) std::this_thread::yield();
  EXPECT_EQ(round_trip(pool, 5), 5);  // neither worker is free: the caller ran it
  thread_pool_task queued[3];
  for (auto& t : queued) {
    t = {must_not_run, 0, 0, -5};
    pxkit::thread_pool_add_task(pool, &t);
  }
  // Destroy sets `stop` first; the workers then end after their current tasks.
  std::thread destroyer([&] { pxkit::thread_pool_destroy(pool); });
  while (pool->stop.load() == 0) std::this_thread::yield();
  gate.open = true;
  destroyer.join();
  for (auto& t : busy) EXPECT_EQ(t.result, 1);
  for (auto& t : queued) EXPECT_EQ(t.result, -5);
}

TEST(ThreadPool, WorkerStartFailure) {
  // No worker, or only the first two, could start: null with one message. The
  // two that did start stay blocked for the rest of the process.
  for (int failing : {0, 2}) {
    pxtest::ScopedThreadStartFailure fail(failing);
    thread_pool* pool = nullptr;
    EXPECT_EQ(pxtest::capture_stdout([&] { pool = pxkit::thread_pool_create(4); }),
              "fatal: pthread_create fail\n");
    EXPECT_EQ(pool, nullptr);
  }
  thread_pool* pool = pxkit::thread_pool_create(4);  // seam removed: creation works again
  ASSERT_NE(pool, nullptr);
  EXPECT_EQ(round_trip(pool, 3), 3);
  pxkit::thread_pool_destroy(pool);
}

TEST(ThreadPool, OutOfMemoryAnywhereInCreationFreesWhatWasMade) {
  // The pool, its two queues, then the nodes reserved for each queue: a pool
  // whose nodes are missing could lose a frame's task, so it is refused too.
  const int allocations = 3 + 2 * static_cast<int>(pxkit::kReservedNodes);
  for (int successes = 0; successes < allocations; ++successes) {
    const auto made = pxtest::library_allocations();
    const auto freed = pxtest::library_releases();
    thread_pool* pool = nullptr;
    const std::string out = pxtest::capture_stdout([&] {
      pxkit::mem::fail_allocation_after(successes);
      pool = pxkit::thread_pool_create(2);
      pxkit::mem::fail_allocation_after(-1);
    });
    EXPECT_EQ(out, "fatal: no memory\n") << successes;
    EXPECT_EQ(pool, nullptr) << successes;
    EXPECT_EQ(pxtest::library_allocations() - made, pxtest::library_releases() - freed) << successes;
    pxkit::thread_pool_destroy(pool);  // in case the check above failed
  }
}

}  // namespace
