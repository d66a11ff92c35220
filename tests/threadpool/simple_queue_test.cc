// The pool's blocking FIFO: node bookkeeping, a full bounded queue, and a push
// without memory. First in, first out, and a pop that waits for a push, are
// what every wait on a one-worker pool relies on: the thread-pool tests cover them.
#include "threadpool/simple_queue.h"

#include <thread>

#include "common/memory.h"
#include "support/test_support.h"

namespace {

using pxkit::simple_queue;

struct QueueGuard {
  simple_queue* q;
  ~QueueGuard() { pxkit::simple_queue_destroy(q); }
};

void* item(std::uintptr_t v) { return reinterpret_cast<void*>(v); }

// Reserved nodes serve the first pushes and popped ones the next without
// allocating; destroy frees the queued and the recycled nodes and the queue.
TEST(SimpleQueue, NodesAreReservedRecycledAndFreed) {
  const auto made = pxtest::library_allocations();
  const auto freed = pxtest::library_releases();
  simple_queue* q = pxkit::simple_queue_create(0);
  EXPECT_TRUE(pxkit::simple_queue_reserve(q, 3));
  for (int i = 0; i < 3; ++i) pxkit::simple_queue_push(q, item(1));
  EXPECT_EQ(pxtest::library_allocations() - made, 4u);  // the queue and the three reserved nodes
  pxkit::simple_queue_push(q, item(1));  // the fourth node is new
  for (int round = 0; round < 50; ++round) {
    for (int i = 0; i < 4; ++i) pxkit::simple_queue_pop(q);
    for (int i = 0; i < 4; ++i) pxkit::simple_queue_push(q, item(2));
  }
  EXPECT_EQ(pxtest::library_allocations() - made, 5u);
  pxkit::simple_queue_pop(q);  // one node back on the free list, three queued
  pxkit::simple_queue_destroy(q);
  EXPECT_EQ(pxtest::library_releases() - freed, 5u);
}

TEST(SimpleQueue, BoundedPushWaitsUntilAPopMakesRoom) {
  simple_queue* q = pxkit::simple_queue_create(2);
  QueueGuard guard{q};
  pxkit::simple_queue_push(q, item(1));
  pxkit::simple_queue_push(q, item(2));
  std::thread producer([&] { pxkit::simple_queue_push(q, item(3)); });
  // Handshake: once the producer is blocked in the queue it cannot have finished.
  while (pxkit::simple_queue_waiting(q) != 1) std::this_thread::yield();
  EXPECT_EQ(pxkit::simple_queue_count(q), 2u);
  EXPECT_EQ(pxkit::simple_queue_pop(q), item(1));
  producer.join();
  EXPECT_EQ(pxkit::simple_queue_waiting(q), 0u);
  EXPECT_EQ(pxkit::simple_queue_pop(q), item(2));
  EXPECT_EQ(pxkit::simple_queue_pop(q), item(3));
}

// A push that finds no node and cannot make one drops its item. (A queue or a
// reservation without memory is refused: see the pool's creation test.)
TEST(SimpleQueue, PushWithoutMemoryDropsTheItem) {
  simple_queue* q = pxkit::simple_queue_create(0);
  QueueGuard guard{q};
  pxkit::simple_queue_push(q, item(1));
  const std::string out = pxtest::capture_stdout([&] {
    pxkit::mem::fail_allocation_after(0);
    pxkit::simple_queue_push(q, item(2));
    pxkit::mem::fail_allocation_after(-1);
  });
  EXPECT_EQ(out, "fatal: no memory for simple node\n");
  EXPECT_EQ(pxkit::simple_queue_count(q), 1u);
  EXPECT_EQ(pxkit::simple_queue_try_pop(q), item(1));
  EXPECT_EQ(pxkit::simple_queue_try_pop(q), nullptr);
}

}  // namespace
