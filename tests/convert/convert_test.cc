// The conversions through the public API: setup and its report, refusals, the
// serial path, allocations, hand-worked values on the scalar reference and
// every vector target, and every kernel on every vector target against the
// scalar reference with zero tolerance (inputs and outputs end at an
// inaccessible page, so over-reads and over-writes fault; sentinels before the
// output show writes in front of it).
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "common/memory.h"
#include "convert/convert_kernels.h"
#include "pxkit.h"
#include "support/test_support.h"

namespace {

using Context = pxtest::Owned<fixed_float_context, destroy_fixed2float_context>;

enum class Direction { kToFloat, kToFixed };

fixed_float_option option_for(std::uint8_t is_signed, std::uint8_t bits, std::uint8_t mantissa) {
  return fixed_float_option{is_signed, bits, mantissa};
}

template <class T>
fixed_float_option option_for(std::uint8_t mantissa) {
  return option_for(std::is_signed_v<T> ? 1 : 0, sizeof(T) * 8, mantissa);
}

// Sets up a context (its messages go to *printed, or are swallowed).
Context make_context(Direction direction, const fixed_float_option& option,
                     std::string* printed = nullptr) {
  fixed_float_context* ctx = nullptr;
  const std::string out = pxtest::capture_stdout([&] {
    ctx = direction == Direction::kToFloat ? setup_fixed2float_context(&option)
                                           : setup_float2fixed_context(&option);
  });
  if (printed != nullptr) *printed = out;
  return Context(ctx);
}

// The scalar reference and every vector target of this CPU.
std::vector<std::int64_t> all_targets() {
  std::vector<std::int64_t> targets{0};
  for (std::int64_t t : pxtest::vector_targets()) targets.push_back(t);
  return targets;
}

std::string option_report(int is_signed, int bits, int mantissa) {
  return "setup fixed2float option:\n\t\tfixed_is_signed: " + std::to_string(is_signed) +
         "\n\t\tfixed_bits: " + std::to_string(bits) +
         "\n\t\tmantissa_bits: " + std::to_string(mantissa) + "\n";
}

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

constexpr std::size_t kGuardBytes = 64;
constexpr unsigned char kSentinel = 0xA5;
constexpr std::uint8_t kMantissas[] = {9, 31};  // 31: negative factor

std::vector<std::uint32_t> counts() {
  std::vector<std::uint32_t> c;
  for (std::uint32_t n = 0; n <= 70; ++n) c.push_back(n);
  for (std::uint32_t n : {1000u, 4099u, 40007u}) c.push_back(n);
  return c;
}

// Random fixed-point values over the whole range, with the extremes and the
// 32-bit values that round (2^24 + 1, 2^24 + 3, ...) mixed in.
template <class T>
std::vector<T> random_fixed(std::size_t n) {
  using L = std::numeric_limits<T>;
  const std::int64_t specials[] = {0, 1, -1, L::min(), L::max(), 16777217, 16777219,
                                   -16777217, 0x7FFFFFC0, 0xFFFFFF80, 0x80000001};
  std::vector<T> v = pxtest::random_ints<T>(n, L::min(), L::max());
  std::uniform_int_distribution<std::size_t> pick(0, std::size(specials) - 1);
  for (std::size_t i = 0; i < n; i += 3) v[i] = static_cast<T>(specials[pick(pxtest::rng())]);
  return v;
}

float from_bits(std::uint32_t bits) {
  float f;
  std::memcpy(&f, &bits, sizeof f);
  return f;
}

// Random floats whose products with `factor` fall around every integer range
// boundary, plus NaNs, infinities, signed zeros, denormals and arbitrary bit
// patterns.
std::vector<float> random_floats(std::size_t n, float factor) {
  const float inv = 1.0f / factor;  // exact: factor is a power of two
  const float products[] = {0.5f, 0.999f, 1.0f, 1.5f, 127.0f, 128.0f, 129.0f, 255.0f,
                            256.0f, 32767.0f, 32768.0f, 32769.0f, 65535.0f, 65536.0f,
                            16777217.0f, 2147483520.0f, 2147483648.0f, 2147483904.0f,
                            4294967040.0f, 4294967296.0f, 1e20f};
  const float raw[] = {0.0f, -0.0f, 1e-40f, -1e-40f, std::numeric_limits<float>::min(),
                       std::numeric_limits<float>::max(), std::numeric_limits<float>::infinity(),
                       -std::numeric_limits<float>::infinity(), from_bits(0x7FC12345),
                       from_bits(0xFFC00001), from_bits(0x7F800001)};
  std::mt19937& rng = pxtest::rng();
  std::uniform_int_distribution<int> kind(0, 3), scale(0, 34);
  std::uniform_int_distribution<std::uint32_t> bits;
  std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
  std::vector<float> v(n);
  for (float& x : v) {
    switch (kind(rng)) {
      case 0: {
        const float p = products[bits(rng) % std::size(products)];
        x = (bits(rng) & 1 ? -p : p) * inv;
        break;
      }
      case 1: x = raw[bits(rng) % std::size(raw)]; break;
      case 2: x = from_bits(bits(rng)); break;
      default: x = std::ldexp(unit(rng), scale(rng)) * inv; break;
    }
  }
  return v;
}

// Runs one call with the input at the end of its page and the output at the
// end of its page behind a sentinel guard; returns the output bytes.
template <class In>
std::vector<unsigned char> run(fixed_float_context* ctx, Direction d, const std::vector<In>& in,
                               std::uint32_t count, std::size_t out_size) {
  pxtest::PageEndBuffer src(count * sizeof(In));
  if (count > 0) std::memcpy(src.data(), in.data(), count * sizeof(In));
  pxtest::PageEndBuffer dst(kGuardBytes + count * out_size, kSentinel);
  void* out = dst.as<unsigned char>() + kGuardBytes;
  const std::int32_t result = d == Direction::kToFloat
                                  ? fixed2float(ctx, count, src.data(), static_cast<float*>(out))
                                  : float2fixed(ctx, count, src.as<float>(), out);
  EXPECT_EQ(result, 0);
  for (std::size_t i = 0; i < kGuardBytes; ++i)
    EXPECT_EQ(dst.as<unsigned char>()[i], kSentinel) << "write before the output, count " << count;
  const auto* bytes = static_cast<unsigned char*>(out);
  return std::vector<unsigned char>(bytes, bytes + count * out_size);
}

// While alive, vector calls moving at least `bytes` use streaming stores.
struct ScopedStreamBytes {
  explicit ScopedStreamBytes(std::size_t bytes) { pxkit::convert::set_stream_bytes(bytes); }
  ~ScopedStreamBytes() { pxkit::convert::set_stream_bytes(pxkit::convert::kDefaultStreamBytes); }
};

// Compares each vector target with the scalar reference on `input`, with
// plain stores and with streaming stores.
template <class In>
void compare_targets(Direction d, const fixed_float_option& option, const std::vector<In>& input,
                     std::size_t out_size) {
  const Context scalar = [&] {
    pxtest::ScopedTarget only(0);
    return make_context(d, option);
  }();
  std::vector<Context> vectors;
  for (std::int64_t target : pxtest::vector_targets()) {
    pxtest::ScopedTarget only(target);
    vectors.push_back(make_context(d, option));
  }
  for (std::uint32_t count : counts()) {
    const auto want = run(scalar.get(), d, input, count, out_size);
    for (std::size_t t = 0; t < vectors.size(); ++t) {
      for (std::size_t stream_bytes : {pxkit::convert::kDefaultStreamBytes, std::size_t{0}}) {
        const ScopedStreamBytes streaming(stream_bytes);
        const auto got = run(vectors[t].get(), d, input, count, out_size);
        const auto diff = std::mismatch(got.begin(), got.end(), want.begin()).first;
        ASSERT_EQ(diff, got.end())
            << pxtest::target_label(pxtest::vector_targets()[t]) << ", count " << count
            << ", mantissa " << int{option.mantissa_bits} << ", streaming from " << stream_bytes
            << " bytes: first difference in element "
            << (diff - got.begin()) / static_cast<long>(out_size);
      }
    }
  }
}

template <class T>
class ConvertEquivalence : public ::testing::Test {};
using FixedTypes = ::testing::Types<std::int8_t, std::int16_t, std::int32_t, std::uint8_t,
                                    std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(ConvertEquivalence, FixedTypes);

TYPED_TEST(ConvertEquivalence, FixedToFloatVectorEqualsScalar) {
  using T = TypeParam;
  const std::vector<T> input = random_fixed<T>(counts().back());
  for (std::uint8_t m : kMantissas)
    compare_targets(Direction::kToFloat, option_for<T>(m), input, sizeof(float));
}

TYPED_TEST(ConvertEquivalence, FloatToFixedVectorEqualsScalar) {
  using T = TypeParam;
  for (std::uint8_t m : kMantissas) {
    const std::vector<float> input = random_floats(counts().back(), std::ldexp(1.0f, m % 32));
    compare_targets(Direction::kToFixed, option_for<T>(m), input, sizeof(T));
  }
}

// Stripes 0-2 take count / 4 elements and stripe 3 the rest; whatever the
// split, each element is converted once and nothing outside the array is touched.
TEST(ConvertStripes, EachElementIsConvertedAndNothingOutside) {
  Context ctx = make_context(Direction::kToFixed, option_for<std::int16_t>(0));
  for (std::uint32_t count : {0u, 1u, 3u, 4u, 5u, 7u, 63u, 64u, 65u}) {
    std::vector<float> in(count);
    for (std::uint32_t i = 0; i < count; ++i) in[i] = static_cast<float>(i + 1);
    const auto out = run(ctx.get(), Direction::kToFixed, in, count, sizeof(std::int16_t));
    for (std::uint32_t i = 0; i < count; ++i) {
      std::int16_t v;
      std::memcpy(&v, &out[i * sizeof v], sizeof v);
      ASSERT_EQ(v, static_cast<std::int16_t>(i + 1)) << "count " << count;
    }
  }
}

// A count above INT32_MAX is negative as a signed count and converts nothing.
TEST(ConvertStripes, CountsAboveInt32MaxConvertNothing) {
  Context ctx = make_context(Direction::kToFloat, option_for<std::uint8_t>(0));
  pxtest::PageEndBuffer in(16), out(64, kSentinel);
  EXPECT_EQ(fixed2float(ctx.get(), 0x80000007u, in.data(), out.as<float>()), 0);
  for (std::size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out.as<unsigned char>()[i], kSentinel);
}

}  // namespace
