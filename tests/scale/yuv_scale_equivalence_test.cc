// Every driver (whole frame with either flag, banded, repeated frames) on
// every target against a per-pixel model of the definitions, with zero
// tolerance. Sources end at an inaccessible page right after the last byte
// the scaler may read (the one-beyond row and column when up-scaling);
// destinations carry guard bytes around the planes.
#include <string>
#include <vector>

#include "scale/yuv_test_util.h"

namespace {

using yuv_test::Geometry;

// Runs all drivers of `method` on g against the model, on every target, on a
// random source (fill < 0) or one filled with `fill`. Frames allocate nothing.
// Returns the model's planes.
yuv_test::Planes check_all_drivers(const Geometry& g, std::uint32_t method, std::uint32_t pad, int fill = -1) {
  yuv_test::Source src(g, method, pad);
  if (fill >= 0) src.fill(static_cast<std::uint8_t>(fill));
  const yuv_test::Planes want = yuv_test::model(src, g, method);
  for (std::int64_t target : imgtest::all_targets()) {
    SCOPED_TRACE(std::to_string(g.sw) + "x" + std::to_string(g.sh) + " -> " + std::to_string(g.dw) + "x" +
                 std::to_string(g.dh) + " fill " + std::to_string(fill) + " on " + pxtest::target_label(target));
    const pxtest::ScopedTarget scoped(target);
    const auto whole = yuv_test::make_context(g, method, 0);
    const auto table_rows = yuv_test::make_context(g, method, PXKIT_SCALE_FLAG_TABLE_ROWS);
    const auto banded = yuv_test::make_context(g, method, PXKIT_SCALE_FLAG_BANDED);
    EXPECT_TRUE(whole != nullptr && table_rows != nullptr && banded != nullptr);
    if (whole == nullptr || table_rows == nullptr || banded == nullptr) break;
    const std::uint64_t before = pxtest::library_allocations();
    EXPECT_TRUE(yuv_test::run(whole.get(), src, g, false, 5) == want) << "whole frame";
    EXPECT_TRUE(yuv_test::run(table_rows.get(), src, g, false, 5) == want) << "table rows";
    EXPECT_TRUE(yuv_test::run(banded.get(), src, g, true, 3) == want) << "banded";
    // The call after the last band starts the next frame at row 0.
    EXPECT_TRUE(yuv_test::run(banded.get(), src, g, true, 3) == want) << "banded, second frame";
    EXPECT_EQ(pxtest::library_allocations(), before);
  }
  return want;
}

TEST(YuvScaleEquivalence, BilinearUpAndDownOddSizes) {
  const Geometry sizes[] = {
      {2, 2, 3, 3},     {8, 6, 13, 9},     {5, 4, 4, 3},      {33, 35, 17, 20},
      {64, 48, 37, 29}, {17, 33, 40, 70},  {100, 60, 64, 50}, {9, 40, 70, 17},
      {240, 135, 160, 90}, {7, 5, 130, 47}, {160, 37, 21, 100}, {31, 97, 31, 45},
      {44, 30, 44, 61},  {3, 2, 2, 3}};
  std::uint32_t pad = 0;
  for (const Geometry& g : sizes) check_all_drivers(g, PXKIT_SCALE_BILINEAR, pad++ % 4);
}

TEST(YuvScaleEquivalence, AreaOddSizesAndLongSpans) {
  const Geometry sizes[] = {
      {3, 3, 2, 2},     {5, 4, 4, 3},      {8, 8, 4, 4},     {64, 48, 37, 29},
      {97, 71, 30, 17}, {200, 40, 7, 3},   {40, 36, 39, 35}, {240, 135, 160, 90},
      {33, 70, 32, 33}, {301, 19, 150, 2}, {9, 200, 2, 37}};
  std::uint32_t pad = 0;
  for (const Geometry& g : sizes) check_all_drivers(g, PXKIT_SCALE_AREA, pad++ % 4);
}

// A uniform frame stays uniform: exactly v for power-of-two box factors, v or
// v - 1 elsewhere for area (truncation); exactly v for bilinear.
TEST(YuvScaleEquivalence, UniformFramesStayUniform) {
  struct Case {
    Geometry g;
    std::uint32_t method;
    bool exact;
  };
  for (const Case& c : {Case{{16, 16, 8, 4}, 3, true}, Case{{90, 60, 61, 41}, 3, false}, Case{{45, 33, 7, 5}, 3, false},
                        Case{{30, 20, 71, 33}, 2, true}, Case{{70, 40, 33, 17}, 2, true}})
    for (int v : {0, 1, 77, 128, 255})
      for (const auto& plane : check_all_drivers(c.g, c.method, 1, v).p)
        for (std::uint8_t x : plane) ASSERT_TRUE(x == v || (!c.exact && v != 0 && x == v - 1)) << int(x) << " for " << v;
}

// Destination widths from 2 to 3 x lanes + 1 (16 32-bit lanes on AVX-512),
// so that every vector kernel meets every tail length, up and down.
TEST(YuvScaleEquivalence, WidthSweep) {
  for (std::uint32_t dw = 2; dw <= 3 * 16 + 2; ++dw) {
    check_all_drivers({dw * 2 / 3 + 1, 6, dw, 5}, PXKIT_SCALE_BILINEAR, dw % 3);
    check_all_drivers({dw * 3 / 2 + 1, 5, dw, 4}, PXKIT_SCALE_BILINEAR, dw % 5);
    check_all_drivers({dw * 5 / 2 + 1, 7, dw, 3}, PXKIT_SCALE_AREA, dw % 2);
  }
}

}  // namespace
