// The Scharr operators through the public API against literal definitions on
// the scalar path and every vector target: edge suppression (s1), pooled and
// single-threaded, with its stripe split, refusals and documented corner
// cases; sparse gradients on both grid paths with their corner cases.
#include <pxkit.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "analysis/scharr_s1_context.h"
#include "common/memory.h"
#include "scale/image_test_util.h"
#include "threadpool/thread_pool.h"

namespace {

using imgtest::same;

// Owner that also stops the pool, which deinit deliberately leaves running.
struct S1Deleter {
  void operator()(void* ctx) const {
    if (ctx == nullptr) return;
    pxkit::thread_pool_destroy(static_cast<sparse_scharr_s1_ctx*>(ctx)->pool);
    deinit_sparse_scharr_s1_ctx(ctx);
  }
};
using S1 = std::unique_ptr<void, S1Deleter>;

S1 make_s1(std::uint32_t threads, std::uint32_t w, std::uint32_t h, std::int64_t target = -1) {
  pxtest::ScopedTarget scoped(target);
  return S1(init_sparse_scharr_s1_ctx(threads, w, h));
}

const sparse_scharr_s1_ctx& internals(const S1& s) { return *static_cast<sparse_scharr_s1_ctx*>(s.get()); }

// The definition, pixel by pixel.
template <class T>
std::vector<T> reference(const std::vector<T>& p, std::size_t w, std::size_t h, float threshold,
                         bool relative = false, float epsilon = 1e-5f) {
  std::vector<T> out(w * h, T{0});
  for (std::size_t r = 1; r + 1 < h; ++r) {
    for (std::size_t c = 1; c + 1 < w; ++c) {
      const T* t = &p[(r - 1) * w + c];
      const T* m = &p[r * w + c];
      const T* b = &p[(r + 1) * w + c];
      using A = std::conditional_t<std::is_same_v<T, float>, float, long>;
      const A s_t = A(3) * (t[-1] + t[1]) + A(10) * t[0], s_b = A(3) * (b[-1] + b[1]) + A(10) * b[0];
      const A gx = A(3) * ((t[1] - t[-1]) + (b[1] - b[-1])) + A(10) * (m[1] - m[-1]);
      const A sum = std::abs(gx) + std::abs(s_b - s_t);
      bool cut;
      if constexpr (std::is_same_v<T, float>) cut = relative ? sum / (m[0] + epsilon) > threshold : sum > threshold;
      else cut = sum > static_cast<long>(std::trunc(threshold));
      out[r * w + c] = cut ? T{0} : m[0];
    }
  }
  return out;
}

template <class T>
std::vector<T> random_image(std::size_t n) {
  if constexpr (std::is_same_v<T, float>) {
    // Depths with noise, plus values that stress the sums: huge, tiny,
    // negative, infinities, NaN, signed zeros.
    const float specials[] = {0.0f, -0.0f, 1e-40f, 3e38f, -3e38f, std::numeric_limits<float>::infinity(),
                              std::bit_cast<float>(0x7FC00123u), -1.0f, 65535.0f};
    std::vector<float> v(n);
    std::uniform_real_distribution<float> depth(0.0f, 4.0f);
    std::uniform_int_distribution<int> pick(0, 40);
    for (float& x : v) {
      const int k = pick(pxtest::rng());
      x = k < static_cast<int>(std::size(specials)) ? specials[k] : depth(pxtest::rng());
    }
    return v;
  } else {
    auto v = pxtest::random_ints<std::uint16_t>(n, 0, 65535);
    for (std::size_t i = 0; i < n; i += 5) v[i] = static_cast<std::uint16_t>(1000 + i % 7);
    return v;
  }
}

// Runs one frame into a result with guard words before and after it; the
// frame must allocate nothing.
template <class T>
std::vector<T> run(void* ctx, const std::vector<T>& src, float threshold, bool v2 = false,
                   std::uint32_t dynamic = 0, float epsilon = 0.0f) {
  constexpr std::size_t kGuard = 16;
  std::vector<T> dst(src.size() + 2 * kGuard), guard(kGuard);
  std::memset(dst.data(), imgtest::kGuard, dst.size() * sizeof(T));
  std::memset(guard.data(), imgtest::kGuard, kGuard * sizeof(T));
  const std::uint32_t type = std::is_same_v<T, float> ? SPARSE_SCHARR_S1_F32 : SPARSE_SCHARR_S1_U16;
  const std::uint64_t before = pxtest::library_allocations();
  v2 ? do_sparse_scharr_s1_v2(ctx, src.data(), dst.data() + kGuard, dynamic, type, threshold, epsilon)
     : do_sparse_scharr_s1(ctx, src.data(), dst.data() + kGuard, type, threshold);
  EXPECT_EQ(pxtest::library_allocations(), before) << "a frame allocated";
  EXPECT_TRUE(same(std::vector<T>(dst.begin(), dst.begin() + kGuard), guard)) << "write before the result";
  EXPECT_TRUE(same(std::vector<T>(dst.end() - kGuard, dst.end()), guard)) << "write after the result";
  return {dst.begin() + kGuard, dst.end() - kGuard};
}

TEST(ScharrS1Init, StripesThreadsAndRefusals) {
  // Threads clamped to 8 stripes; more than a pool's 32 workers, or no worker
  // starting: single-threaded with one stripe (printed null: the report varies).
  struct Case { std::uint32_t threads, stripes; bool pool, fail_start; const char* printed; };
  for (const Case c : {Case{0, 0, false, false, ""}, Case{1, 1, false, false, ""}, Case{2, 2, true, false, ""},
                       Case{8, 8, true, false, ""}, Case{12, 8, true, false, ""}, Case{4, 1, false, true, nullptr},
                       Case{33, 1, false, false, "thread number 33 exceed max 32\nerror: thread pool create fail\n"}}) {
    std::optional<pxtest::ScopedThreadStartFailure> fail;
    if (c.fail_start) fail.emplace();
    S1 ctx;
    const std::string out = pxtest::capture_stdout([&] { ctx = make_s1(c.threads, 64, 20); });
    ASSERT_NE(ctx, nullptr);
    const bool no_pool = out.find("error: thread pool create fail\n") != std::string::npos;
    EXPECT_TRUE(c.printed != nullptr ? out == c.printed : no_pool) << c.threads << ": " << out;
    EXPECT_TRUE(internals(ctx).number_of_parallel == c.stripes && (internals(ctx).pool != nullptr) == c.pool)
        << c.threads;
  }
  for (const auto& [w, h] : {std::pair{0u, 5u}, {5u, 0u}})
    EXPECT_EQ(pxtest::capture_stdout([&] { EXPECT_EQ(init_sparse_scharr_s1_ctx(2, w, h), nullptr); }),
              "bad params\n");
  // Every allocation of a setup failing in turn: null, "no memory", nothing left.
  for (const std::uint32_t threads : {1u, 3u}) {
    for (int n = 0;; ++n) {
      pxkit::mem::fail_allocation_after(n);
      S1 ctx;
      const std::string out = pxtest::capture_stdout([&] { ctx = make_s1(threads, 32, 8); });
      pxkit::mem::fail_allocation_after(-1);
      if (ctx != nullptr) break;
      EXPECT_NE(out.find("no memory"), std::string::npos) << out;
      ASSERT_LT(n, 64);
    }
  }
  deinit_sparse_scharr_s1_ctx(nullptr);
}

// deinit frees the context but leaves its pool running.
TEST(ScharrS1Init, DeinitLeavesThePoolRunning) {
  void* ctx = init_sparse_scharr_s1_ctx(2, 8, 8);
  pxkit::thread_pool* pool = static_cast<sparse_scharr_s1_ctx*>(ctx)->pool;
  deinit_sparse_scharr_s1_ctx(ctx);
  pxkit::thread_pool_task task{[](std::uint64_t, std::uint64_t) { return 7; }, 0, 0, 0};
  ASSERT_EQ(pxkit::thread_pool_add_task(pool, &task), 0);
  EXPECT_EQ(pxkit::thread_pool_wait(pool)->result, 7);
  pxkit::thread_pool_destroy(pool);
}

TEST(ScharrS1, RefusalsAndMessages) {
  const S1 pooled = make_s1(2, 8, 6), single = make_s1(1, 8, 6);
  std::vector<float> src(48, 1.0f), dst(48, 5.0f);
  for (void* ctx : {pooled.get(), single.get()}) {
    const auto say = [&](std::uint32_t type, const float* s, float* d, int dynamic) {  // -1: first version
      return pxtest::capture_stdout([&] {
        dynamic < 0 ? do_sparse_scharr_s1(ctx, s, d, type, 1.0f)
                    : do_sparse_scharr_s1_v2(ctx, s, d, static_cast<std::uint32_t>(dynamic), type, 1.0f, 0.0f);
      });
    };
    EXPECT_EQ(say(2, nullptr, dst.data(), -1), "bad params\n");
    EXPECT_EQ(say(2, src.data(), nullptr, 0), "bad params\n");
    EXPECT_EQ(say(3, src.data(), dst.data(), -1), "data type is invalid, 3\n");
    EXPECT_EQ(say(0, src.data(), dst.data(), 1), "data type is invalid, 0\n");
  }
  EXPECT_EQ(pxtest::capture_stdout([&] { do_sparse_scharr_s1(nullptr, src.data(), dst.data(), 2, 1.0f); }),
            "bad params\n");
  EXPECT_TRUE(same(dst, std::vector<float>(48, 5.0f)));
  // u16 with the relative test: refused on the pooled path after clearing the
  // result; the single-threaded path ignores the flag.
  std::vector<std::uint16_t> s16(48, 100), d16(48, 7);
  EXPECT_EQ(pxtest::capture_stdout([&] { do_sparse_scharr_s1_v2(pooled.get(), s16.data(), d16.data(), 1, 1, 1, 0); }),
            "not support dynamic normalization for u16 now\n");
  EXPECT_TRUE(same(d16, std::vector<std::uint16_t>(48, 0)));
  EXPECT_EQ(pxtest::capture_stdout([&] { do_sparse_scharr_s1_v2(single.get(), s16.data(), d16.data(), 1, 1, 1, 0); }),
            "");
  EXPECT_TRUE(same(d16, reference(s16, 8, 6, 1.0f)));
  // In place: cleared first, so the result is all 0.
  do_sparse_scharr_s1(pooled.get(), s16.data(), s16.data(), 1, 1000.0f);
  EXPECT_TRUE(same(s16, std::vector<std::uint16_t>(48, 0)));
}

// The documented corner cases, pooled and single-threaded.
TEST(ScharrS1, CornerCases) {
  for (const std::uint32_t threads : {1u, 3u}) {
    SCOPED_TRACE(threads);
    {  // A constant image comes back with a zero frame.
      const S1 ctx = make_s1(threads, 9, 7);
      const std::vector<std::uint16_t> src(63, 4242);
      const auto out = run(ctx.get(), src, 0.0f);
      for (std::size_t r = 0; r < 7; ++r)
        for (std::size_t c = 0; c < 9; ++c)
          EXPECT_EQ(out[r * 9 + c], r == 0 || r == 6 || c == 0 || c == 8 ? 0 : 4242);
      const std::vector<float> f(63, 2.5f);
      EXPECT_TRUE(same(run(ctx.get(), f, 0.0f), reference(f, 9, 7, 0.0f)));
    }
    {  // A step of 1 between rows 3 and 4: |gy| = 16 next to it.
      const S1 ctx = make_s1(threads, 12, 8);
      std::vector<std::uint16_t> src(96, 500);
      std::fill(src.begin() + 4 * 12, src.end(), 501);
      const auto at15 = run(ctx.get(), src, 15.0f);
      for (std::size_t r = 1; r < 7; ++r)
        for (std::size_t c = 1; c < 11; ++c)
          EXPECT_EQ(at15[r * 12 + c], r == 3 || r == 4 ? 0 : src[r * 12 + c]) << r << "," << c;
      EXPECT_TRUE(same(run(ctx.get(), src, 15.9f), at15));
      EXPECT_TRUE(same(run(ctx.get(), src, 16.0f), reference(src, 12, 8, 16.0f)));
      EXPECT_EQ(run(ctx.get(), src, 16.0f)[3 * 12 + 5], 500);
      // A negative threshold: every interior pixel fails the signed comparison.
      const auto negative = run(ctx.get(), src, -0.5f);  // truncates to 0: the flat rows stay
      EXPECT_EQ(negative[1 * 12 + 5], 500);
      EXPECT_TRUE(same(run(ctx.get(), src, -1.0f), std::vector<std::uint16_t>(96, 0)));
    }
    for (const std::uint32_t h : {1u, 2u}) {  // no interior rows
      const S1 ctx = make_s1(threads, 10, h);
      EXPECT_TRUE(same(run(ctx.get(), random_image<float>(10 * h), 1e30f), std::vector<float>(10 * h, 0.0f)));
    }
  }
}

// Every target against the definition: widths across three vectors plus
// tails, both types, both tests, pooled and single-threaded, epsilon 0.
TEST(ScharrS1, EveryTargetMatchesTheDefinition) {
  for (const std::int64_t target : imgtest::all_targets()) {
    SCOPED_TRACE(pxtest::target_label(target));
    for (std::uint32_t w = 1; w <= 3 * 16 + 3; ++w) {
      const std::uint32_t h = 3 + w % 6;
      const S1 single = make_s1(1, w, h, target), pooled = make_s1(3, w, h, target);
      const auto u = random_image<std::uint16_t>(w * h);
      const auto f = random_image<float>(w * h);
      const float thr = static_cast<float>(w * 9000 % 300000) + 0.75f;
      const auto want_u = reference(u, w, h, thr);
      const auto want_f = reference(f, w, h, 3.0f);
      const auto want_rel = reference(f, w, h, 0.4f, true, 0.25f);
      for (void* ctx : {single.get(), pooled.get()}) {
        ASSERT_TRUE(same(run(ctx, u, thr), want_u)) << "u16 width " << w;
        ASSERT_TRUE(same(run(ctx, f, 3.0f), want_f)) << "f32 width " << w;
        ASSERT_TRUE(same(run(ctx, f, 3.0f, true, 0, 0.25f), want_f)) << "v2 off width " << w;
      }
      ASSERT_TRUE(same(run(pooled.get(), f, 0.4f, true, 1, 0.25f), want_rel)) << "relative width " << w;
      // Epsilon 0 means 1e-5 (zero pixels divide by it alone).
      ASSERT_TRUE(same(run(pooled.get(), f, 1e6f, true, 1, 0.0f), reference(f, w, h, 1e6f, true, 1e-5f)));
      // The single-threaded path ignores the relative test.
      ASSERT_TRUE(same(run(single.get(), f, 0.4f, true, 1, 0.25f), reference(f, w, h, 0.4f)));
    }
  }
}

// Small heights with every thread count: the clamped split covers each
// interior row exactly once and nothing outside the result.
TEST(ScharrS1, SmallHeightsWithEveryThreadCount) {
  for (std::uint32_t h = 1; h <= 12; ++h) {
    const auto u = random_image<std::uint16_t>(7 * h);
    const auto want = reference(u, 7, h, 120000.0f);
    for (std::uint32_t threads = 1; threads <= 12; ++threads) {
      const S1 ctx = make_s1(threads, 7, h);
      std::uint32_t rows = 0;
      for (std::uint32_t k = 0; k < internals(ctx).number_of_parallel; ++k) rows += internals(ctx).stripes[k].rows;
      EXPECT_TRUE(threads == 1 || rows == (h > 2 ? h - 2 : 0)) << h << " rows, " << threads << " threads";
      EXPECT_TRUE(same(run(ctx.get(), u, 120000.0f), want)) << h << " rows, " << threads << " threads";
    }
  }
}

// ---- Sparse Scharr gradients ----

// A table whose every entry differs from its neighbours, so a wrong index shows.
const std::vector<std::uint8_t>& code_table() {
  static const std::vector<std::uint8_t> table = [] {
    std::vector<std::uint8_t> t(512 * 512);
    for (std::size_t i = 0; i < t.size(); ++i) t[i] = static_cast<std::uint8_t>((i * 2654435761u) >> 13);
    return t;
  }();
  return table;
}
std::uint8_t code_of(int gx, int gy) { return code_table()[(gy + 256) * 512 + gx + 256]; }

struct Grid { std::vector<std::uint8_t> magnitude, code; };

// The definition, point by point: s and d with the mirror rules, then gx, gy.
Grid grid_reference(const std::vector<std::uint8_t>& img, int w, int h, int step) {
  Grid out;
  const int sw = w / step, sh = h / step, limit = sh * step - 1;
  const bool exact = sw * step == w;
  for (int r = 1; r < limit; r += step) {
    for (int j = 0; j < sw; ++j) {
      const int c = j * step;
      int s[3], d[3];
      for (int i = 0; i < 3; ++i) {
        const std::uint8_t* p = &img[static_cast<std::size_t>(r - 1 + i) * w];
        if (j == 0) s[i] = 10 * p[0] + 6 * (w > 1 ? p[1] : p[0]), d[i] = 0;  // mirrored at the left
        else if (j == sw - 1 && exact) s[i] = 10 * p[c] + 6 * p[c - 1], d[i] = 0;  // and at an exact right edge
        else s[i] = 3 * p[c - 1] + 10 * p[c] + 3 * p[c + 1], d[i] = p[c + 1] - p[c - 1];
      }
      const int gy = (s[2] - s[0]) >> 4, gx = (3 * d[0] + 10 * d[1] + 3 * d[2]) >> 4;
      out.magnitude.push_back(static_cast<std::uint8_t>(std::min(std::abs(gx) + std::abs(gy), 255)));
      out.code.push_back(code_of(gx, gy));
    }
  }
  return out;
}

// Runs the API on `img`; outputs end at an inaccessible page and are checked
// to have been written exactly over the expected grid; frames allocate nothing.
Grid run_grid(const std::vector<std::uint8_t>& img, int w, int h, int step, std::size_t expected) {
  sparse_scharr_ctx ctx;
  EXPECT_EQ(init_sparse_scharr_ctx(&ctx, w, h, step), 0);
  pxtest::PageEndBuffer src(img.size()), mag(expected), code(expected);
  if (!img.empty()) std::memcpy(src.data(), img.data(), img.size());
  const std::uint64_t before = pxtest::library_allocations();
  EXPECT_EQ(do_sparse_scharr(&ctx, code_table().data(), src.as<std::uint8_t>(), mag.as<std::uint8_t>(),
                             code.as<std::uint8_t>()), 0);
  EXPECT_EQ(pxtest::library_allocations(), before) << "a frame allocated";
  deinit_sparse_scharr_ctx(&ctx);
  const auto* m = mag.as<std::uint8_t>();
  const auto* c = code.as<std::uint8_t>();
  return {{m, m + expected}, {c, c + expected}};
}

std::vector<std::uint8_t> random_bytes(int w, int h) {
  auto img = pxtest::random_ints<std::uint8_t>(static_cast<std::size_t>(w) * h, 0, 255);
  // Runs of extremes reach the largest sums.
  for (std::size_t i = 0; i < img.size(); i += 7) img[i] = (i / 7) % 2 ? 255 : 0;
  return img;
}

TEST(SparseScharrInit, FillsTheGridAndRefusesBadParams) {
  struct Case { int w, h, step, sw, sh, limit; bool rows; };
  const Case cases[] = {{640, 480, 1, 640, 480, 479, true}, {641, 481, 2, 320, 240, 479, false},
                        {1280, 720, 4, 320, 180, 719, true}, {7, 5, 3, 2, 1, 2, true},
                        {2, 2, 5, 0, 0, -1, true},          {-8, 6, -2, 4, -3, 5, true}};
  for (const Case& c : cases) {
    sparse_scharr_ctx ctx;
    std::memset(&ctx, 0x5A, sizeof ctx);
    ASSERT_EQ(init_sparse_scharr_ctx(&ctx, c.w, c.h, c.step), 0);
    EXPECT_TRUE(ctx.sparse_width == c.sw && ctx.sparse_height == c.sh && ctx.row_limit == c.limit) << c.w;
    for (int i = 0; i < 3; ++i) EXPECT_TRUE((ctx.smooth[i] != nullptr) == c.rows && (ctx.diff[i] != nullptr) == c.rows);
    EXPECT_TRUE(!c.rows || ctx.diff[2] - ctx.smooth[0] == 5 * (c.sw + 2));  // one block of six rows
    deinit_sparse_scharr_ctx(&ctx);
  }
  EXPECT_EQ(sizeof(sparse_scharr_ctx), 72u);
  sparse_scharr_ctx ctx{};
  for (const auto& [p, w, h, s] : {std::tuple{&ctx, 0, 4, 1}, {&ctx, 4, 0, 1}, {&ctx, 4, 4, 0}, {nullptr, 4, 4, 1}}) {
    int32_t status = 0;
    EXPECT_EQ(pxtest::capture_stdout([&] { status = init_sparse_scharr_ctx(p, w, h, s); }), "bad params\n");
    EXPECT_EQ(status, -1);
  }
  pxkit::mem::fail_allocation_after(0);
  int32_t status = 0;
  const std::string out = pxtest::capture_stdout([&] { status = init_sparse_scharr_ctx(&ctx, 64, 8, 3); });
  pxkit::mem::fail_allocation_after(-1);
  EXPECT_EQ(out, "no memory\n");
  EXPECT_EQ(status, -2);
  EXPECT_EQ(ctx.smooth[0], nullptr);
  deinit_sparse_scharr_ctx(&ctx);  // nothing to free
  deinit_sparse_scharr_ctx(nullptr);
}

TEST(SparseScharr, NullArgumentsWriteNothing) {
  sparse_scharr_ctx ctx;
  ASSERT_EQ(init_sparse_scharr_ctx(&ctx, 8, 8, 1), 0);
  std::vector<std::uint8_t> img(64, 9), mag(64, 0xEE), code(64, 0xEE);
  const std::uint8_t* t = code_table().data();
  for (int missing = 0; missing < 5; ++missing) {  // each argument null in turn
    EXPECT_EQ(pxtest::capture_stdout([&] {
                do_sparse_scharr(missing == 0 ? nullptr : &ctx, missing == 1 ? nullptr : t,
                                 missing == 2 ? nullptr : img.data(), missing == 3 ? nullptr : mag.data(),
                                 missing == 4 ? nullptr : code.data());
              }), "bad params\n");
  }
  EXPECT_EQ(mag, std::vector<std::uint8_t>(mag.size(), 0xEE));
  deinit_sparse_scharr_ctx(&ctx);
  // A general-step context whose rows were freed is refused, not dereferenced.
  EXPECT_EQ(pxtest::capture_stdout([&] { do_sparse_scharr(&ctx, t, img.data(), mag.data(), code.data()); }),
            "bad params\n");
}

// The documented corner cases, each on every target; `holds` is checked at
// every grid point (row r, column j of sw).
TEST(SparseScharr, CornerCases) {
  std::vector<std::uint8_t> edge(40 * 6, 0), step(33 * 5, 0);
  for (int r = 0; r < 6; ++r) edge[r * 40] = 255;
  std::fill(step.begin() + 2 * 33, step.end(), 255);  // rows 2.. are 255
  using Holds = bool (*)(const Grid& g, int sw, int r, int j);
  struct Case { const char* name; int w, h, step; std::vector<std::uint8_t> img; std::size_t points; Holds holds; };
  const Case cases[] = {
      {"uniform", 37, 9, 2, std::vector<std::uint8_t>(37 * 9, 77), 18 * 3, [](const Grid& g, int sw, int r, int j) {
         return g.magnitude[r * sw + j] == 0 && g.code[r * sw + j] == code_of(0, 0);
       }},
      // Column 0: gx = 0 by the mirror, gy = 0; column 1: d = -255 in all three rows.
      {"edge at column 0", 40, 6, 1, edge, 40 * 4,
       [](const Grid& g, int sw, int r, int j) { return j > 1 || g.magnitude[r * sw + j] == (j == 0 ? 0 : 255); }},
      // gx = 0 at the last column, so the magnitude is |gy| and the code is that of (0, gy).
      {"forced right mirror", 48, 13, 4, random_bytes(48, 13), 12 * 3, [](const Grid& g, int sw, int r, int j) {
         const int m = g.magnitude[r * sw + j], c = g.code[r * sw + j];
         return j < sw - 1 || c == code_of(0, m) || c == code_of(0, -m);
       }},
      {"0 to 255 step", 33, 5, 1, step, 33 * 3, [](const Grid& g, int, int r, int j) {
         return r > 0 || (g.magnitude[j] == 255 && g.code[j] == code_of(0, 255));  // r = 1: t = 0, b = 255
       }},
      {"3x3 step 1", 3, 3, 1, random_bytes(3, 3), 3, nullptr},
      {"one pixel wide", 1, 6, 1, random_bytes(1, 6), 4, nullptr},
      {"height 2", 16, 2, 1, random_bytes(16, 2), 0, nullptr}};
  for (const std::int64_t target : imgtest::all_targets()) {
    pxtest::ScopedTarget scoped(target);
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(c.name) + " on " + pxtest::target_label(target));
      const Grid want = grid_reference(c.img, c.w, c.h, c.step);
      ASSERT_EQ(want.magnitude.size(), c.points);
      const Grid got = run_grid(c.img, c.w, c.h, c.step, c.points);
      EXPECT_EQ(got.magnitude, want.magnitude);
      EXPECT_EQ(got.code, want.code);
      const int sw = c.w / c.step;
      for (std::size_t i = 0; c.holds != nullptr && i < c.points; ++i)
        EXPECT_TRUE(c.holds(got, sw, static_cast<int>(i) / sw, static_cast<int>(i) % sw)) << "point " << i;
    }
  }
}

// Widths from 1 to past three vectors of grid points, every step that has a
// kernel of its own and two that have not, on every target.
TEST(SparseScharr, EveryTargetMatchesTheDefinition) {
  for (const std::int64_t target : imgtest::all_targets()) {
    pxtest::ScopedTarget scoped(target);
    SCOPED_TRACE(pxtest::target_label(target));
    for (const int step : {1, 2, 3, 4, 5}) {
      const int max_w = step * 100 + step;
      for (int w = 1; w <= max_w; w += (w < 3 * step + 3 ? 1 : step == 1 ? 1 : 1 + w % 3)) {
        const int h = 3 + (w % 5) * step;
        const auto img = random_bytes(w, h);
        const Grid want = grid_reference(img, w, h, step);
        const Grid got = run_grid(img, w, h, step, want.magnitude.size());
        ASSERT_EQ(got.magnitude, want.magnitude) << "step " << step << " width " << w;
        ASSERT_EQ(got.code, want.code) << "step " << step << " width " << w;
      }
    }
  }
}

TEST(SparseScharr, NegativeSizesComputeNothing) {
  sparse_scharr_ctx ctx;
  std::vector<std::uint8_t> img(64 * 64, 3), mag(64 * 64, 0xEE), code(64 * 64, 0xEE);
  for (const auto& [w, h, step] : {std::array{-8, 6, -2}, std::array{-9, 10, -1}, std::array{-10, -10, 2}}) {
    ASSERT_EQ(init_sparse_scharr_ctx(&ctx, w, h, step), 0);
    do_sparse_scharr(&ctx, code_table().data(), img.data(), mag.data(), code.data());
    deinit_sparse_scharr_ctx(&ctx);
  }
  EXPECT_EQ(mag, std::vector<std::uint8_t>(mag.size(), 0xEE));
  // A negative number of grid columns cannot be given rows.
  EXPECT_EQ(pxtest::capture_stdout([&] { EXPECT_EQ(init_sparse_scharr_ctx(&ctx, 10, 10, -3), -2); }),
            "no memory\n");
}

}  // namespace
