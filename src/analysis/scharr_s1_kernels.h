// Stripe kernels of the Scharr edge suppression: one template over the pixel
// type and the test, instantiated once as the scalar reference and once per
// vector target. A kernel walks its stripe's rows keeping three rows of
// smoothing and difference values that slide down one row per output row.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <type_traits>

#include "common/stripes.h"
#include "threadpool/thread_pool.h"

namespace pxkit::analysis {

// One stripe of a frame: `rows` output rows starting at src / dst (column 1 of
// the stripe's first row). The frame call sets the pointers and the tests'
// values; init sets the rest.
struct s1_stripe {
  std::uint32_t width;
  std::uint32_t rows;
  float threshold;
  float epsilon;  // relative test only
  const void* src;
  void* dst;
  void* smooth;  // 3 rows of width values (int32 for u16, float for f32)
  void* diff;    // the same for the differences
  thread_pool_task task;
  std::uint32_t index;  // 0..7
};

// Kernel table, in this order: the plain tests of both types and the
// relative test of f32 (the choice table is in scharr_s1_frame.cc).
using S1KernelTable = stripes::KernelTable<3>;
inline constexpr std::size_t kS1U16Plain = 0;
inline constexpr std::size_t kS1F32Plain = 1;
inline constexpr std::size_t kS1F32Relative = 2;

const S1KernelTable& s1_scalar_kernels();
// The best usable vector target's table, or the scalar one.
const S1KernelTable& s1_active_kernels();

// ---- Per-pixel rules ------------------------------------------------------

enum class S1Test { kPlain, kRelative };

// The u16 threshold: truncated toward zero to a signed 32-bit integer,
// saturating (beyond +-2^31), NaN -> 0, as Arm's conversion does.
inline std::int32_t s1_integer_threshold(float threshold) {
  if (std::isnan(threshold)) return 0;
  if (threshold >= 2147483648.0f) return std::numeric_limits<std::int32_t>::max();
  if (threshold <= -2147483648.0f) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(threshold);
}

// Smoothing and difference of one row at column c: integers for u16, single
// precision for f32, in this order: s = 3 (l + r) + 10 m, d = r - l.
inline std::int32_t s1_smooth(std::uint16_t l, std::uint16_t m, std::uint16_t r) {
  return 3 * (std::int32_t{l} + r) + 10 * std::int32_t{m};
}
inline std::int32_t s1_diff(std::uint16_t l, std::uint16_t r) { return std::int32_t{r} - l; }
inline float s1_smooth(float l, float m, float r) { return 3.0f * (l + r) + 10.0f * m; }
inline float s1_diff(float l, float r) { return r - l; }

// |gx| + |gy| with gx = 3 (d_t + d_b) + 10 d_m and gy = s_b - s_t.
inline std::int32_t s1_sum(std::int32_t s_t, std::int32_t s_b, std::int32_t d_t, std::int32_t d_m,
                           std::int32_t d_b) {
  return std::abs(3 * (d_t + d_b) + 10 * d_m) + std::abs(s_b - s_t);
}
inline float s1_sum(float s_t, float s_b, float d_t, float d_m, float d_b) {
  return std::fabs(3.0f * (d_t + d_b) + 10.0f * d_m) + std::fabs(s_b - s_t);
}

// What one stripe's tests need, fixed for the whole stripe.
template <class T>
struct S1Limits;
template <>
struct S1Limits<std::uint16_t> {
  std::int32_t threshold;
  explicit S1Limits(const s1_stripe& s) : threshold(s1_integer_threshold(s.threshold)) {}
};
template <>
struct S1Limits<float> {
  float threshold;
  float epsilon;
  explicit S1Limits(const s1_stripe& s) : threshold(s.threshold), epsilon(s.epsilon) {}
};

// The result pixel: 0 when the test says the gradient is too strong.
template <S1Test kTest>
inline std::uint16_t s1_result(std::int32_t sum, std::uint16_t p,
                               const S1Limits<std::uint16_t>& lim) {
  return sum > lim.threshold ? std::uint16_t{0} : p;
}
template <S1Test kTest>
inline float s1_result(float sum, float p, const S1Limits<float>& lim) {
  if constexpr (kTest == S1Test::kRelative) {
    return sum / (p + lim.epsilon) > lim.threshold ? 0.0f : p;
  } else {
    return sum > lim.threshold ? 0.0f : p;
  }
}

// ---- The stripe walk ------------------------------------------------------

// Value type of the scratch rows for a pixel type.
template <class T>
using s1_acc = std::conditional_t<std::is_same_v<T, float>, float, std::int32_t>;

// Runs one stripe with Rows::pass(src_row, width, s, d), which fills s[c] and
// d[c] for 1 <= c <= width - 2, and Rows::next_row<kTest>(s3, d3, src_row,
// dst_row, width, limits), which first passes the row below src_row into
// s3[2], d3[2] and then writes dst_row[c] for the same columns (a vector
// kernel may do both in one sweep). Source row pointers are at column 0.
template <class Rows, class T, S1Test kTest>
std::int32_t s1_run_stripe(std::uint64_t arg0, std::uint64_t /*arg1*/) {
  using A = s1_acc<T>;
  const s1_stripe& st = stripes::block_of<s1_stripe>(arg0);
  if (st.rows == 0 || st.width < 3) return 0;
  const std::size_t w = st.width;
  const S1Limits<T> limits(st);
  // The stripe's pointers are at column 1 of its first row.
  const T* src = static_cast<const T*>(st.src) - 1;
  T* dst = static_cast<T*>(st.dst) - 1;
  A* s[3];
  A* d[3];
  for (int i = 0; i < 3; ++i) {
    s[i] = static_cast<A*>(st.smooth) + i * w;
    d[i] = static_cast<A*>(st.diff) + i * w;
  }
  Rows::pass(src - w, w, s[0], d[0]);
  Rows::pass(src, w, s[1], d[1]);
  for (std::size_t r = 0; r < st.rows; ++r) {
    const T* row = src + r * w;
    Rows::template next_row<kTest>(s, d, row, dst + r * w, w, limits);
    // Slide: the middle row becomes the top, the bottom the middle.
    A* const s_top = s[0];
    A* const d_top = d[0];
    s[0] = s[1], s[1] = s[2], s[2] = s_top;
    d[0] = d[1], d[1] = d[2], d[2] = d_top;
  }
  return 0;
}

template <class Rows>
constexpr S1KernelTable make_s1_kernels() {
  return {&s1_run_stripe<Rows, std::uint16_t, S1Test::kPlain>,
          &s1_run_stripe<Rows, float, S1Test::kPlain>,
          &s1_run_stripe<Rows, float, S1Test::kRelative>};
}

}  // namespace pxkit::analysis
