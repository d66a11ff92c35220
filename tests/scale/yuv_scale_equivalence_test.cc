// Every driver (whole frame with either flag, banded, repeated frames) on
// every target against a per-pixel model of the definitions, with zero
// tolerance. Sources end at an inaccessible page right after the last byte
// the scaler may read (the one-beyond row and column when up-scaling);
// destinations carry sentinels around the planes.
#include <string>
#include <vector>

#include "scale/yuv_test_util.h"

namespace {

using yuv_test::Geometry;
using yuv_test::Planes;

std::vector<std::int64_t> all_targets() {
  std::vector<std::int64_t> t{0};
  for (std::int64_t v : pxtest::vector_targets()) t.push_back(v);
  return t;
}

std::string describe(const Geometry& g, std::int64_t target) {
  return std::to_string(g.sw) + "x" + std::to_string(g.sh) + " -> " + std::to_string(g.dw) + "x" +
         std::to_string(g.dh) + " on " + pxtest::target_label(target);
}

// Runs all drivers of `method` on g against the model, on every target.
void check_all_drivers(const Geometry& g, std::uint32_t method, std::uint32_t pad) {
  const yuv_test::Source src(g, method, pad);
  const Planes want = method == PXKIT_SCALE_AREA ? yuv_test::model_area(src, g)
                                                 : yuv_test::model_bilinear(src, g);
  for (std::int64_t target : all_targets()) {
    SCOPED_TRACE(describe(g, target));
    const pxtest::ScopedTarget scoped(target);
    for (std::uint32_t flags : {0u, PXKIT_SCALE_FLAG_TABLE_ROWS}) {
      auto ctx = yuv_test::make_context(g, method, flags);
      ASSERT_NE(ctx, nullptr);
      EXPECT_TRUE(yuv_test::run_frame(ctx.get(), src, g) == want) << "flags " << flags;
    }
    auto banded = yuv_test::make_context(g, method, PXKIT_SCALE_FLAG_BANDED);
    ASSERT_NE(banded, nullptr);
    EXPECT_TRUE(yuv_test::run_banded(banded.get(), src, g) == want) << "banded";
    // The call after the last band starts the next frame at row 0.
    EXPECT_TRUE(yuv_test::run_banded(banded.get(), src, g) == want) << "banded, second frame";
  }
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
