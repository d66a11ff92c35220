#include "threadpool/thread_pool.h"

#include <atomic>
#include <cerrno>

#include "common/diag.h"
#include "common/memory.h"

namespace pxkit {
namespace {

std::atomic<int> g_fail_thread_start_at{-1};

// `stop` is written once by destroy and polled by workers without a lock; the
// null items queued after it order the write for every worker still waiting.
std::uint32_t stop_requested(const thread_pool* pool) {
  return __atomic_load_n(&pool->stop, __ATOMIC_RELAXED);
}

void* worker_main(void* arg) {
  auto* pool = static_cast<thread_pool*>(arg);
  if (stop_requested(pool)) return nullptr;
  for (;;) {
    auto* task = static_cast<thread_pool_task*>(simple_queue_pop(pool->task_queue));
    if (task == nullptr) return nullptr;
    if (task->func == nullptr) {
      diag::line("error: invalid task");
    } else {
      task->result = task->func(task->arg0, task->arg1);
    }
    simple_queue_push(pool->done_queue, task);
    if (stop_requested(pool)) return nullptr;
  }
}

int start_worker(thread_pool* pool, std::uint32_t index) {
  const int fail_at = g_fail_thread_start_at.load(std::memory_order_relaxed);
  if (fail_at >= 0 && static_cast<std::uint32_t>(fail_at) == index) return EAGAIN;
  return pthread_create(&pool->threads[index], nullptr, worker_main, pool);
}

bool usable(const thread_pool* pool) {
  return pool != nullptr && pool->task_queue != nullptr && pool->state == 1;
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
  auto* pool = static_cast<thread_pool*>(mem::allocate_zeroed(sizeof(thread_pool)));
  if (pool == nullptr) {
    diag::line("fatal: no memory");
    return nullptr;
  }
  pool->thread_count = thread_count;
  pool->task_queue = simple_queue_create(0);
  pool->done_queue = simple_queue_create(0);
  if (pool->task_queue == nullptr || pool->done_queue == nullptr) {
    if (pool->task_queue != nullptr) simple_queue_destroy(pool->task_queue);
    if (pool->done_queue != nullptr) simple_queue_destroy(pool->done_queue);
    mem::release(pool);
    return nullptr;
  }
  simple_queue_reserve(pool->task_queue, kReservedNodes);
  simple_queue_reserve(pool->done_queue, kReservedNodes);
  for (std::uint32_t i = 0; i < thread_count; ++i) {
    if (start_worker(pool, i) != 0) {
      diag::line("fatal: pthread_create fail");
      simple_queue_destroy(pool->done_queue);
      if (i == 0) {
        simple_queue_destroy(pool->task_queue);
        mem::release(pool);
      }
      // Workers already started are neither stopped nor joined. They stay
      // blocked on the task queue for the life of the process, so that queue
      // and the pool they hold are left in place rather than freed under them.
      return nullptr;
    }
  }
  pool->state = 1;
  return pool;
}

std::int32_t thread_pool_add_task(thread_pool* pool, thread_pool_task* task) {
  if (!usable(pool)) {
    diag::line("error: invalid params");
    return -1;
  }
  simple_queue_push(pool->task_queue, task);
  return 0;
}

thread_pool_task* thread_pool_wait(thread_pool* pool) {
  if (!usable(pool)) {
    diag::line("error: invalid params");
    return nullptr;
  }
  return static_cast<thread_pool_task*>(simple_queue_pop(pool->done_queue));
}

void thread_pool_destroy(thread_pool* pool) {
  if (pool == nullptr) return;
  if (pool->state == 1) {
    __atomic_store_n(&pool->stop, 1u, __ATOMIC_RELAXED);
    for (std::uint32_t i = 0; i < pool->thread_count; ++i) simple_queue_push(pool->task_queue, nullptr);
    for (std::uint32_t i = 0; i < pool->thread_count; ++i) pthread_join(pool->threads[i], nullptr);
    pool->state = 0;
    simple_queue_destroy(pool->task_queue);
  } else if (pool->task_queue != nullptr) {
    simple_queue_destroy(pool->task_queue);
  }
  if (pool->done_queue != nullptr) simple_queue_destroy(pool->done_queue);
  mem::release(pool);
}

void fail_thread_start_at(int worker_index) {
  g_fail_thread_start_at.store(worker_index, std::memory_order_relaxed);
}

}  // namespace pxkit
