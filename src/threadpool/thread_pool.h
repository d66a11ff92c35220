// Per-context pool of worker threads fed by a task queue; finished tasks come
// back through a done queue. Task records are owned by the caller (contexts
// embed them); the pool never allocates, copies or frees them.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "threadpool/simple_queue.h"

namespace pxkit {

using thread_pool_func = std::int32_t (*)(std::uint64_t arg0, std::uint64_t arg1);

struct thread_pool_task {
  thread_pool_func func;
  std::uint64_t arg0;  // the library's callers pass their stripe block here
  std::uint64_t arg1;
  std::int32_t result;  // func's return value, written by the worker
};

inline constexpr std::uint32_t kMaxPoolThreads = 32;
// Queue nodes made at creation: enough for the library's largest frame (8
// stripes), so that no frame call ever allocates one.
inline constexpr std::uint32_t kReservedNodes = 8;

// Tasks travel through two blocking queues; what the pool adds is how threads
// wait for them. Counters published next to the queues let an idle worker, and
// the caller inside thread_pool_wait, see work arrive without a queue lock. An
// idle worker polls for a short while (no more pollers than the other cores),
// then sleeps on `work_ready`. A new task wakes one sleeper only when no worker
// is searching for work, and a worker that takes a task while more are queued
// and nobody else searches wakes the next one: one wake-up per batch from the
// caller. The caller of a pool of several workers runs queued tasks itself while
// it waits, since it is on a core already.
struct thread_pool {
  simple_queue* task_queue;  // unbounded
  simple_queue* done_queue;  // unbounded
  std::atomic<std::uint32_t> stop;   // set by destroy; read by workers between tasks
  std::atomic<std::uint32_t> state;  // 1 while the workers run
  std::uint32_t thread_count;
  std::uint32_t spin_slots;  // pollers allowed at once: online cores - 1 (0 with one worker)
  // Items on the task queue that no thread has claimed yet. A thread takes one by
  // decrementing this first, so that its pop finds an item and never blocks.
  std::atomic<std::int32_t> unclaimed;
  std::atomic<std::int32_t> finished;   // tasks on the done queue, not yet collected
  std::atomic<std::int32_t> searching;  // workers awake without a task (incl. woken ones)
  std::atomic<std::int32_t> polling;    // of those, the ones spinning now
  std::atomic<std::int32_t> sleepers;   // workers asleep (or about to be) on work_ready
  std::atomic<std::uint32_t> caller_asleep;  // the caller waits in the done queue's pop
  std::uint32_t wake_tokens;            // wake-ups sent, not yet taken; under idle_lock
  pthread_mutex_t idle_lock;            // guards the sleep on work_ready
  pthread_cond_t work_ready;
  pthread_t threads[kMaxPoolThreads];
};

// Running pool of 1..32 workers, or null after a message.
thread_pool* thread_pool_create(std::uint32_t thread_count);
// Queues a task; 0, or -1 after "error: invalid params" when the pool is not usable.
std::int32_t thread_pool_add_task(thread_pool* pool, thread_pool_task* task);
// Waits for one finished task and returns it (in completion order), or null
// after "error: invalid params". A caller that added N tasks calls this N times.
// In a pool of several workers the caller runs queued tasks itself meanwhile; a
// one-worker pool runs its tasks one at a time, in the order they were added.
thread_pool_task* thread_pool_wait(thread_pool* pool);
// Stops and joins the workers and frees the pool; null is ignored.
// Tasks still queued are abandoned untouched.
void thread_pool_destroy(thread_pool* pool);

// Test seam --------------------------------------------------------------------
// While set to n >= 0, every pool creation fails to start its worker number n
// (0 = no worker starts, which sends operations down their single-threaded
// paths). A negative value restores normal behaviour.
void fail_thread_start_at(int worker_index);

}  // namespace pxkit
