// Sparse Scharr gradients through the public API against a literal reference,
// on the scalar path and every vector target; both grid paths; the documented
// corner cases.
#include <pxkit.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "common/memory.h"
#include "scale/image_test_util.h"

namespace {

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
Grid reference(const std::vector<std::uint8_t>& img, int w, int h, int step) {
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
Grid run(const std::vector<std::uint8_t>& img, int w, int h, int step, std::size_t expected) {
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

std::vector<std::uint8_t> random_image(int w, int h) {
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
  for (const auto& [p, w, h, step] : {std::tuple{&ctx, 0, 4, 1}, {&ctx, 4, 0, 1}, {&ctx, 4, 4, 0}, {nullptr, 4, 4, 1}}) {
    int32_t status = 0;
    EXPECT_EQ(pxtest::capture_stdout([&] { status = init_sparse_scharr_ctx(p, w, h, step); }), "bad params\n");
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
      {"forced right mirror", 48, 13, 4, random_image(48, 13), 12 * 3, [](const Grid& g, int sw, int r, int j) {
         const int m = g.magnitude[r * sw + j], c = g.code[r * sw + j];
         return j < sw - 1 || c == code_of(0, m) || c == code_of(0, -m);
       }},
      {"0 to 255 step", 33, 5, 1, step, 33 * 3, [](const Grid& g, int, int r, int j) {
         return r > 0 || (g.magnitude[j] == 255 && g.code[j] == code_of(0, 255));  // r = 1: t = 0, b = 255
       }},
      {"3x3 step 1", 3, 3, 1, random_image(3, 3), 3, nullptr},
      {"one pixel wide", 1, 6, 1, random_image(1, 6), 4, nullptr},
      {"height 2", 16, 2, 1, random_image(16, 2), 0, nullptr}};
  for (const std::int64_t target : imgtest::all_targets()) {
    pxtest::ScopedTarget scoped(target);
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(c.name) + " on " + pxtest::target_label(target));
      const Grid want = reference(c.img, c.w, c.h, c.step);
      ASSERT_EQ(want.magnitude.size(), c.points);
      const Grid got = run(c.img, c.w, c.h, c.step, c.points);
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
        const auto img = random_image(w, h);
        const Grid want = reference(img, w, h, step);
        const Grid got = run(img, w, h, step, want.magnitude.size());
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
