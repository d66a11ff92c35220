// Conversion results against hand-worked values, on the scalar reference and
// every vector target. Each value is repeated so that it lands in vector bodies
// and scalar tails of all four stripes alike.
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "convert/convert_test_util.h"

namespace {

using convert_test::all_targets;
using convert_test::Context;
using convert_test::Direction;
using convert_test::make_context;
using convert_test::option_for;

constexpr std::uint32_t kCopies = 4 * 21 + 3;  // stripes of 21, 21, 21, 24 elements
const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

template <class T>
void expect_to_fixed(std::uint8_t mantissa, float in, T expected) {
  for (std::int64_t target : all_targets()) {
    SCOPED_TRACE(pxtest::target_label(target) + " in=" + std::to_string(in));
    pxtest::ScopedTarget only(target);
    Context ctx = make_context(Direction::kToFixed, option_for<T>(mantissa));
    const std::vector<float> input(kCopies, in);
    std::vector<T> out(kCopies, T{0x5A});
    ASSERT_EQ(float2fixed(ctx.get(), kCopies, input.data(), out.data()), 0);
    for (std::uint32_t i = 0; i < kCopies; ++i) ASSERT_EQ(out[i], expected) << "element " << i;
  }
}

template <class T>
void expect_to_float(std::uint8_t mantissa, T in, float expected) {
  for (std::int64_t target : all_targets()) {
    SCOPED_TRACE(pxtest::target_label(target) + " in=" + std::to_string(in));
    pxtest::ScopedTarget only(target);
    Context ctx = make_context(Direction::kToFloat, option_for<T>(mantissa));
    const std::vector<T> input(kCopies, in);
    std::vector<float> out(kCopies, kNaN);
    ASSERT_EQ(fixed2float(ctx.get(), kCopies, input.data(), out.data()), 0);
    for (std::uint32_t i = 0; i < kCopies; ++i)
      ASSERT_TRUE(pxtest::same_bits(out[i], expected)) << "element " << i << ": " << out[i];
  }
}

TEST(ConvertValues, FixedToFloatDividesByTheFactor) {
  expect_to_float<std::int16_t>(8, -256, -1.0f);
  expect_to_float<std::int8_t>(7, -128, -1.0f);
  expect_to_float<std::uint8_t>(3, 255, 31.875f);
  expect_to_float<std::uint16_t>(16, 65535, 65535.0f / 65536.0f);
  expect_to_float<std::int16_t>(0, 0, 0.0f);  // +0, never -0
}

TEST(ConvertValues, ThirtyTwoBitInputsRoundToNearestEven) {
  expect_to_float<std::int32_t>(0, 16777217, 16777216.0f);  // 2^24 + 1: tie, down to even
  expect_to_float<std::int32_t>(0, 16777219, 16777220.0f);  // 2^24 + 3: tie, up to even
  expect_to_float<std::int32_t>(0, -16777217, -16777216.0f);
  expect_to_float<std::int32_t>(0, INT32_MAX, 2147483648.0f);
  expect_to_float<std::int32_t>(4, INT32_MIN, -134217728.0f);
  expect_to_float<std::uint32_t>(0, 16777217u, 16777216.0f);
  expect_to_float<std::uint32_t>(0, 0x80000001u, 2147483648.0f);
  expect_to_float<std::uint32_t>(0, 0xFFFFFF80u, 4294967296.0f);  // tie, up to even
  expect_to_float<std::uint32_t>(0, 0xFFFFFF7Fu, 4294967040.0f);
  expect_to_float<std::uint32_t>(1, UINT32_MAX, 2147483648.0f);
}

TEST(ConvertValues, FloatToFixedTruncatesTowardZero) {
  expect_to_fixed<std::int16_t>(8, -1.5f, -384);
  expect_to_fixed<std::int16_t>(8, -0.999f / 256.0f, 0);
  expect_to_fixed<std::int16_t>(0, 32767.9f, 32767);
  expect_to_fixed<std::int32_t>(0, -2.9f, -2);
  expect_to_fixed<std::int32_t>(0, 1e-40f, 0);  // denormal
  expect_to_fixed<std::uint32_t>(0, 0.999f, 0u);
  expect_to_fixed<std::uint8_t>(2, 1.25f, 5);
}

TEST(ConvertValues, ThirtyTwoBitResultsSaturate) {
  expect_to_fixed<std::int32_t>(0, 3.0e9f, INT32_MAX);
  expect_to_fixed<std::int32_t>(0, -3.0e9f, INT32_MIN);
  expect_to_fixed<std::int32_t>(0, -2147483648.0f, INT32_MIN);
  expect_to_fixed<std::int32_t>(0, 2147483520.0f, 2147483520);
  expect_to_fixed<std::int32_t>(0, kInf, INT32_MAX);
  expect_to_fixed<std::int32_t>(0, -kInf, INT32_MIN);
  expect_to_fixed<std::int32_t>(0, kNaN, 0);
  expect_to_fixed<std::int32_t>(1, -kNaN, 0);
  expect_to_fixed<std::uint32_t>(0, -5.0f, 0u);
  expect_to_fixed<std::uint32_t>(0, -kInf, 0u);
  expect_to_fixed<std::uint32_t>(0, kNaN, 0u);
  expect_to_fixed<std::uint32_t>(0, 2147483648.0f, 2147483648u);
  expect_to_fixed<std::uint32_t>(0, 3.0e9f, 3000000000u);
  expect_to_fixed<std::uint32_t>(0, 4294967040.0f, 4294967040u);
  expect_to_fixed<std::uint32_t>(0, 4294967296.0f, UINT32_MAX);
  expect_to_fixed<std::uint32_t>(0, kInf, UINT32_MAX);
}

TEST(ConvertValues, NarrowResultsKeepTheLowBitsOfTheSaturatedInt32) {
  expect_to_fixed<std::int16_t>(0, 40000.0f, -25536);
  expect_to_fixed<std::int8_t>(0, 200.0f, -56);
  expect_to_fixed<std::int8_t>(0, -129.0f, 127);
  expect_to_fixed<std::uint16_t>(0, 70000.0f, 4464);
  expect_to_fixed<std::uint8_t>(0, 300.0f, 44);
  expect_to_fixed<std::int16_t>(0, 3.0e9f, -1);   // INT32_MAX -> 0xFFFF
  expect_to_fixed<std::int8_t>(0, -kInf, 0);      // INT32_MIN -> 0x00
  expect_to_fixed<std::uint16_t>(0, kInf, 0xFFFF);
  expect_to_fixed<std::uint8_t>(0, kNaN, 0);
}

TEST(ConvertValues, NegativeProductsToUnsignedNarrowKeepTheLowBitsEverywhere) {
  expect_to_fixed<std::uint16_t>(0, -1.0f, 0xFFFF);
  expect_to_fixed<std::uint16_t>(4, -1.5f, 0xFFE8);  // -24
  expect_to_fixed<std::uint8_t>(0, -1.0f, 0xFF);
  expect_to_fixed<std::uint8_t>(0, -200.0f, 56);
  expect_to_fixed<std::uint8_t>(0, -0.5f, 0);
}

}  // namespace
