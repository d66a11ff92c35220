#include "threadpool/simple_queue.h"

#include <atomic>
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
  EXPECT_EQ(q->sentinel.next, &q->sentinel);
  EXPECT_EQ(q->sentinel.prev, &q->sentinel);
}

TEST(SimpleQueue, RecyclesNodesAfterWarmUp) {
  simple_queue* q = pxkit::simple_queue_create(0);
  QueueGuard guard{q};
  for (int i = 0; i < 8; ++i) pxkit::simple_queue_push(q, item(1));
  for (int i = 0; i < 8; ++i) pxkit::simple_queue_pop(q);
  const auto before = pxtest::library_allocations();
  for (int round = 0; round < 100; ++round) {
    for (int i = 0; i < 8; ++i) pxkit::simple_queue_push(q, item(2));
    for (int i = 0; i < 8; ++i) pxkit::simple_queue_pop(q);
  }
  EXPECT_EQ(pxtest::library_allocations(), before);
}

TEST(SimpleQueue, ReservedNodesServeTheFirstPushes) {
  simple_queue* q = pxkit::simple_queue_create(0);
  QueueGuard guard{q};
  pxkit::simple_queue_reserve(q, 3);
  const auto before = pxtest::library_allocations();
  for (int i = 0; i < 3; ++i) pxkit::simple_queue_push(q, item(1));
  EXPECT_EQ(pxtest::library_allocations(), before);
  pxkit::simple_queue_push(q, item(1));
  EXPECT_EQ(pxtest::library_allocations(), before + 1);
}

TEST(SimpleQueue, DestroyFreesQueuedAndRecycledNodes) {
  // Leaks would show under AddressSanitizer's leak checker.
  simple_queue* q = pxkit::simple_queue_create(0);
  for (int i = 0; i < 4; ++i) pxkit::simple_queue_push(q, item(7));
  pxkit::simple_queue_pop(q);
  pxkit::simple_queue_destroy(q);
}

TEST(SimpleQueue, BoundedPushWaitsForPop) {
  simple_queue* q = pxkit::simple_queue_create(2);
  QueueGuard guard{q};
  pxkit::simple_queue_push(q, item(1));
  pxkit::simple_queue_push(q, item(2));
  std::atomic<bool> pushed{false};
  std::thread producer([&] {
    pxkit::simple_queue_push(q, item(3));
    pushed = true;
  });
  // The producer cannot finish while the queue is full.
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(pushed.load());
  EXPECT_EQ(pxkit::simple_queue_pop(q), item(1));
  producer.join();
  EXPECT_TRUE(pushed.load());
  EXPECT_EQ(pxkit::simple_queue_pop(q), item(2));
  EXPECT_EQ(pxkit::simple_queue_pop(q), item(3));
}

TEST(SimpleQueue, PopWaitsForPush) {
  simple_queue* q = pxkit::simple_queue_create(0);
  QueueGuard guard{q};
  void* got = nullptr;
  std::thread consumer([&] { got = pxkit::simple_queue_pop(q); });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  pxkit::simple_queue_push(q, item(42));
  consumer.join();
  EXPECT_EQ(got, item(42));
}

TEST(SimpleQueue, CorruptCountIsReportedAndLeftAlone) {
  simple_queue* q = pxkit::simple_queue_create(0);
  QueueGuard guard{q};
  q->count = 1;  // the list is empty although the count says otherwise
  void* got = item(1);
  const std::string out = pxtest::capture_stdout([&] { got = pxkit::simple_queue_pop(q); });
  EXPECT_EQ(out, "fatal error: corruptted queue.\n");
  EXPECT_EQ(got, nullptr);
  EXPECT_EQ(q->count, 1u);
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
    pxkit::mem::fail_allocation_after(0);
    pxkit::simple_queue_push(q, item(1));  // dropped: no node to hold it
    pxkit::mem::fail_allocation_after(-1);
  });
  EXPECT_EQ(out, "fatal: no memory for simple node\n");
  EXPECT_EQ(pxkit::simple_queue_count(q), 0u);
  EXPECT_EQ(pxkit::simple_queue_try_pop(q), nullptr);
}

}  // namespace
