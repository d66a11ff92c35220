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

// Spins until `n` threads are blocked inside the queue (an explicit handshake:
// once this returns, the other thread is waiting and cannot have finished).
void await_waiters(simple_queue* q, std::uint32_t n) {
  while (pxkit::simple_queue_waiting(q) != n) std::this_thread::yield();
}

TEST(SimpleQueue, FifoOrderCountAndTryPop) {
  simple_queue* q = pxkit::simple_queue_create(0);
  ASSERT_NE(q, nullptr);
  QueueGuard guard{q};
  EXPECT_EQ(pxkit::simple_queue_try_pop(q), nullptr);
  for (std::uintptr_t i = 1; i <= 5; ++i) pxkit::simple_queue_push(q, item(i));
  EXPECT_EQ(pxkit::simple_queue_count(q), 5u);
  EXPECT_EQ(pxkit::simple_queue_pop(q), item(1));
  EXPECT_EQ(pxkit::simple_queue_try_pop(q), item(2));
  pxkit::simple_queue_push(q, item(6));
  for (std::uintptr_t i = 3; i <= 6; ++i) EXPECT_EQ(pxkit::simple_queue_pop(q), item(i));
  EXPECT_EQ(pxkit::simple_queue_count(q), 0u);
  EXPECT_EQ(pxkit::simple_queue_try_pop(q), nullptr);
}

TEST(SimpleQueue, ReservedAndRecycledNodesServePushesWithoutAllocating) {
  simple_queue* q = pxkit::simple_queue_create(0);
  QueueGuard guard{q};
  EXPECT_TRUE(pxkit::simple_queue_reserve(q, 3));
  auto before = pxtest::library_allocations();
  for (int i = 0; i < 3; ++i) pxkit::simple_queue_push(q, item(1));
  EXPECT_EQ(pxtest::library_allocations(), before);
  pxkit::simple_queue_push(q, item(1));  // the fourth node is new
  EXPECT_EQ(pxtest::library_allocations(), before + 1);
  before = pxtest::library_allocations();
  for (int round = 0; round < 50; ++round) {
    for (int i = 0; i < 4; ++i) pxkit::simple_queue_pop(q);
    for (int i = 0; i < 4; ++i) pxkit::simple_queue_push(q, item(2));
  }
  EXPECT_EQ(pxtest::library_allocations(), before);
}

TEST(SimpleQueue, DestroyFreesQueuedAndRecycledNodes) {
  const auto made = pxtest::library_allocations();
  const auto freed = pxtest::library_releases();
  simple_queue* q = pxkit::simple_queue_create(0);
  ASSERT_TRUE(pxkit::simple_queue_reserve(q, 2));
  for (int i = 0; i < 5; ++i) pxkit::simple_queue_push(q, item(7));
  pxkit::simple_queue_pop(q);  // one node back on the free list
  pxkit::simple_queue_destroy(q);
  EXPECT_EQ(pxtest::library_allocations() - made, 6u);  // the queue and five nodes
  EXPECT_EQ(pxtest::library_releases() - freed, 6u);
}

TEST(SimpleQueue, BoundedPushWaitsUntilAPopMakesRoom) {
  simple_queue* q = pxkit::simple_queue_create(2);
  QueueGuard guard{q};
  pxkit::simple_queue_push(q, item(1));
  pxkit::simple_queue_push(q, item(2));
  std::thread producer([&] { pxkit::simple_queue_push(q, item(3)); });
  await_waiters(q, 1);
  EXPECT_EQ(pxkit::simple_queue_count(q), 2u);
  EXPECT_EQ(pxkit::simple_queue_pop(q), item(1));
  producer.join();
  EXPECT_EQ(pxkit::simple_queue_waiting(q), 0u);
  EXPECT_EQ(pxkit::simple_queue_pop(q), item(2));
  EXPECT_EQ(pxkit::simple_queue_pop(q), item(3));
}

TEST(SimpleQueue, PopWaitsUntilAPush) {
  simple_queue* q = pxkit::simple_queue_create(0);
  QueueGuard guard{q};
  void* got = nullptr;
  std::thread consumer([&] { got = pxkit::simple_queue_pop(q); });
  await_waiters(q, 1);
  pxkit::simple_queue_push(q, item(42));
  consumer.join();
  EXPECT_EQ(got, item(42));
}

TEST(SimpleQueue, CorruptCountIsReportedAndLeftAlone) {
  simple_queue* q = pxkit::simple_queue_create(0);
  QueueGuard guard{q};
  q->count = 1;  // no operation can produce this state: forge it
  void* got = item(1);
  const std::string out = pxtest::capture_stdout([&] { got = pxkit::simple_queue_pop(q); });
  EXPECT_EQ(out, "fatal error: corruptted queue.\n");
  EXPECT_EQ(got, nullptr);
  EXPECT_EQ(pxkit::simple_queue_count(q), 1u);
  q->count = 0;
}

TEST(SimpleQueue, OutOfMemory) {
  std::string out = pxtest::capture_stdout([] {
    pxkit::mem::fail_allocation_after(0);
    EXPECT_EQ(pxkit::simple_queue_create(0), nullptr);
    pxkit::mem::fail_allocation_after(-1);
  });
  EXPECT_EQ(out, "fatal: no memory\n");

  simple_queue* q = pxkit::simple_queue_create(0);
  QueueGuard guard{q};
  out = pxtest::capture_stdout([&] {
    pxkit::mem::fail_allocation_after(1);
    EXPECT_FALSE(pxkit::simple_queue_reserve(q, 3));  // one node made, then none
    pxkit::mem::fail_allocation_after(-1);
    pxkit::simple_queue_push(q, item(1));  // takes the reserved node
    pxkit::mem::fail_allocation_after(0);
    pxkit::simple_queue_push(q, item(2));  // dropped: no node to hold it
    pxkit::mem::fail_allocation_after(-1);
  });
  EXPECT_EQ(out, "fatal: no memory for simple node\n");
  EXPECT_EQ(pxkit::simple_queue_count(q), 1u);
  EXPECT_EQ(pxkit::simple_queue_try_pop(q), item(1));
}

}  // namespace
