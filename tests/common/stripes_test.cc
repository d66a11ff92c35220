#include "common/stripes.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <span>
#include <vector>

#include "support/test_support.h"

namespace {

namespace stripes = pxkit::stripes;
using stripes::Span;

std::vector<Span> split_even(std::int64_t total, std::size_t n) {
  std::vector<Span> spans(n, Span{-1, -1});
  stripes::split_even(total, spans);
  return spans;
}
std::vector<Span> split(std::int64_t total, std::int64_t per, std::size_t n) {
  std::vector<Span> spans(n, Span{-1, -1});
  stripes::split(total, per, spans);
  return spans;
}
// The stripes' counts, after checking (gtest) that they follow each other from 0.
std::vector<std::int64_t> counts(const std::vector<Span>& spans) {
  std::vector<std::int64_t> c;
  std::int64_t next = 0;
  for (const Span& s : spans) {
    EXPECT_EQ(s.first, next);
    next += s.count;
    c.push_back(s.count);
  }
  return c;
}

using Counts = std::vector<std::int64_t>;

TEST(Stripes, SplitExamples) {
  EXPECT_EQ(counts(split_even(6, 4)), (Counts{1, 1, 1, 3}));
  EXPECT_EQ(counts(split_even(3, 4)), (Counts{0, 0, 0, 3}));  // stripes 0-2 empty
  EXPECT_EQ(counts(split_even(0, 4)), (Counts{0, 0, 0, 0}));
  EXPECT_EQ(counts(split_even(-5, 4)), (Counts{0, 0, 0, 0}));
  EXPECT_EQ(counts(split_even(5, 1)), (Counts{5}));
  // 65536 x 65537 pixels: 64-bit sizes throughout.
  EXPECT_EQ(counts(split_even(std::int64_t{65536} * 65537, 4)), Counts(4, 1073758208));
  // Beyond the sweep below: more per stripe than there is, and a negative per.
  EXPECT_EQ(counts(split(9, 100, 3)), (Counts{9, 0, 0}));
  EXPECT_EQ(counts(split(9, -4, 3)), (Counts{0, 0, 9}));
}

// Every split is contiguous, covers exactly the frame, and gives each stripe
// min(per, max(0, total - k per)) units, the last max(0, total - per (T - 1)).
TEST(Stripes, SplitCoversFrameWithClampedCounts) {
  for (std::int64_t total = 0; total <= 40; ++total) {
    for (std::int64_t per = 0; per <= 12; ++per) {
      for (std::int64_t t = 1; t <= 8; ++t) {
        Counts want;
        for (std::int64_t k = 0; k + 1 < t; ++k) {
          want.push_back(std::min(per, std::max<std::int64_t>(0, total - k * per)));
        }
        want.push_back(std::max<std::int64_t>(0, total - per * (t - 1)));
        ASSERT_EQ(counts(split(total, per, static_cast<std::size_t>(t))), want) << total << " " << per << " " << t;
      }
    }
  }
}

struct Block {
  std::atomic<int>* runs;  // one counter per block, bumped by its kernel
  std::int64_t value;
  std::int64_t doubled;    // written by the kernel
  pxkit::thread_pool_task task;
  std::uint32_t index;
};

std::int32_t double_it(std::uint64_t arg0, std::uint64_t /*arg1*/) {
  auto& b = const_cast<Block&>(stripes::block_of<Block>(arg0));
  b.doubled = 2 * b.value;
  b.runs->fetch_add(1);
  return 0;
}

// Every block's task runs exactly once per run, on pools narrower and wider
// than the stripe count, and its results are visible when run returns. Frames
// of the library's largest stripe count allocate nothing, not even the first:
// the pool makes its queue nodes when it is created.
TEST(Stripes, RunQueuesEveryBlockAndWaitsForAll) {
  for (std::uint32_t threads : {1u, 4u}) {
    pxkit::thread_pool* pool = pxkit::thread_pool_create(threads);
    ASSERT_NE(pool, nullptr);
    std::array<std::atomic<int>, 8> runs{};
    std::array<Block, 8> blocks{};
    stripes::bind(std::span(blocks), double_it);
    const std::uint64_t allocations = pxtest::library_allocations();
    for (int frame = 0; frame < 3; ++frame) {
      for (std::size_t k = 0; k < blocks.size(); ++k) {
        EXPECT_EQ(blocks[k].index, k);
        blocks[k].runs = &runs[k];
        blocks[k].value = frame * 100 + static_cast<std::int64_t>(k);
      }
      ASSERT_EQ(stripes::run(pool, std::span(blocks)), blocks.size());
      for (std::size_t k = 0; k < blocks.size(); ++k) {
        EXPECT_EQ(runs[k].load(), frame + 1);
        EXPECT_EQ(blocks[k].doubled, 2 * blocks[k].value);
      }
    }
    EXPECT_EQ(pxtest::library_allocations(), allocations);
    pxkit::thread_pool_destroy(pool);
  }
}

// A refused task is not waited for: with no pool the first add is refused
// (one message), nothing further is added or waited for (a wait would print
// the message again), and no kernel runs.
TEST(Stripes, RunWaitsOnlyForQueuedTasks) {
  std::array<std::atomic<int>, 4> runs{};
  std::array<Block, 4> blocks{};
  stripes::bind(std::span(blocks), double_it);
  for (std::size_t k = 0; k < blocks.size(); ++k) blocks[k].runs = &runs[k];
  std::size_t queued = 99;
  EXPECT_EQ(pxtest::capture_stdout([&] { queued = stripes::run(nullptr, std::span(blocks)); }),
            "error: invalid params\n");
  EXPECT_EQ(queued, 0u);
  for (const auto& r : runs) EXPECT_EQ(r.load(), 0);
  EXPECT_EQ(pxtest::capture_stdout([&] { queued = stripes::run(nullptr, std::span<Block>()); }), "");
  EXPECT_EQ(queued, 0u);
}

}  // namespace
