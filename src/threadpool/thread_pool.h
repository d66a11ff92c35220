// Per-context pool of worker threads fed by a task queue; finished tasks come
// back through a done queue. Task records are owned by the caller (contexts
// embed them); the pool never allocates, copies or frees them.
#pragma once

#include <pthread.h>

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

struct thread_pool {
  simple_queue* task_queue;  // unbounded
  simple_queue* done_queue;  // unbounded
  std::uint32_t stop;        // set by destroy; read by workers between tasks (atomically)
  std::uint32_t state;       // 1 while the workers run
  std::uint32_t thread_count;
  pthread_t threads[kMaxPoolThreads];
};

// Running pool of 1..32 workers, or null after a message.
thread_pool* thread_pool_create(std::uint32_t thread_count);
// Queues a task; 0, or -1 after "error: invalid params" when the pool is not usable.
std::int32_t thread_pool_add_task(thread_pool* pool, thread_pool_task* task);
// Waits for one finished task and returns it (in completion order), or null
// after "error: invalid params". A caller that added N tasks calls this N times.
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
