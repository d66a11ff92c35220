// The arctangent table against its definition, and the exported fast_atan
// family on known angles, edge cases and against atan2.
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "pxkit.h"
#include "support/test_support.h"
#include "tof/atan_table.h"

namespace {

using pxtest::same_bits;

// The table recomputed from its definition: atan(i/16) in double rounded once
// to f32, slopes 16 * (a[i+1] - a[i]) in f32, every value printed with six
// decimals and read back as the nearest f32.
float six_decimals(float v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6f", static_cast<double>(v));
  return std::strtof(text, nullptr);
}

TEST(AtanTable, MatchesItsDefinition) {
  float a[2049];
  for (int i = 0; i <= 2048; ++i) a[i] = static_cast<float>(std::atan(i / 16.0));
  for (int i = 0; i < 2048; ++i) {
    EXPECT_TRUE(same_bits(pxkit::atan_table[i], six_decimals(a[i]))) << "entry " << i;
    const float slope = 16.0f * (a[i + 1] - a[i]);
    EXPECT_TRUE(same_bits(pxkit::atan_table[2048 + i], six_decimals(slope))) << "slope " << i;
  }
}

constexpr float kPi = 3.1415927f, kTwoPi = 6.2831855f, kDiagonal = 0.785398f;  // atan(1)
constexpr float kSaturated = 1.56298f;  // the last table entry

// The axes and the diagonal of each quadrant (table entry 16, no
// interpolation); |y / x| of 128 or more saturates in its quadrant; -0 counts
// as y >= 0; NaN is neither > 0, < 0 nor >= 0, so it takes the saturated value
// of the quadrant it falls into; a tiny negative y gives the f32 of 2 pi itself.
TEST(FastAtan2, KnownAngles) {
  const struct {
    float y, x, want;
  } cases[] = {
      {0, 0, 1.5707964f},       {0, 1, 0.0f},           {0, -1, kPi},
      {1, 0, 1.5707964f},       {-1, 0, 4.712389f},     {1, 1, kDiagonal},
      {-1, 1, kTwoPi - kDiagonal}, {-1, -1, kDiagonal + kPi}, {1, -1, kPi - kDiagonal},
      {1000, 1, kSaturated},    {-1000, 1, 4.7202053f}, {-1000, -1, 4.7045727f},
      {1000, -1, 1.5786127f},   {128, 1, kSaturated},   {1, 1e-30f, kSaturated},
      {-0.0f, 0, 1.5707964f},   {-0.0f, 5, 0.0f},       {-0.0f, -5, kPi},
      {1, NAN, 1.5707964f},     {0, NAN, 1.5707964f},   {-1, NAN, 4.712389f},
      {NAN, 0, 4.712389f},      {NAN, NAN, 4.712389f},  {NAN, 5, 4.7202053f},
      {NAN, -5, 4.7045727f},    {-1e-30f, 1, kTwoPi},   {-1e-8f, 3, kTwoPi},
  };
  for (const auto& c : cases)
    EXPECT_TRUE(same_bits(fast_atan2(c.y, c.x), c.want)) << c.y << ", " << c.x;
  EXPECT_NE(fast_atan2(127.99f, 1), kSaturated);
}

TEST(FastAtan2, CloseToAtan2AndInRange) {
  std::uniform_real_distribution<float> dist(-4096.0f, 4096.0f);
  for (int n = 0; n < 200000; ++n) {
    const float y = dist(pxtest::rng()), x = dist(pxtest::rng());
    const float got = fast_atan2(y, x);
    ASSERT_GE(got, 0.0f);
    ASSERT_LT(got, kTwoPi);
    double want = std::atan2(static_cast<double>(y), static_cast<double>(x));
    if (want < 0) want += 2 * M_PI;
    const bool table_range = std::fabs(y) < 128 * std::fabs(x) && std::fabs(x) < 128 * std::fabs(y);
    // Linear interpolation on a 1/16 grid is within 3.2e-4 of atan; the
    // saturated results stop 0.0078 short of the axis.
    const double bound = table_range ? 4e-4 : 8e-3;
    double err = std::fabs(got - want);
    err = std::min(err, 2 * M_PI - err);
    ASSERT_LT(err, bound) << "y=" << y << " x=" << x;
  }
}

TEST(FastAtan2, ReversedSineGivesTheMirrorAngle) {
  // Swapping the roles of the 90 and 270 degree samples negates y: the two
  // angles add up to a full turn when y != 0 and the ratio is not saturated.
  for (float y = 1; y < 50; y += 7)
    for (float x : {-40.0f, -3.0f, 5.0f, 33.0f})
      EXPECT_NEAR(fast_atan2(y, x) + fast_atan2(-y, x), kTwoPi, 1e-6f);
}

// fast_atan is odd with -0 at 0; fast_atan_pi folds negative ratios into
// (pi/2, pi); the _nearest forms take the table entry alone (1.03 lies in the
// segment of 1.0); NaN gives the saturated value of the negative side.
TEST(FastAtan, OneArgumentFamily) {
  const float entry16 = pxkit::atan_table[16];
  const struct {
    const char* name;
    float (*fn)(float);
    float r, want;
  } cases[] = {
      {"atan", fast_atan, 0.0f, -0.0f},          {"nearest", fast_atan_nearest, 0.0f, -0.0f},
      {"pi", fast_atan_pi, 0.0f, 0.0f},          {"pi_nearest", fast_atan_pi_nearest, 0.0f, 0.0f},
      {"atan", fast_atan, 1.0f, kDiagonal},      {"atan", fast_atan, -1.0f, -kDiagonal},
      {"atan", fast_atan, 500.0f, kSaturated},   {"atan", fast_atan, -128.0f, -kSaturated},
      {"pi", fast_atan_pi, -1.0f, kPi - kDiagonal}, {"pi", fast_atan_pi, -128.0f, 1.5786127f},
      {"pi", fast_atan_pi, 300.0f, kSaturated},  {"nearest", fast_atan_nearest, 1.03f, entry16},
      {"nearest", fast_atan_nearest, -1.03f, -entry16},
      {"pi_nearest", fast_atan_pi_nearest, 1.03f, entry16},
      {"pi_nearest", fast_atan_pi_nearest, -1.03f, kPi - entry16},
      {"atan", fast_atan, NAN, -kSaturated},     {"nearest", fast_atan_nearest, NAN, -kSaturated},
      {"pi", fast_atan_pi, NAN, 1.5786127f},     {"pi_nearest", fast_atan_pi_nearest, NAN, 1.5786127f},
  };
  for (const auto& c : cases) EXPECT_TRUE(same_bits(c.fn(c.r), c.want)) << c.name << "(" << c.r << ")";
  EXPECT_GT(fast_atan(1.03f), fast_atan_nearest(1.03f));
  for (float r = 0.01f; r < 130.0f; r *= 1.7f) {
    EXPECT_TRUE(same_bits(fast_atan(-r), -fast_atan(r))) << r;
    EXPECT_EQ(fast_atan_pi(r), fast_atan(r)) << r;
  }
}

}  // namespace
