// The vector arctangent and amplitude root against their scalar forms, lane
// for lane, on every vector target this CPU has.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tof/tof_vector_test.cc"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "tof/tof_vector-inl.h"

HWY_BEFORE_NAMESPACE();
namespace pxkit {
namespace HWY_NAMESPACE {

// n must be a multiple of the lane count (callers pad). `paired` looks the
// segments up in atan_pairs(), as the single-frequency kernels do.
void AtanArrays(const float* y, const float* x, float* angle, std::size_t n, bool paired) {
  const hn::ScalableTag<float> df;
  const float* pairs = paired ? atan_pairs() : nullptr;
  for (std::size_t i = 0; i < n; i += hn::Lanes(df))
    hn::StoreU(FastAtan2(df, hn::LoadU(df, y + i), hn::LoadU(df, x + i), pairs), df, angle + i);
}

void FloorSqrtArrays(const float* q, std::int32_t* root, std::size_t n) {
  const hn::ScalableTag<float> df;
  const hn::RebindToSigned<decltype(df)> di;
  for (std::size_t i = 0; i < n; i += hn::Lanes(df))
    hn::StoreU(FloorSqrt(df, hn::LoadU(df, q + i)), di, root + i);
}

}  // namespace HWY_NAMESPACE
}  // namespace pxkit
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
#include <bit>
#include <cmath>
#include <limits>

#include "simd/dispatch.h"
#include "support/test_support.h"

namespace pxkit {
HWY_EXPORT(AtanArrays);
HWY_EXPORT(FloorSqrtArrays);
}  // namespace pxkit

namespace {

constexpr std::size_t kPad = 64;  // a multiple of every target's f32 lane count

template <class T>
void pad(std::vector<T>& v) {
  v.resize((v.size() + kPad - 1) / kPad * kPad);
}

std::vector<float> special_values() {
  const float inf = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  return {0.0f, -0.0f, 1.0f, -1.0f, nan, -nan, inf, -inf, 1e-30f, -1e-30f, 1e30f, -1e30f,
          127.99998f, 128.0f, 128.00002f, -127.99998f, -128.0f, 0.0625f, 65535.0f, -131070.0f,
          std::numeric_limits<float>::denorm_min(), -std::numeric_limits<float>::denorm_min()};
}

class TofVector : public testing::TestWithParam<std::int64_t> {
 protected:
  pxtest::ScopedTarget target_{GetParam()};
};

TEST_P(TofVector, FastAtan2MatchesScalarBitForBit) {
  std::vector<float> y, x;
  for (int b = -300; b <= 300; ++b)
    for (int a = -300; a <= 300; ++a) {
      y.push_back(static_cast<float>(b));
      x.push_back(static_cast<float>(a));
    }
  for (int k = 0; k < pxkit::kAtanGridPoints; ++k) {  // every table segment, each quadrant
    const float ratio = (static_cast<float>(k) + 0.5f) / 16.0f;
    for (float sx : {1.0f, -1.0f})
      for (float sy : {1.0f, -1.0f}) {
        y.push_back(sy * ratio);
        x.push_back(sx);
      }
  }
  const auto special = special_values();
  for (float b : special)
    for (float a : special) {
      y.push_back(b);
      x.push_back(a);
      y.push_back(a * 127.99f);  // ratios on both sides of the saturation point
      x.push_back(a);
    }
  std::uniform_real_distribution<float> wide(-1e6f, 1e6f);
  for (int n = 0; n < 50000; ++n) {
    y.push_back(wide(pxtest::rng()));
    x.push_back(wide(pxtest::rng()));
  }
  pad(y);
  pad(x);
  std::vector<float> angle(y.size());
  auto* kernel = pxkit::simd::select(HWY_DISPATCH_TABLE(pxkit::AtanArrays));
  ASSERT_NE(kernel, nullptr);
  for (bool paired : {false, true}) {
    kernel(y.data(), x.data(), angle.data(), y.size(), paired);
    for (std::size_t i = 0; i < y.size(); ++i)
      ASSERT_TRUE(pxtest::same_bits(angle[i], pxkit::fast_atan2_scalar(y[i], x[i])))
          << "y=" << y[i] << " x=" << x[i] << " paired " << paired << " vector " << angle[i];
  }
}

// The f32 root can only land on the wrong integer next to a perfect square,
// so every square up to the largest amplitude is tried with the f32 values
// around it; q = x*x + y*y reaches 2 * 131070^2 (interleaved differences).
TEST_P(TofVector, FloorSqrtIsExactAroundEverySquare) {
  const float largest_q = std::fma(131070.0f, 131070.0f, 131070.0f * 131070.0f);
  const auto last_root = static_cast<std::int32_t>(std::sqrt(static_cast<double>(largest_q))) + 1;
  std::vector<float> q;
  for (std::int32_t m = 0; m <= last_root; ++m) {
    const auto square = static_cast<float>(static_cast<double>(m) * m);  // rounded to nearest
    float below = square, above = square;
    q.push_back(square);
    for (int step = 0; step < 2; ++step) {
      below = std::nextafter(below, 0.0f);
      above = std::nextafter(above, largest_q * 2.0f);
      q.push_back(below);
      q.push_back(above);
    }
  }
  std::uniform_int_distribution<std::uint32_t> bits(0, std::bit_cast<std::uint32_t>(largest_q));
  for (int n = 0; n < 100000; ++n) q.push_back(std::bit_cast<float>(bits(pxtest::rng())));
  pad(q);
  std::vector<std::int32_t> root(q.size());
  auto* kernel = pxkit::simd::select(HWY_DISPATCH_TABLE(pxkit::FloorSqrtArrays));
  ASSERT_NE(kernel, nullptr);
  kernel(q.data(), root.data(), q.size());
  for (std::size_t i = 0; i < q.size(); ++i)
    ASSERT_EQ(root[i], static_cast<std::int32_t>(std::sqrt(static_cast<double>(q[i]))))
        << "q=" << q[i];
}

INSTANTIATE_TEST_SUITE_P(Targets, TofVector, testing::ValuesIn(pxtest::vector_targets()),
                         [](const auto& p) { return pxtest::target_label(p.param); });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(TofVector);

}  // namespace
#endif  // HWY_ONCE
