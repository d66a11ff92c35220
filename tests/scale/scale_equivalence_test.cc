// Every vector kernel equals the scalar reference bit for bit: random images
// of many widths (below, at and around the vector widths, tails included),
// padded strides with sentinels after every row, buffers ending at a page,
// and source and destination sharing memory.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "scale_test_util.h"

namespace {

using scale_test::Geometry;

template <class T>
std::vector<T> random_image(std::size_t n) {
  if constexpr (sizeof(T) == 2) {
    return pxtest::random_ints<std::uint16_t>(n, 0, 65535);
  } else {
    // Whole numbers, fractions, negatives, values whose products saturate, a
    // few infinities and NaNs.
    std::uniform_int_distribution<int> kind(0, 99);
    std::uniform_real_distribution<float> value(-70000.0f, 70000.0f);
    std::vector<float> v(n);
    for (float& x : v) {
      const int k = kind(pxtest::rng());
      x = k < 40 ? std::round(value(pxtest::rng()))
          : k < 90 ? value(pxtest::rng())
          : k < 96 ? value(pxtest::rng()) * 1e5f
          : k < 98 ? std::numeric_limits<float>::infinity() * (k == 96 ? 1.0f : -1.0f)
                   : std::numeric_limits<float>::quiet_NaN();
    }
    return v;
  }
}

using imgtest::same;

// Geometries for each kernel around source width w.
std::vector<Geometry> geometries(std::uint32_t w, std::uint32_t case_no) {
  const std::uint32_t src_pad = case_no % 2 == 0 ? 0 : 3;
  const std::uint32_t dst_pad = case_no % 3 == 0 ? 0 : 5;
  const std::uint32_t smaller = w > 1 ? w * 2 / 3 : 2;
  // Horizontal up, down (or up from 1); vertical up, down, 2x; both up, down, mixed.
  return {{w, 3, w * 2 + 1, 3, src_pad, dst_pad},  {w, 2, smaller, 2, src_pad, dst_pad},
          {w, 5, w, 9, src_pad, dst_pad},          {w, 9, w, 4, src_pad, dst_pad},
          {w, 4, w, 8, src_pad, dst_pad},          {w, 5, w + 7, 11, src_pad, dst_pad},
          {w + 5, 7, std::max(1u, w / 2), 3, src_pad, dst_pad}, {w, 3, w * 3, 2, src_pad, dst_pad}};
}

template <class T>
void check_equivalence() {
  const std::uint32_t widths[] = {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 23, 24, 31, 32,
                                  33, 40, 47, 48, 49, 63, 64, 65, 100};
  std::uint32_t case_no = 0;
  for (std::uint32_t w : widths) {
    for (const Geometry& g : geometries(w, case_no++)) {
      const auto src = random_image<T>(std::size_t{g.src_width + g.src_pad} * g.src_height);
      const std::vector<T> want = scale_test::scale(g, src, 0);
      for (std::int64_t target : pxtest::vector_targets()) {
        EXPECT_TRUE(same(want, scale_test::scale(g, src, target)))
            << g.src_width << "x" << g.src_height << " -> " << g.dst_width << "x" << g.dst_height << " pads "
            << g.src_pad << "/" << g.dst_pad << " on " << pxtest::target_label(target);
      }
    }
  }
}

TEST(BilinearEquivalence, U16VectorKernelsEqualTheReference) { check_equivalence<std::uint16_t>(); }
TEST(BilinearEquivalence, F32VectorKernelsEqualTheReference) { check_equivalence<float>(); }

// Source and destination in one buffer (the destination starting `shift`
// samples into the source, same stride): results are those of the reference's
// ascending order on every target.
template <class T>
std::vector<T> scale_in_place(const Geometry& g, std::uint32_t shift, const std::vector<T>& image,
                              std::int64_t target) {
  scale_test::Context ctx = scale_test::make_context<T>(g, target);
  EXPECT_NE(ctx, nullptr);
  std::vector<T> buffer = image;
  buffer.resize(image.size() + shift + std::size_t{g.dst_width} * g.dst_height + 64);
  EXPECT_EQ(ctx == nullptr ? 0 : common_img_scale(ctx.get(), buffer.data(), buffer.data() + shift), 0);
  return buffer;
}

template <class T>
void check_overlap() {
  const std::uint32_t w = 37;
  const Geometry cases[] = {{w, 12, w, 7, 0, 0},  {w, 6, w, 12, 0, 0}, {w, 6, w, 11, 0, 0},
                            {w, 6, 25, 6, 0, 12}, {w, 6, 45, 6, 0, 0}, {w, 9, 30, 5, 0, 7},
                            {w, 5, 50, 9, 0, 0}};
  for (const Geometry& g : cases) {
    for (std::uint32_t shift : {0u, 1u, 9u, w + 3}) {
      const auto image = random_image<T>(std::size_t{w} * g.src_height);
      const std::vector<T> want = scale_in_place(g, shift, image, 0);
      for (std::int64_t target : pxtest::vector_targets()) {
        EXPECT_TRUE(same(want, scale_in_place(g, shift, image, target)))
            << g.src_width << "x" << g.src_height << " -> " << g.dst_width << "x" << g.dst_height << " shift "
            << shift << " on " << pxtest::target_label(target);
      }
    }
  }
}

TEST(BilinearEquivalence, OverlappingRowsFollowTheReferenceOrder) {
  check_overlap<std::uint16_t>();
  check_overlap<float>();
}

}  // namespace
