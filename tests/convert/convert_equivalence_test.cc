// Every kernel on every vector target against the scalar reference, through the
// public API, with zero tolerance. Inputs end at an inaccessible page (over-reads
// fault), outputs too (over-writes fault), and sentinels before the output show
// writes in front of it.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "convert/convert_test_util.h"

namespace {

using convert_test::Context;
using convert_test::Direction;
using convert_test::make_context;
using convert_test::option_for;

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

// Compares each vector target with the scalar reference on `input`, with
// plain stores and with streaming stores.
template <class In>
void compare_targets(Direction d, const fixed_float_option& option, const std::vector<In>& input,
                     std::size_t out_size) {
  Context scalar(nullptr, &destroy_fixed2float_context);
  {
    pxtest::ScopedTarget only(0);
    scalar = make_context(d, option);
  }
  std::vector<Context> vectors;
  for (std::int64_t target : pxtest::vector_targets()) {
    pxtest::ScopedTarget only(target);
    vectors.push_back(make_context(d, option));
  }
  for (std::uint32_t count : counts()) {
    const auto want = run(scalar.get(), d, input, count, out_size);
    for (std::size_t t = 0; t < vectors.size(); ++t) {
      for (std::size_t stream_bytes : {pxkit::convert::kDefaultStreamBytes, std::size_t{0}}) {
        convert_test::ScopedStreamBytes streaming(stream_bytes);
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
TYPED_TEST_SUITE(ConvertEquivalence, convert_test::FixedTypes);

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
