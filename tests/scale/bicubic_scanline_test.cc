// The bicubic scanline sampler through the public call: the usable range of a
// line, exact values where the weights are known, the wrap of an overshoot,
// lines that leave the image (nothing written outside dst), and every vector
// target against the scalar reference on random images and lines.
#include <pxkit.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "scale/bicubic_rules.h"
#include "support/test_support.h"

namespace {

constexpr std::size_t kGuard = 32;
constexpr std::uint8_t kSentinel = 0xA5;

struct Line {
  float x0, y0, dx, dy;
  std::int32_t count;
  std::int32_t a = -1;
};

// Runs the sampler into a buffer with sentinels on both sides; checks they survive.
std::vector<std::uint8_t> sample(const std::uint8_t* src, std::uint32_t w, std::uint32_t h,
                                 const Line& l) {
  std::vector<std::uint8_t> buf(kGuard + static_cast<std::size_t>(l.count) + kGuard, kSentinel);
  scanline_bicubic_f32(src, buf.data() + kGuard, w, h, l.count, l.a, l.x0, l.y0, l.dx, l.dy);
  for (std::size_t i = 0; i < kGuard; ++i) {
    EXPECT_EQ(buf[i], kSentinel) << "byte " << kGuard - i << " before dst";
    EXPECT_EQ(buf[buf.size() - 1 - i], kSentinel) << "byte " << kGuard - 1 - i << " after dst";
  }
  return {buf.begin() + kGuard, buf.end() - kGuard};
}

std::vector<std::uint8_t> ramp_image(std::uint32_t w, std::uint32_t h) {
  std::vector<std::uint8_t> img(std::size_t{w} * h);
  for (std::size_t i = 0; i < img.size(); ++i) img[i] = static_cast<std::uint8_t>(i * 7 + 3);
  return img;
}

TEST(BicubicScanline, HorizontalLineZeroesTheFirstUsableOutputAndReadsPixelsAtIntegerSteps) {
  const auto img = ramp_image(10, 10);
  const auto out = sample(img.data(), 10, 10, {0.0f, 5.0f, 1.0f, 0.0f, 10});
  // Integer positions weight one pixel by 1 and the others by 0.
  for (int k = 0; k < 10; ++k) {
    const std::uint8_t expected = (k >= 2 && k < 8) ? img[5 * 10 + k] : 0;
    EXPECT_EQ(out[k], expected) << "output " << k;
  }
}

TEST(BicubicScanline, BrightEdgeWithAMinusOneWrapsPastTwoFiftyFive) {
  // Columns 0, 255, 255, 255 around x = 1.5 (t = 0.5, weights -0.125, 0.625,
  // 0.625, -0.125): 255 x 1.125 = 286.875 -> 286 -> low byte 30.
  std::vector<std::uint8_t> img(8 * 8);
  for (std::uint32_t y = 0; y < 8; ++y)
    for (std::uint32_t x = 0; x < 8; ++x) img[y * 8 + x] = x == 0 ? 0 : 255;
  const auto out = sample(img.data(), 8, 8, {-0.5f, 3.0f, 1.0f, 0.0f, 4});
  EXPECT_EQ(out, (std::vector<std::uint8_t>{0, 0, 30, 255}));
}

TEST(BicubicScanline, LinesOutsideTheImageAreZeroAndWriteNothingElse) {
  const auto img = ramp_image(10, 10);
  const Line lines[] = {
      {20.0f, 5.0f, 1.0f, 0.0f, 10},      // leaves the usable area before it starts
      {-100.0f, 5.0f, 1.0f, 0.0f, 10},    // enters only after the last output
      {-20.0f, 5.0f, -1.0f, 0.0f, 10},    // moving left, away from the image
      {4.0f, 40.0f, 0.5f, 0.5f, 16},      // both axes, below the image
      {5.0f, -0.5f, 1.0f, 0.0f, 10},      // constant row above the image
      {5.0f, 10.0f, 1.0f, 0.0f, 10},      // constant row at the height
      {10.0f, 3.0f, 0.0f, 1.0f, 10},      // constant column at the width
      {3.0f, 3.0f, 0.0f, 0.0f, 0},        // count 0
      {std::nanf(""), 3.0f, 1.0f, 0.5f, 10},
      {3.0f, 3.0f, std::numeric_limits<float>::infinity(), 0.0f, 10},
  };
  for (const Line& l : lines) {
    const auto out = sample(img.data(), 10, 10, l);
    for (std::int32_t k = 0; k < l.count; ++k)
      EXPECT_EQ(out[k], 0) << "line x0 " << l.x0 << " y0 " << l.y0 << " output " << k;
  }
  scanline_bicubic_f32(img.data(), nullptr, 10, 10, 0, -1, 1, 1, 1, 0);  // count 0, no dst
  // Tiny steps put the bounds far beyond any integer: every output is usable.
  const auto tiny = sample(img.data(), 10, 10, {3.0f, 3.0f, 1e-30f, 1e-30f, 10});
  EXPECT_EQ(tiny, std::vector<std::uint8_t>(10, img[3 * 10 + 3]));
}

TEST(BicubicScanline, ConstantCoordinateIsOnlyTestedAgainstTheWholeImage) {
  // y0 = 0.5 with dy = 0 reads the row before the image: give it memory.
  constexpr std::uint32_t w = 12, h = 6;
  auto padded = ramp_image(w, h + 4);
  const std::uint8_t* src = padded.data() + 2 * w;  // two rows of room on each side
  const Line horizontal{0.25f, 0.5f, 0.75f, 0.0f, 14};
  const auto out = sample(src, w, h, horizontal);
  const auto r = pxkit::scale::bicubic_range(w, h, 14, 0.25f, 0.5f, 0.75f, 0.0f);
  EXPECT_EQ(r.first, 2);  // lo = (1 - 0.25) x (1 / 0.75) = 1.0
  for (std::int32_t k = 0; k < 14; ++k) {
    const std::uint8_t expected =
        k >= r.first && k < r.end
            ? pxkit::scale::bicubic_output(src, w, -1.0f, 0.25f, 0.5f, 0.75f, 0.0f, k)
            : 0;
    EXPECT_EQ(out[k], expected) << k;
  }
  // Both steps 0: every output samples the same point.
  const auto still = sample(src, w, h, {4.5f, 2.25f, 0.0f, 0.0f, 5});
  for (std::int32_t k = 0; k < 5; ++k)
    EXPECT_EQ(still[k], pxkit::scale::bicubic_output(src, w, -1.0f, 4.5f, 2.25f, 0, 0, 0));
}

TEST(BicubicScanline, RangeFollowsTheReciprocalAndThePlusOne) {
  using pxkit::scale::bicubic_range;
  auto r = bicubic_range(10, 10, 10, 0.0f, 5.0f, 1.0f, 0.0f);
  EXPECT_EQ(r.first, 2);
  EXPECT_EQ(r.end, 8);
  r = bicubic_range(10, 10, 10, 9.0f, 5.0f, -1.0f, 0.0f);  // lo = (8 - 9) / -1 = 1, hi = 8
  EXPECT_EQ(r.first, 2);
  EXPECT_EQ(r.end, 8);
  r = bicubic_range(10, 10, 100, 0.0f, 0.0f, 0.5f, 0.25f);  // y limits: lo 4, hi 32
  EXPECT_EQ(r.first, 5);
  EXPECT_EQ(r.end, 16);
}

// Tiny steps near the right border: the bounds say the line stays usable up to
// output 46, but from output 24 on x0 + k dx rounds to 8.0 (= width - 2), whose
// neighbourhood reaches column 10. On the last usable row that is past the end
// of the image, which ends at a page boundary here. Such outputs are 0; the
// others are the plain bicubic values. Same for y, and for a line moving left.
TEST(BicubicScanline, PositionsRoundedOntoTheBorderAreZeroAndReadNothingOutside) {
  constexpr std::uint32_t w = 10, h = 10;
  pxtest::PageEndBuffer image(w * h);
  const auto ramp = ramp_image(w, h);
  std::copy(ramp.begin(), ramp.end(), image.as<std::uint8_t>());
  const std::uint8_t* src = image.as<std::uint8_t>();
  const float below8 = std::nextafter(8.0f, 0.0f), above8 = 8.0f + 9.5367432e-7f;
  const Line lines[] = {
      {below8, 7.0f, 1e-8f, 1e-9f, 64},   // x rounds up onto the border at the end
      {7.0f, below8, 1e-9f, 1e-8f, 64},   // y likewise: row 10 would be read
      {above8, 7.0f, -3e-8f, 1e-9f, 64},  // moving left: the first outputs sit on it
  };
  std::vector<std::int64_t> targets = pxtest::vector_targets();
  targets.insert(targets.begin(), 0);  // the scalar reference
  for (std::int64_t target : targets) {
    SCOPED_TRACE(pxtest::target_label(target));
    pxtest::ScopedTarget scoped(target);
    for (const Line& l : lines) {
      SCOPED_TRACE(testing::Message() << "line " << l.x0 << "," << l.y0 << " step " << l.dx
                                      << "," << l.dy);
      const auto out = sample(src, w, h, l);
      int usable = 0;
      for (std::int32_t k = 0; k < l.count; ++k) {
        const float x = std::fma(static_cast<float>(k), l.dx, l.x0);
        const float y = std::fma(static_cast<float>(k), l.dy, l.y0);
        if (x >= 1.0f && x < 8.0f && y >= 1.0f && y < 8.0f) {
          EXPECT_EQ(out[k], pxkit::scale::bicubic_output(src, w, -1.0f, l.x0, l.y0, l.dx, l.dy, k))
              << "output " << k;
          ++usable;
        } else {
          EXPECT_EQ(out[k], 0) << "output " << k << " at " << x << "," << y;
        }
      }
      EXPECT_GT(usable, 0);
      EXPECT_LT(usable, l.count);
    }
  }
}

// Random images and lines (rotations, shears, reversed steps) through the call
// on each vector target, against the scalar reference.
TEST(BicubicScanline, VectorTargetsEqualTheScalarReference) {
  auto& rng = pxtest::rng();
  std::uniform_real_distribution<float> unit(0.0f, 1.0f), angle(0.0f, 6.2831853f);
  const std::uint32_t sizes[][2] = {{8, 8}, {37, 19}, {64, 64}, {131, 77}};
  for (std::int64_t target : pxtest::vector_targets()) {
    SCOPED_TRACE(pxtest::target_label(target));
    for (const auto& s : sizes) {
      const std::uint32_t w = s[0], h = s[1];
      const auto img = pxtest::random_ints<std::uint8_t>(std::size_t{w} * (h + 4), 0, 255);
      const std::uint8_t* src = img.data() + 2 * w;
      for (int trial = 0; trial < 40; ++trial) {
        const float th = angle(rng), step = 0.2f + 1.5f * unit(rng);
        Line l{unit(rng) * static_cast<float>(w), unit(rng) * static_cast<float>(h), step * std::cos(th), step * std::sin(th),
               static_cast<std::int32_t>(trial * 53 % 70), trial % 3 == 0 ? -1 : (trial % 3 == 1 ? 0 : -3)};
        if (trial % 7 == 0) l.dy = 0.0f;
        if (trial % 11 == 0) l.dx = 0.0f;
        std::vector<std::uint8_t> expected, got;
        {
          pxtest::ScopedTarget scalar(0);
          expected = sample(src, w, h, l);
        }
        {
          pxtest::ScopedTarget vec(target);
          got = sample(src, w, h, l);
        }
        ASSERT_EQ(got, expected) << w << "x" << h << " line " << l.x0 << "," << l.y0 << " step "
                                 << l.dx << "," << l.dy << " count " << l.count << " a " << l.a;
      }
    }
  }
}

}  // namespace
