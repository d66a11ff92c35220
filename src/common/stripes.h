// Stripes: how a pooled operation cuts a frame into horizontal stripes, runs
// one task per stripe on its context's pool and waits for them.
//
// A pooled context embeds T stripe blocks (T = 4 for the ToF and conversion
// operations, up to 8 for the analysis ones). A block is the operation's own
// struct with at least these two members:
//   thread_pool_task task;   // bound once at setup (bind below)
//   std::uint32_t index;     // 0..T-1, set by bind
// Everything else in it (pointers, sizes, parameters) is the operation's.
//
// Usage, for an operation "op" with blocks `op_stripe` and 12 kernels:
//
//   // op_kernels.h: the table type, one per operation
//   using OpKernelTable = stripes::KernelTable<12>;
//   // op_kernels_vector.cc, inside HWY_NAMESPACE (compiled once per target):
//   #if PXKIT_NATIVE_FMA_TARGET
//   const OpKernelTable* OpVectorKernels() { static constexpr OpKernelTable t = ...; return &t; }
//   #else
//   const OpKernelTable* OpVectorKernels() { return nullptr; }   // scalar reference instead
//   #endif
//   // ... and after HWY_ONCE: HWY_EXPORT(OpVectorKernels);
//   const OpKernelTable& op_kernels() {
//     return stripes::choose_table(HWY_DISPATCH_TABLE(OpVectorKernels), op_scalar_kernels());
//   }
//
//   // A kernel is a thread_pool_func that reads its block:
//   std::int32_t op_kernel(std::uint64_t arg0, std::uint64_t) {
//     const op_stripe& s = stripes::block_of<op_stripe>(arg0);
//     ...; return 0;
//   }
//
//   // setup: pool, then every block runs the chosen kernel
//   ctx->pool = thread_pool_create(threads);            // null: serial path in frames
//   stripes::bind(std::span(ctx->stripes), op_kernels()[index_of(options)]);
//
//   // frame: split (64-bit), fill each block, run
//   stripes::Span spans[kStripes];
//   stripes::split_even(std::int64_t{width} * height, spans);   // or split(rows, rows_per, spans)
//   for (k...) { ctx->stripes[k].dst = dst + spans[k].first * pitch; ctx->stripes[k].rows = spans[k].count; }
//   if (stripes::run(ctx->pool, std::span(ctx->stripes)) != kStripes) { /* pool unusable */ }
//
//   // destroy: thread_pool_destroy(ctx->pool); free the context.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "simd/dispatch.h"
#include "threadpool/thread_pool.h"

// True inside a Highway foreach_target pass (use in #if) when the target being
// compiled is one that setups may choose for vector kernels: those with a
// native fused multiply-add (AVX2, AVX-512, NEON), where hn::MulAdd is the
// single-rounding operation the kernels' definitions require. Other targets
// (SSE4, Highway's emulated and scalar ones) must report no kernel table.
#define PXKIT_NATIVE_FMA_TARGET ((HWY_TARGET & PXKIT_VECTOR_TARGET_BITS) != 0)

namespace pxkit::stripes {

// One stripe's share of a frame: `count` units (pixels, elements or rows)
// starting at unit `first`. Always 0 <= first, 0 <= count and
// first + count <= the total that was split, so an empty stripe never points
// past its frame.
struct Span {
  std::int64_t first;
  std::int64_t count;
};

// Cuts `total` units into spans.size() stripes of `per` units: stripe k < T-1
// gets min(per, max(0, total - k*per)) units and the last stripe
// max(0, total - per*(T-1)); stripe k starts at min(k*per, total). A negative
// total or per counts as 0. Whenever per*(T-1) <= total this is the plain rule
// "per units each, the last takes the rest"; otherwise the trailing stripes are
// empty instead of reaching past the frame.
constexpr void split(std::int64_t total, std::int64_t per, std::span<Span> spans) {
  total = std::max<std::int64_t>(total, 0);
  per = std::clamp<std::int64_t>(per, 0, total);  // same result, and k*per cannot overflow
  const auto stripes = static_cast<std::int64_t>(spans.size());
  for (std::int64_t k = 0; k < stripes; ++k) {
    const std::int64_t first = std::min(k * per, total);
    const std::int64_t count = k + 1 < stripes ? std::min(per, total - first) : total - first;
    spans[static_cast<std::size_t>(k)] = {first, count};
  }
}

// The split of the four-stripe operations: total / T units (truncating) for
// every stripe but the last, which takes the rest (6 pixels: 1, 1, 1, 3).
constexpr void split_even(std::int64_t total, std::span<Span> spans) {
  const auto stripes = static_cast<std::int64_t>(spans.size());
  split(total, stripes == 0 ? 0 : std::max<std::int64_t>(total, 0) / stripes, spans);
}

// Setup: every block's task runs `kernel` with arg0 = that block and arg1 = 0;
// block k gets index k. `kernel` may be null (the pool then reports
// "error: invalid task" and passes the task on as finished).
template <class Block, std::size_t E>
void bind(std::span<Block, E> blocks, thread_pool_func kernel) {
  for (std::size_t k = 0; k < blocks.size(); ++k) {
    blocks[k].task = thread_pool_task{kernel, reinterpret_cast<std::uintptr_t>(&blocks[k]), 0, 0};
    blocks[k].index = static_cast<std::uint32_t>(k);
  }
}

// Kernel side: the block whose task is running (arg0 as bind set it).
template <class Block>
const Block& block_of(std::uint64_t arg0) {
  return *reinterpret_cast<const Block*>(static_cast<std::uintptr_t>(arg0));
}

// Frame: adds the blocks' tasks in order and then waits once for every task
// that was queued. Stops adding at the first refusal (the pool is null or
// stopped, and thread_pool_add_task has printed "error: invalid params") and
// never waits for a task that was not queued. Returns the number queued:
// blocks.size() on success. The blocks may be rewritten once this returns.
template <class Block, std::size_t E>
std::size_t run(thread_pool* pool, std::span<Block, E> blocks) {
  std::size_t queued = 0;
  while (queued < blocks.size() && thread_pool_add_task(pool, &blocks[queued].task) == 0) ++queued;
  for (std::size_t k = 0; k < queued; ++k) thread_pool_wait(pool);
  return queued;
}

// A family of N stripe kernels in the operation's own index order (one
// specialised kernel per option combination). Every kernel family has a
// scalar reference table and, per vector target, a table of the same order.
template <std::size_t N>
using KernelTable = std::array<thread_pool_func, N>;

// Setup: the table of the best target that the CPU runs and the tests allow
// (simd::select over HWY_DISPATCH_TABLE(getter), getters returning
// `const KernelTable<N>*` or null), else `scalar`.
template <class Getter, std::size_t M, std::size_t N>
const KernelTable<N>& choose_table(Getter const (&getters)[M], const KernelTable<N>& scalar) {
  const auto getter = simd::select(getters);
  const KernelTable<N>* vector = getter != nullptr ? getter() : nullptr;
  return vector != nullptr ? *vector : scalar;
}

}  // namespace pxkit::stripes
