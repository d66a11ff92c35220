// Setup, refusals, messages, the serial path and allocations of the conversions.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "common/memory.h"
#include "convert/convert_test_util.h"

namespace {

using convert_test::Context;
using convert_test::Direction;
using convert_test::make_context;
using convert_test::option_for;

std::string option_report(int is_signed, int bits, int mantissa) {
  return "setup fixed2float option:\n\t\tfixed_is_signed: " + std::to_string(is_signed) +
         "\n\t\tfixed_bits: " + std::to_string(bits) +
         "\n\t\tmantissa_bits: " + std::to_string(mantissa) + "\n";
}

TEST(ConvertSetup, BothDirectionsPrintTheFixed2floatReport) {
  for (Direction d : {Direction::kToFloat, Direction::kToFixed}) {
    std::string printed;
    Context ctx = make_context(d, option_for(1, 16, 8), &printed);
    EXPECT_NE(ctx, nullptr);
    EXPECT_EQ(printed, option_report(1, 16, 8));
  }
}

TEST(ConvertSetup, EightBitsAreAcceptedDespiteTheMessageText) {
  std::string printed;
  Context to_float = make_context(Direction::kToFloat, option_for(1, 8, 1), &printed);
  EXPECT_EQ(printed, option_report(1, 8, 1));
  const std::int8_t in[2] = {-128, 127};
  float out[2] = {};
  ASSERT_EQ(fixed2float(to_float.get(), 2, in, out), 0);
  EXPECT_EQ(out[0], -64.0f);
  EXPECT_EQ(out[1], 63.5f);
}

TEST(ConvertSetup, NullOptionIsRefused) {
  fixed_float_context* ctx = nullptr;
  EXPECT_EQ(pxtest::capture_stdout([&] { ctx = setup_fixed2float_context(nullptr); }),
            "error: invalid params\n");
  EXPECT_EQ(ctx, nullptr);
  EXPECT_EQ(pxtest::capture_stdout([&] { ctx = setup_float2fixed_context(nullptr); }),
            "error: invalid params\n");
  EXPECT_EQ(ctx, nullptr);
  EXPECT_EQ(pxtest::capture_stdout([] { destroy_fixed2float_context(nullptr); }), "");
}

// Every refused call prints one line and returns -1 before anything is
// written, with and without a pool: no context, a context of an unsupported
// width (setup says so and still succeeds), a null source or destination with
// elements to convert (even a count that converts nothing).
TEST(ConvertCalls, RefusalsWriteNothing) {
  for (Direction d : {Direction::kToFloat, Direction::kToFixed}) {
    for (bool pooled : {true, false}) {
      std::optional<pxtest::ScopedThreadStartFailure> no_threads;
      if (!pooled) no_threads.emplace(0);
      Context good = make_context(d, option_for(1, 32, 0));
      std::string printed;
      Context bad_width = make_context(d, option_for(0, 12, 3), &printed);
      no_threads.reset();
      ASSERT_NE(bad_width, nullptr);
      EXPECT_NE(printed.find(option_report(0, 12, 3) + "fixed bit is not 16 or 32\n"),
                std::string::npos);

      std::uint32_t src[4] = {7, 7, 7, 7}, dst[4] = {7, 7, 7, 7};
      const auto call = [d](fixed_float_context* ctx, std::uint32_t count, void* from, void* to) {
        return d == Direction::kToFloat ? fixed2float(ctx, count, from, static_cast<float*>(to))
                                        : float2fixed(ctx, count, static_cast<float*>(from), to);
      };
      struct Case {
        fixed_float_context* ctx;
        std::uint32_t count;
        void* from;
        void* to;
      };
      const Case cases[] = {{nullptr, 2, src, dst},         {bad_width.get(), 4, src, dst},
                            {good.get(), 1000, nullptr, dst}, {good.get(), 1000, src, nullptr},
                            {good.get(), 0x80000000u, nullptr, nullptr}};
      for (const Case& c : cases) {
        std::int32_t result = 0;
        EXPECT_EQ(pxtest::capture_stdout([&] { result = call(c.ctx, c.count, c.from, c.to); }),
                  "error: invalid params\n");
        EXPECT_EQ(result, -1);
        for (int i = 0; i < 4; ++i) EXPECT_TRUE(src[i] == 7 && dst[i] == 7);
      }
      // Null buffers with nothing to convert are not an error.
      std::int32_t result = -1;
      pxtest::capture_stdout([&] { result = call(good.get(), 0, nullptr, nullptr); });
      EXPECT_EQ(result, 0);
    }
  }
}

TEST(ConvertSetup, OutOfMemory) {
  fixed_float_context* ctx = nullptr;
  pxkit::mem::fail_allocation_after(0);  // the context itself
  EXPECT_EQ(pxtest::capture_stdout([&] { ctx = setup_fixed2float_context(nullptr); }),
            "error: invalid params\n");  // the option is checked before allocating
  EXPECT_EQ(pxtest::capture_stdout([&] {
              const fixed_float_option o = option_for(1, 16, 0);
              ctx = setup_float2fixed_context(&o);
            }),
            "error: no memory\n");
  EXPECT_EQ(ctx, nullptr);

  // Without memory for the pool the context still works, on the caller's thread.
  pxkit::mem::fail_allocation_after(1);
  std::string printed;
  Context c = make_context(Direction::kToFixed, option_for(1, 16, 0), &printed);
  pxkit::mem::fail_allocation_after(-1);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(printed, "fatal: no memory\n" + option_report(1, 16, 0));
  const float in[1] = {-7.9f};
  std::int16_t out[1] = {};
  EXPECT_EQ(pxtest::capture_stdout([&] { float2fixed(c.get(), 1, in, out); }),
            "null ctx, choose non-parallel version\n");
  EXPECT_EQ(out[0], -7);
}

TEST(ConvertFactor, MantissaBitsWrapAtThirtyTwoAndThirtyOneIsNegative) {
  // 32 behaves as 0.
  Context to_fixed = make_context(Direction::kToFixed, option_for(1, 32, 32));
  const float in[2] = {1.75f, -2.5f};
  std::int32_t out[2] = {};
  ASSERT_EQ(float2fixed(to_fixed.get(), 2, in, out), 0);
  EXPECT_EQ(out[0], 1);
  EXPECT_EQ(out[1], -2);

  // 31: factor -2^31.
  Context neg_float = make_context(Direction::kToFloat, option_for(1, 32, 31));
  const std::int32_t fixed[3] = {1, INT32_MIN, -1073741824};
  float floats[3] = {};
  ASSERT_EQ(fixed2float(neg_float.get(), 3, fixed, floats), 0);
  EXPECT_TRUE(pxtest::same_bits(floats[0], -std::ldexp(1.0f, -31)));
  EXPECT_EQ(floats[1], 1.0f);
  EXPECT_EQ(floats[2], 0.5f);

  Context neg_fixed = make_context(Direction::kToFixed, option_for(1, 32, 31));
  const float values[3] = {0.25f, 1.0f, -1.0f};
  std::int32_t products[3] = {};
  ASSERT_EQ(float2fixed(neg_fixed.get(), 3, values, products), 0);
  EXPECT_EQ(products[0], -536870912);
  EXPECT_EQ(products[1], INT32_MIN);
  EXPECT_EQ(products[2], INT32_MAX);  // +2^31 saturates
}

TEST(ConvertSerial, WithoutAPoolEveryCallSaysSoAndGivesThePooledResults) {
  std::vector<std::int16_t> fixed = pxtest::random_ints<std::int16_t>(103, -32768, 32767);
  std::vector<float> pooled(fixed.size()), serial(fixed.size());
  Context with_pool = make_context(Direction::kToFloat, option_for(1, 16, 5));
  std::string printed;
  Context without(nullptr, &destroy_fixed2float_context);
  {
    pxtest::ScopedThreadStartFailure no_threads(0);
    without = make_context(Direction::kToFloat, option_for(1, 16, 5), &printed);
  }
  EXPECT_EQ(printed, "fatal: pthread_create fail\n" + option_report(1, 16, 5));
  ASSERT_EQ(fixed2float(with_pool.get(), 103, fixed.data(), pooled.data()), 0);
  for (int call = 0; call < 2; ++call) {
    std::int32_t result = -5;
    EXPECT_EQ(pxtest::capture_stdout(
                  [&] { result = fixed2float(without.get(), 103, fixed.data(), serial.data()); }),
              "null ctx, choose non-parallel version\n");
    EXPECT_EQ(result, 0);
  }
  EXPECT_EQ(std::memcmp(pooled.data(), serial.data(), pooled.size() * sizeof(float)), 0);
}

TEST(ConvertCalls, AllocateNothing) {
  Context to_float = make_context(Direction::kToFloat, option_for(0, 16, 4));
  Context to_fixed = make_context(Direction::kToFixed, option_for(0, 16, 4));
  std::vector<std::uint16_t> fixed(1000, 77);
  std::vector<float> floats(1000);
  const std::uint64_t before = pxtest::library_allocations();
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(fixed2float(to_float.get(), 1000, fixed.data(), floats.data()), 0);
    ASSERT_EQ(float2fixed(to_fixed.get(), 1000, floats.data(), fixed.data()), 0);
  }
  EXPECT_EQ(pxtest::library_allocations(), before);
  EXPECT_EQ(fixed[999], 77);
}

}  // namespace
