// The conversions through the public API: setup and its report, refusals,
// hand-worked values on the scalar reference and every vector target, the
// serial path and allocations.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "common/memory.h"
#include "convert/convert_test_util.h"

namespace {

using convert_test::all_targets;
using convert_test::Context;
using convert_test::Direction;
using convert_test::make_context;
using convert_test::option_for;

std::string option_report(int is_signed, int bits, int mantissa) {
  return "setup fixed2float option:\n\t\tfixed_is_signed: " + std::to_string(is_signed) +
         "\n\t\tfixed_bits: " + std::to_string(bits) +
         "\n\t\tmantissa_bits: " + std::to_string(mantissa) + "\n";
}

// ---- setup ----------------------------------------------------------------------

// 8 bits are accepted although a refused width's message names only 16 and 32.
TEST(ConvertSetup, BothDirectionsPrintTheFixed2floatReport) {
  for (Direction d : {Direction::kToFloat, Direction::kToFixed}) {
    for (std::uint8_t bits : {std::uint8_t{16}, std::uint8_t{8}}) {
      std::string printed;
      Context ctx = make_context(d, option_for(1, bits, 8), &printed);
      EXPECT_NE(ctx, nullptr);
      EXPECT_EQ(printed, option_report(1, bits, 8));
    }
  }
}

// The option is checked before allocating; a destroyed null context prints nothing.
TEST(ConvertSetup, NullOptionAndNoMemoryAreRefused) {
  fixed_float_context* ctx = nullptr;
  pxkit::mem::fail_allocation_after(0);  // the context itself
  EXPECT_EQ(pxtest::capture_stdout([&] { ctx = setup_fixed2float_context(nullptr); }),
            "error: invalid params\n");
  EXPECT_EQ(ctx, nullptr);
  EXPECT_EQ(pxtest::capture_stdout([&] { ctx = setup_float2fixed_context(nullptr); }),
            "error: invalid params\n");
  EXPECT_EQ(ctx, nullptr);
  const fixed_float_option o = option_for(1, 16, 0);
  EXPECT_EQ(pxtest::capture_stdout([&] { ctx = setup_float2fixed_context(&o); }),
            "error: no memory\n");
  pxkit::mem::fail_allocation_after(-1);
  EXPECT_EQ(ctx, nullptr);
  EXPECT_EQ(pxtest::capture_stdout([] { destroy_fixed2float_context(nullptr); }), "");
}

// ---- calls ----------------------------------------------------------------------

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

// Without a pool every call says so and gives the pooled results.
TEST(ConvertSerial, EveryCallSaysSoAndGivesThePooledResults) {
  const std::vector<std::int16_t> fixed = pxtest::random_ints<std::int16_t>(103, -32768, 32767);
  std::vector<float> floats(fixed.size());
  for (std::size_t i = 0; i < fixed.size(); ++i) floats[i] = fixed[i] / 7.0f;
  for (Direction d : {Direction::kToFloat, Direction::kToFixed}) {
    const bool to_float = d == Direction::kToFloat;
    Context with_pool = make_context(d, option_for(1, 16, 5));
    std::string printed;
    Context without = [&] {
      pxtest::ScopedThreadStartFailure no_threads(0);
      return make_context(d, option_for(1, 16, 5), &printed);
    }();
    EXPECT_EQ(printed, "fatal: pthread_create fail\n" + option_report(1, 16, 5));
    std::vector<unsigned char> pooled(fixed.size() * 4), serial(fixed.size() * 4);
    const auto call = [&](fixed_float_context* ctx, std::vector<unsigned char>& out) {
      return to_float ? fixed2float(ctx, 103, fixed.data(), reinterpret_cast<float*>(out.data()))
                      : float2fixed(ctx, 103, floats.data(), out.data());
    };
    ASSERT_EQ(call(with_pool.get(), pooled), 0);
    for (int n = 0; n < 2; ++n) {
      std::int32_t result = -5;
      EXPECT_EQ(pxtest::capture_stdout([&] { result = call(without.get(), serial); }),
                "null ctx, choose non-parallel version\n");
      EXPECT_EQ(result, 0);
    }
    EXPECT_EQ(pooled, serial);
  }
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

// ---- values ---------------------------------------------------------------------

constexpr std::uint32_t kCopies = 4 * 21 + 3;  // stripes of 21, 21, 21, 24 elements
const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// Each (in, want) of `cases` converted on every target, repeated so that it
// lands in vector bodies and scalar tails of all four stripes alike; every copy
// must be `want`, bit for bit.
template <class In, class Out>
void expect_converted(std::uint8_t mantissa, std::initializer_list<std::pair<In, Out>> cases) {
  constexpr bool to_float = std::is_same_v<Out, float>;
  using Fixed = std::conditional_t<to_float, In, Out>;
  for (std::int64_t target : all_targets()) {
    pxtest::ScopedTarget only(target);
    Context ctx = make_context(to_float ? Direction::kToFloat : Direction::kToFixed,
                               option_for<Fixed>(mantissa));
    for (const auto& [in, want] : cases) {
      SCOPED_TRACE(pxtest::target_label(target) + " mantissa " + std::to_string(mantissa) +
                   " in=" + std::to_string(in));
      const std::vector<In> input(kCopies, in);
      std::vector<Out> out(kCopies, Out{0x5A});
      if constexpr (to_float) {
        ASSERT_EQ(fixed2float(ctx.get(), kCopies, input.data(), out.data()), 0);
      } else {
        ASSERT_EQ(float2fixed(ctx.get(), kCopies, input.data(), out.data()), 0);
      }
      for (std::uint32_t i = 0; i < kCopies; ++i)
        ASSERT_EQ(std::memcmp(&out[i], &want, sizeof want), 0) << "element " << i << ": " << +out[i];
    }
  }
}

template <class T>
void to_float(std::uint8_t mantissa, std::initializer_list<std::pair<T, float>> cases) {
  expect_converted<T, float>(mantissa, cases);
}
template <class T>
void to_fixed(std::uint8_t mantissa, std::initializer_list<std::pair<float, T>> cases) {
  expect_converted<float, T>(mantissa, cases);
}

// Division by 2^mantissa (+0, never -0); 32-bit inputs round to nearest even
// (2^24 + 1 down, 2^24 + 3 and 2^32 - 128 up); mantissa 31 gives the factor -2^31.
TEST(ConvertValues, FixedToFloat) {
  to_float<std::int16_t>(8, {{-256, -1.0f}});
  to_float<std::int16_t>(0, {{0, 0.0f}});
  to_float<std::int8_t>(7, {{-128, -1.0f}});
  to_float<std::int8_t>(1, {{-128, -64.0f}, {127, 63.5f}});
  to_float<std::uint8_t>(3, {{255, 31.875f}});
  to_float<std::uint16_t>(16, {{65535, 65535.0f / 65536.0f}});
  to_float<std::int32_t>(0, {{16777217, 16777216.0f}, {16777219, 16777220.0f},
                             {-16777217, -16777216.0f}, {INT32_MAX, 2147483648.0f}});
  to_float<std::int32_t>(4, {{INT32_MIN, -134217728.0f}});
  to_float<std::int32_t>(31, {{1, -std::ldexp(1.0f, -31)}, {INT32_MIN, 1.0f}, {-1073741824, 0.5f}});
  to_float<std::uint32_t>(0, {{16777217u, 16777216.0f}, {0x80000001u, 2147483648.0f},
                              {0xFFFFFF80u, 4294967296.0f}, {0xFFFFFF7Fu, 4294967040.0f}});
  to_float<std::uint32_t>(1, {{UINT32_MAX, 2147483648.0f}});
}

// Truncation toward zero; 32-bit results saturate (NaN gives 0); narrow
// results keep the low bits of the saturated int32, negative products to
// unsigned narrow types too; mantissa 32 behaves as 0 and 31 is negative
// (+2^31 saturates).
TEST(ConvertValues, FloatToFixed) {
  to_fixed<std::int16_t>(8, {{-1.5f, -384}, {-0.999f / 256.0f, 0}});
  to_fixed<std::int16_t>(0, {{32767.9f, 32767}, {40000.0f, -25536}, {3.0e9f, -1}});
  to_fixed<std::int32_t>(0, {{-2.9f, -2}, {1e-40f, 0}, {3.0e9f, INT32_MAX}, {-3.0e9f, INT32_MIN},
                             {-2147483648.0f, INT32_MIN}, {2147483520.0f, 2147483520},
                             {kInf, INT32_MAX}, {-kInf, INT32_MIN}, {kNaN, 0}});
  to_fixed<std::int32_t>(1, {{-kNaN, 0}});
  to_fixed<std::int32_t>(32, {{1.75f, 1}, {-2.5f, -2}});
  to_fixed<std::int32_t>(31, {{0.25f, -536870912}, {1.0f, INT32_MIN}, {-1.0f, INT32_MAX}});
  to_fixed<std::uint32_t>(0, {{0.999f, 0u}, {-5.0f, 0u}, {-kInf, 0u}, {kNaN, 0u},
                              {2147483648.0f, 2147483648u}, {3.0e9f, 3000000000u},
                              {4294967040.0f, 4294967040u}, {4294967296.0f, UINT32_MAX},
                              {kInf, UINT32_MAX}});
  to_fixed<std::int8_t>(0, {{200.0f, -56}, {-129.0f, 127}, {-kInf, 0}});
  to_fixed<std::uint16_t>(0, {{70000.0f, 4464}, {kInf, 0xFFFF}, {-1.0f, 0xFFFF}});
  to_fixed<std::uint16_t>(4, {{-1.5f, 0xFFE8}});
  to_fixed<std::uint8_t>(0, {{300.0f, 44}, {kNaN, 0}, {-1.0f, 0xFF}, {-200.0f, 56}, {-0.5f, 0}});
  to_fixed<std::uint8_t>(2, {{1.25f, 5}});
}

}  // namespace
