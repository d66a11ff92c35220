#include "threadpool/thread_pool.h"

#include <dirent.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "common/memory.h"
#include "support/test_support.h"

namespace {

using pxkit::thread_pool;
using pxkit::thread_pool_task;

// Thread ids of this process, from /proc/self/task.
std::set<int> thread_ids() {
  std::set<int> ids;
  DIR* dir = opendir("/proc/self/task");
  if (dir == nullptr) return ids;
  while (dirent* e = readdir(dir))
    if (e->d_name[0] != '.') ids.insert(std::atoi(e->d_name));
  closedir(dir);
  return ids;
}

// True once none of `ids` is listed any more. A joined thread can stay in
// /proc/self/task for a moment after pthread_join returns (longer under qemu).
bool threads_vanish(const std::set<int>& ids) {
  for (int attempt = 0; attempt < 500; ++attempt) {
    bool listed = false;
    for (int id : thread_ids()) listed = listed || ids.count(id) != 0;
    if (!listed) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return false;
}

// Lets one pool come and go, so that helper threads that runtimes start with
// the first thread (sanitizers) already exist before a test looks.
void settle_threads() { pxkit::thread_pool_destroy(pxkit::thread_pool_create(1)); }

std::uint64_t as_arg(void* p) { return reinterpret_cast<std::uint64_t>(p); }

TEST(ThreadPool, ThreadCountLimits) {
  thread_pool* pool = nullptr;
  EXPECT_EQ(pxtest::capture_stdout([&] { pool = pxkit::thread_pool_create(0); }),
            "thread number 0 less than 1\n");
  EXPECT_EQ(pool, nullptr);
  EXPECT_EQ(pxtest::capture_stdout([&] { pool = pxkit::thread_pool_create(33); }),
            "thread number 33 exceed max 32\n");
  EXPECT_EQ(pool, nullptr);
  for (std::uint32_t n : {1u, 32u}) {
    EXPECT_EQ(pxtest::capture_stdout([&] { pool = pxkit::thread_pool_create(n); }), "");
    ASSERT_NE(pool, nullptr);
    EXPECT_EQ(pool->thread_count, n);
    EXPECT_EQ(pool->state, 1u);
    pxkit::thread_pool_destroy(pool);
  }
}

TEST(ThreadPool, RefusesNullOrStoppedPool) {
  thread_pool_task task{};
  std::int32_t added = 0;
  thread_pool_task* waited = &task;
  EXPECT_EQ(pxtest::capture_stdout([&] { added = pxkit::thread_pool_add_task(nullptr, &task); }),
            "error: invalid params\n");
  EXPECT_EQ(added, -1);
  EXPECT_EQ(pxtest::capture_stdout([&] { waited = pxkit::thread_pool_wait(nullptr); }),
            "error: invalid params\n");
  EXPECT_EQ(waited, nullptr);

  // A pool whose state is not "running" is refused the same way.
  thread_pool* pool = pxkit::thread_pool_create(1);
  pool->state = 0;
  EXPECT_EQ(pxtest::capture_stdout([&] { added = pxkit::thread_pool_add_task(pool, &task); }),
            "error: invalid params\n");
  EXPECT_EQ(added, -1);
  pool->state = 1;
  pxkit::thread_pool_destroy(pool);
}

TEST(ThreadPool, TaskWithoutFunctionIsStillDelivered) {
  thread_pool* pool = pxkit::thread_pool_create(2);
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

struct OrderLog {
  std::mutex lock;
  std::vector<int> ran;
};

struct LoggedTask {
  thread_pool_task task;
  OrderLog* log;
  int id;
};

std::int32_t log_and_return_id(std::uint64_t arg0, std::uint64_t arg1) {
  auto* t = reinterpret_cast<LoggedTask*>(arg0);
  std::lock_guard<std::mutex> hold(t->log->lock);
  t->log->ran.push_back(t->id);
  return t->id * 10 + static_cast<std::int32_t>(arg1);
}

TEST(ThreadPool, SingleWorkerReturnsTasksInTheOrderRun) {
  thread_pool* pool = pxkit::thread_pool_create(1);
  OrderLog log;
  LoggedTask tasks[4];
  for (int i = 0; i < 4; ++i) {
    tasks[i] = {{log_and_return_id, 0, 7, -1}, &log, i};
    tasks[i].task.arg0 = as_arg(&tasks[i]);
  }
  for (auto& t : tasks) ASSERT_EQ(pxkit::thread_pool_add_task(pool, &t.task), 0);
  std::vector<int> waited;
  for (int i = 0; i < 4; ++i) {
    thread_pool_task* done = pxkit::thread_pool_wait(pool);
    ASSERT_NE(done, nullptr);
    waited.push_back(reinterpret_cast<LoggedTask*>(done)->id);
  }
  EXPECT_EQ(waited, log.ran);
  EXPECT_EQ(waited, (std::vector<int>{0, 1, 2, 3}));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(tasks[i].task.result, i * 10 + 7);
  pxkit::thread_pool_destroy(pool);
}

// Compares thread ids rather than counts: under qemu-user the emulator's own
// helper threads may come and go between two readings.
TEST(ThreadPool, DestroyJoinsEveryWorker) {
  pxkit::thread_pool_destroy(nullptr);  // accepted, no effect
  settle_threads();
  const std::set<int> before = thread_ids();
  thread_pool* pool = pxkit::thread_pool_create(8);
  std::set<int> workers;
  for (int id : thread_ids())
    if (before.count(id) == 0) workers.insert(id);
  EXPECT_EQ(workers.size(), 8u);
  pxkit::thread_pool_destroy(pool);
  EXPECT_TRUE(threads_vanish(workers));
}

struct Gate {
  std::atomic<bool> entered{false};
  std::atomic<bool> open{false};
};

std::int32_t wait_at_gate(std::uint64_t arg0, std::uint64_t) {
  auto* gate = reinterpret_cast<Gate*>(arg0);
  gate->entered = true;
  while (!gate->open) std::this_thread::yield();
  return 1;
}

std::int32_t must_not_run(std::uint64_t, std::uint64_t) {
  ADD_FAILURE() << "an abandoned task ran";
  return 2;
}

TEST(ThreadPool, DestroyAbandonsQueuedTasksUntouched) {
  thread_pool* pool = pxkit::thread_pool_create(1);
  Gate gate;
  thread_pool_task busy{wait_at_gate, as_arg(&gate), 0, 0};
  thread_pool_task queued[3];
  for (auto& t : queued) t = {must_not_run, 0, 0, -5};
  pxkit::thread_pool_add_task(pool, &busy);
  while (!gate.entered) std::this_thread::yield();
  for (auto& t : queued) pxkit::thread_pool_add_task(pool, &t);
  // Destroy sets `stop` first; the worker then ends after its current task.
  std::thread destroyer([&] { pxkit::thread_pool_destroy(pool); });
  while (__atomic_load_n(&pool->stop, __ATOMIC_RELAXED) == 0) std::this_thread::yield();
  gate.open = true;
  destroyer.join();
  EXPECT_EQ(busy.result, 1);
  for (auto& t : queued) EXPECT_EQ(t.result, -5);
}

TEST(ThreadPool, WorkerStartFailure) {
  thread_pool* pool = nullptr;
  {
    pxtest::ScopedThreadStartFailure fail(0);
    EXPECT_EQ(pxtest::capture_stdout([&] { pool = pxkit::thread_pool_create(4); }),
              "fatal: pthread_create fail\n");
    EXPECT_EQ(pool, nullptr);
  }
  // A later worker failing: the call still returns null with the same message.
  // The two workers that did start stay blocked for the rest of the process.
  settle_threads();
  const std::set<int> before = thread_ids();
  {
    pxtest::ScopedThreadStartFailure fail(2);
    EXPECT_EQ(pxtest::capture_stdout([&] { pool = pxkit::thread_pool_create(4); }),
              "fatal: pthread_create fail\n");
    EXPECT_EQ(pool, nullptr);
  }
  int started = 0;
  for (int id : thread_ids()) started += before.count(id) == 0 ? 1 : 0;
  EXPECT_EQ(started, 2);
  pool = pxkit::thread_pool_create(4);  // seam removed: creation works again
  ASSERT_NE(pool, nullptr);
  pxkit::thread_pool_destroy(pool);
}

TEST(ThreadPool, OutOfMemoryFreesWhatWasMade) {
  // Fail the pool itself, then its first queue, then its second queue.
  for (int successes = 0; successes < 3; ++successes) {
    thread_pool* pool = nullptr;
    const std::string out = pxtest::capture_stdout([&] {
      pxkit::mem::fail_allocation_after(successes);
      pool = pxkit::thread_pool_create(2);
      pxkit::mem::fail_allocation_after(-1);
    });
    EXPECT_EQ(out, "fatal: no memory\n") << successes;
    EXPECT_EQ(pool, nullptr);
  }
}

}  // namespace
