#include "threadpool/thread_pool.h"

#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <new>

#include "common/diag.h"
#include "common/memory.h"
#include "threadpool/spin.h"

namespace pxkit {
namespace {

// How long a worker that has just run a task polls for the next one, and the
// caller for a finished one, before sleeping: long enough to bridge the gap
// between back-to-back frames, short enough that an idle pool costs next to
// nothing and that a poller sharing a core with the thread it waits for (more
// threads than cores) wastes little of it.
constexpr std::chrono::microseconds kWorkerPoll{20};
constexpr std::chrono::microseconds kCallerPoll{5};

std::atomic<int> g_fail_thread_start_at{-1};

bool stop_requested(const thread_pool* pool) { return pool->stop.load() != 0; }

std::uint32_t online_cores() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) == 0) return static_cast<std::uint32_t>(CPU_COUNT(&set));
  const long n = sysconf(_SC_NPROCESSORS_ONLN);
  return n > 0 ? static_cast<std::uint32_t>(n) : 1u;
}

// Takes the right to pop one item of the task queue; false when none is left.
bool try_claim(thread_pool* pool) {
  std::int32_t n = pool->unclaimed.load(std::memory_order_relaxed);
  while (n > 0)
    if (pool->unclaimed.compare_exchange_weak(n, n - 1)) return true;
  return false;
}

// Pops a claimed task (the claim guarantees one is queued), runs it and hands it
// to the done queue. False for a null item, which ends a worker.
bool run_claimed(thread_pool* pool) {
  auto* task = static_cast<thread_pool_task*>(simple_queue_pop(pool->task_queue));
  if (task == nullptr) return false;
  if (task->func == nullptr) {
    diag::line("error: invalid task");
  } else {
    task->result = task->func(task->arg0, task->arg1);
  }
  simple_queue_push(pool->done_queue, task);
  pool->finished.fetch_add(1);
  return true;
}

// Wakes one sleeper, counting it as searching from now on, unless every
// sleeper has a wake-up on its way already.
void wake_one(thread_pool* pool) {
  pthread_mutex_lock(&pool->idle_lock);
  if (static_cast<std::uint32_t>(pool->sleepers.load()) > pool->wake_tokens) {
    pool->wake_tokens++;
    pool->searching.fetch_add(1);
    pthread_cond_signal(&pool->work_ready);
  }
  pthread_mutex_unlock(&pool->idle_lock);
}

// A searching worker found nothing: it polls for a while if it has just run a
// task and a poll slot is free (a worker woken for a task that someone else
// took does not poll: it would keep a busy core from that someone), then
// sleeps until woken. Called and returns as a searching worker.
// Every order of counter updates here and in announce_item is sequentially
// consistent: a sleeper announces itself before its last look at `unclaimed`,
// and an adder publishes its item before it looks at `searching` and
// `sleepers`, so at least one of the two sees the other.
void wait_for_work(thread_pool* pool, bool just_ran_task) {
  auto work_or_stop = [pool] { return pool->unclaimed.load() > 0 || stop_requested(pool); };
  if (just_ran_task) {
    const bool may_poll = pool->polling.fetch_add(1) < static_cast<std::int32_t>(pool->spin_slots);
    const bool found = may_poll && spin_until(work_or_stop, kWorkerPoll);
    pool->polling.fetch_sub(1);
    if (found) return;
  }
  pthread_mutex_lock(&pool->idle_lock);
  pool->searching.fetch_sub(1);
  pool->sleepers.fetch_add(1);
  if (work_or_stop()) {
    pool->searching.fetch_add(1);
  } else {
    while (pool->wake_tokens == 0 && !stop_requested(pool))
      pthread_cond_wait(&pool->work_ready, &pool->idle_lock);
    if (pool->wake_tokens > 0) {
      pool->wake_tokens--;  // wake_one counted this worker as searching
    } else {
      pool->searching.fetch_add(1);  // woken by destroy
    }
  }
  pool->sleepers.fetch_sub(1);
  pthread_mutex_unlock(&pool->idle_lock);
}

void* worker_main(void* arg) {
  auto* pool = static_cast<thread_pool*>(arg);
  pool->searching.fetch_add(1);
  bool just_ran_task = false;
  for (;;) {
    if (stop_requested(pool)) return nullptr;
    if (!try_claim(pool)) {
      wait_for_work(pool, just_ran_task);
      just_ran_task = false;
      continue;
    }
    // More tasks queued and nobody else looking: pass the wake-up on.
    if (pool->searching.fetch_sub(1) == 1 && pool->unclaimed.load() > 0 && pool->sleepers.load() > 0)
      wake_one(pool);
    if (!run_claimed(pool)) return nullptr;
    pool->searching.fetch_add(1);
    // If the caller slept, the next frame comes only after it has run again,
    // maybe on this core: polling would only delay it.
    just_ran_task = pool->caller_asleep.load() == 0;
  }
}

// A new item is on the task queue: wake a sleeper if no worker is searching.
void announce_item(thread_pool* pool) {
  pool->unclaimed.fetch_add(1);
  if (pool->searching.load() == 0 && pool->sleepers.load() > 0) wake_one(pool);
}

int start_worker(thread_pool* pool, std::uint32_t index) {
  const int fail_at = g_fail_thread_start_at.load(std::memory_order_relaxed);
  if (fail_at >= 0 && static_cast<std::uint32_t>(fail_at) == index) return EAGAIN;
  return pthread_create(&pool->threads[index], nullptr, worker_main, pool);
}

bool usable(const thread_pool* pool) {
  return pool != nullptr && pool->task_queue != nullptr && pool->state.load() == 1;
}

// Frees a pool whose workers are not running (or were never started).
void release_pool(thread_pool* pool) {
  if (pool->task_queue != nullptr) simple_queue_destroy(pool->task_queue);
  if (pool->done_queue != nullptr) simple_queue_destroy(pool->done_queue);
  pthread_mutex_destroy(&pool->idle_lock);
  pthread_cond_destroy(&pool->work_ready);
  mem::release(pool);
}

}  // namespace

thread_pool* thread_pool_create(std::uint32_t thread_count) {
  if (thread_count == 0) {
    diag::format("thread number %d less than 1\n", 0);
    return nullptr;
  }
  if (thread_count > kMaxPoolThreads) {
    diag::format("thread number %d exceed max %d\n", static_cast<int>(thread_count),
                 static_cast<int>(kMaxPoolThreads));
    return nullptr;
  }
  void* memory = mem::allocate_zeroed(sizeof(thread_pool));
  if (memory == nullptr) {
    diag::line("fatal: no memory");
    return nullptr;
  }
  auto* pool = new (memory) thread_pool{};
  pthread_mutex_init(&pool->idle_lock, nullptr);
  pthread_cond_init(&pool->work_ready, nullptr);
  pool->thread_count = thread_count;
  // A one-worker pool hands tasks over strictly in turn (the caller cannot
  // help), so polling there only burns the time slices that the scheduler
  // would give the other thread: it blocks, as a plain queue would.
  pool->spin_slots = thread_count > 1 ? online_cores() - 1 : 0;
  pool->task_queue = simple_queue_create(0);
  pool->done_queue = simple_queue_create(0);
  if (pool->task_queue == nullptr || pool->done_queue == nullptr) {
    release_pool(pool);
    return nullptr;
  }
  // Without these nodes a frame's push could fail and lose a task for good.
  if (!simple_queue_reserve(pool->task_queue, kReservedNodes) ||
      !simple_queue_reserve(pool->done_queue, kReservedNodes)) {
    diag::line("fatal: no memory");
    release_pool(pool);
    return nullptr;
  }
  for (std::uint32_t i = 0; i < thread_count; ++i) {
    if (start_worker(pool, i) != 0) {
      diag::line("fatal: pthread_create fail");
      if (i == 0) {
        release_pool(pool);
      } else {
        // Workers already started are neither stopped nor joined. They wait
        // for work for the life of the process, so the pool and its task queue
        // are left in place rather than freed under them.
        simple_queue_destroy(pool->done_queue);
      }
      return nullptr;
    }
  }
  pool->state.store(1);
  return pool;
}

std::int32_t thread_pool_add_task(thread_pool* pool, thread_pool_task* task) {
  if (!usable(pool)) {
    diag::line("error: invalid params");
    return -1;
  }
  simple_queue_push(pool->task_queue, task);
  announce_item(pool);
  return 0;
}

thread_pool_task* thread_pool_wait(thread_pool* pool) {
  if (!usable(pool)) {
    diag::line("error: invalid params");
    return nullptr;
  }
  // Until a task has finished, run queued ones here (several workers only: a
  // single worker keeps its tasks in order), then poll a short while.
  const bool helps = pool->thread_count > 1;
  auto progress = [pool, helps] {
    return pool->finished.load() > 0 || (helps && pool->unclaimed.load() > 0);
  };
  while (pool->finished.load() <= 0) {
    if (helps && try_claim(pool)) {
      run_claimed(pool);
    } else if (pool->spin_slots == 0 || !spin_until(progress, kCallerPoll)) {
      break;  // nothing soon: sleep in the done queue's pop
    }
  }
  pool->caller_asleep.store(1);
  auto* task = static_cast<thread_pool_task*>(simple_queue_pop(pool->done_queue));
  pool->caller_asleep.store(0);
  pool->finished.fetch_sub(1);
  return task;
}

void thread_pool_destroy(thread_pool* pool) {
  if (pool == nullptr) return;
  if (pool->state.load() == 1) {
    pool->stop.store(1);
    for (std::uint32_t i = 0; i < pool->thread_count; ++i) {
      simple_queue_push(pool->task_queue, nullptr);
      pool->unclaimed.fetch_add(1);
    }
    pthread_mutex_lock(&pool->idle_lock);  // sleepers check `stop` under this lock
    pthread_cond_broadcast(&pool->work_ready);
    pthread_mutex_unlock(&pool->idle_lock);
    for (std::uint32_t i = 0; i < pool->thread_count; ++i) pthread_join(pool->threads[i], nullptr);
    pool->state.store(0);
  }
  release_pool(pool);
}

void fail_thread_start_at(int worker_index) {
  g_fail_thread_start_at.store(worker_index, std::memory_order_relaxed);
}

}  // namespace pxkit
