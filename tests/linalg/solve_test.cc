// solve_f32: refusals and messages, pivoting, tolerance, storage modes,
// allocations, the vector row updates against the scalar reference, and
// accuracy against a double-precision solve.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "common/memory.h"
#include "pxkit.h"
#include "scale/image_test_util.h"

namespace {

using Matrix = std::vector<float>;

// The result, x (filled with -7 before the call), matrix_a after it and the report.
struct Solved { std::int32_t result; std::vector<float> x; Matrix a; std::string printed; };

Solved run(Matrix a, const std::vector<float>& b, int flags) {
  Solved s{0, std::vector<float>(b.size(), -7.0f), {}, {}};
  const auto n = static_cast<std::int32_t>(b.size());
  s.printed = pxtest::capture_stdout([&] { s.result = solve_f32(a.data(), s.x.data(), b.data(), n, static_cast<std::uint8_t>(flags)); });
  s.a = std::move(a);
  return s;
}

// The definition taken literally: one pivot at a time, row references,
// std::fma everywhere the solver fuses.
Solved reference(Matrix a, const std::vector<float>& b) {
  const std::size_t n = b.size();
  Solved s{0, std::vector<float>(n, -7.0f), {}, {}};
  std::vector<float*> rows(n);
  std::vector<std::int32_t> perm(n + 1);
  for (std::size_t i = 0; i < n; ++i) rows[i] = a.data() + i * n, perm[i] = static_cast<std::int32_t>(i);
  for (std::size_t i = 0; i < n; ++i) {
    float largest = 0.0f;
    std::size_t p = i;
    for (std::size_t r = i; r < n; ++r)
      if (std::fabs(rows[r][i]) > largest) largest = std::fabs(rows[r][i]), p = r;
    if (largest < 0.0001f) {
      s.result = -1;
      s.a = std::move(a);
      return s;
    }
    std::swap(perm[i], perm[p]);
    std::swap(rows[i], rows[p]);
    for (std::size_t j = i + 1; j < n; ++j) {
      const float m = rows[j][i] / rows[i][i];
      rows[j][i] = m;
      for (std::size_t k = i + 1; k < n; ++k) rows[j][k] = std::fma(-m, rows[i][k], rows[j][k]);
    }
  }
  for (std::size_t i = 0; i < n; ++i) {
    s.x[i] = b[perm[i]];
    for (std::size_t k = 0; k < i; ++k) s.x[i] = std::fma(-rows[i][k], s.x[k], s.x[i]);
  }
  for (std::size_t i = n; i-- > 0;) {
    for (std::size_t k = i + 1; k < n; ++k) s.x[i] = std::fma(-rows[i][k], s.x[k], s.x[i]);
    s.x[i] = s.x[i] / rows[i][i];
  }
  s.a = std::move(a);
  return s;
}

std::vector<float> random_vector(std::size_t n, float limit = 100.0f) {
  std::uniform_real_distribution<float> dist(-limit, limit);
  std::vector<float> b(n);
  for (float& v : b) v = dist(pxtest::rng());
  return b;
}

Matrix random_matrix(std::size_t n, bool dominant) {
  Matrix a = random_vector(n * n, 1.0f);
  for (std::size_t i = 0; dominant && i < n; ++i) a[i * n + i] += static_cast<float>(n);
  return a;
}

using imgtest::same;

// Null pointers and a zero dimension are refused; a negative one does nothing.
TEST(SolveParams, RefusalsAndNegativeDimension) {
  float a[4] = {1, 0, 0, 1}, x[2] = {5, 5};
  const float b[2] = {1, 2};
  struct Case { float* a; float* x; const float* b; std::int32_t n, result; };
  for (const Case& c : {Case{nullptr, x, b, 2, -3}, Case{a, nullptr, b, 2, -3}, Case{a, x, nullptr, 2, -3},
                        Case{a, x, b, 0, -3}, Case{a, x, b, -3, 0}}) {
    char want[160] = "";
    if (c.result != 0)
      std::snprintf(want, sizeof want, "bad parameters matrix_a %p, x %p, b %p, matrix_dimension %d\n",
                    static_cast<void*>(c.a), static_cast<void*>(c.x), static_cast<const void*>(c.b), c.n);
    for (int flags : {0, 1}) {
      std::int32_t result = 1;
      EXPECT_EQ(pxtest::capture_stdout([&] { result = solve_f32(c.a, c.x, c.b, c.n, std::uint8_t(flags)); }), want);
      EXPECT_EQ(result, c.result);
    }
  }
  EXPECT_TRUE(x[0] == 5.0f && x[1] == 5.0f && a[1] == 0.0f && a[3] == 1.0f);
}

// Small systems in every storage mode: any nonzero 1 x 1 coefficient (no
// tolerance there), pivot exchanges, the tolerance, rank deficiency.
TEST(SolvePivoting, SmallSystems) {
  struct Case { Matrix a; std::vector<float> b; std::int32_t result; std::vector<float> x;
                const char* printed; };
  const Case cases[] = {
      {{1e-30f}, {1e-30f}, 0, {1.0f}, ""}, {{-1e-40f}, {0.0f}, 0, {-0.0f}, ""},  // subnormal: still accepted
      {{4.0f}, {2.0f}, 0, {0.5f}, ""}, {{0.0f}, {1.0f}, -1, {-7.0f}, "degenerate matrix(1x1)\n"},
      {{-0.0f}, {1.0f}, -1, {-7.0f}, "degenerate matrix(1x1)\n"}, {{0, 1, 1, 0}, {2, 3}, 0, {3, 2}, ""},
      // Last pivot exactly at the tolerance is accepted, just below it is not.
      {{1, 0, 0, 0.0001f}, {1, 0.0001f}, 0, {1, 1}, ""},
      {{1, 0, 0, 0.00009f}, {1, 1}, -1, {-7, -7}, "degenerate matrix\ndegenerate matrix(2x2)\n"},
      {{0.00009f, 1, 1, -0.00009f, 2, 1, 0, 1, 1}, {1, 1, 1}, -1, {-7, -7, -7},
       "degenerate matrix\ndegenerate matrix(3x3)\n"},
      // Rank 2: the third pivot vanishes after elimination.
      {{1, 2, 3, 2, 4, 7, 3, 6, 10}, {1, 2, 3}, -1, {-7, -7, -7}, "degenerate matrix\ndegenerate matrix(3x3)\n"},
      {{2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 4, 0, 0, 5, 0}, {2, 6, 8, 10}, 0, {1, 2, 2, 2}, ""}};
  for (const Case& c : cases) {
    for (int flags : {0, 1, 0xFE}) {
      const Solved s = run(c.a, c.b, flags);
      EXPECT_EQ(s.result, c.result);
      EXPECT_TRUE(same(s.x, c.x)) << c.a.size() << "x" << c.a.size() << " starting " << c.a[0];
      EXPECT_EQ(s.printed, c.printed);
      EXPECT_TRUE((flags & 1) != 0 || same(s.a, c.a)) << "copy mode must leave the matrix alone";
    }
  }
}

TEST(SolvePivoting, FirstOfEqualMaximaWinsAndRowsStayInPlace) {
  // |1| == |-1|: row 0 stays the pivot row, so memory row 1 gets the multiplier.
  const Solved s = run({1, 2, -1, 5}, {3, 4}, 1);
  ASSERT_EQ(s.result, 0);
  EXPECT_EQ(s.a, (Matrix{1, 2, -1, 7}));
  // A larger second row is exchanged by reference only: memory rows keep their place.
  const Solved t = run({1, 2, -4, 5}, {3, 4}, 1);
  ASSERT_EQ(t.result, 0);
  EXPECT_EQ(t.a, (Matrix{-0.25f, std::fma(0.25f, 5.0f, 2.0f), -4, 5}));
}

// Results, and the partial decompositions a failure leaves in place, match the
// one-pivot-at-a-time definition.
TEST(SolveEquivalence, MatchesTheLiteralDefinitionOnEveryTarget) {
  for (std::size_t n : {2u, 3u, 4u, 5u, 7u, 8u, 9u, 16u, 17u, 31u, 33u, 64u, 65u, 130u}) {
    for (int variant = 0; variant < 3; ++variant) {
      Matrix a = random_matrix(n, variant == 0);
      if (variant == 2) {  // singular: a column repeated, failing part way through
        for (std::size_t r = 0; r < n; ++r) a[r * n + n / 2] = a[r * n];
      }
      const std::vector<float> b = random_vector(n);
      const Solved want = reference(a, b);
      for (std::int64_t target : imgtest::all_targets()) {
        pxtest::ScopedTarget only(target);
        for (int flags : {0, 1}) {
          const Solved got = run(a, b, flags);
          SCOPED_TRACE(pxtest::target_label(target) + " n=" + std::to_string(n) + " flags " + std::to_string(flags));
          ASSERT_EQ(got.result, want.result);
          ASSERT_TRUE(same(got.x, want.x));
          ASSERT_TRUE(same(got.a, flags ? want.a : a));
        }
      }
    }
  }
}

// In place up to 512 unknowns allocates nothing (513 takes two blocks); copy
// and in place give the definition's result, whose residual is small.
TEST(SolveStorage, InPlaceUpTo512AllocatesNothingAndLargeSystemsMatchTheDefinition) {
  for (std::size_t n : {2u, 100u, 512u, 513u}) {
    const Matrix a = random_matrix(n, true);
    const std::vector<float> b = random_vector(n);
    const std::uint64_t before = pxtest::library_allocations();
    const Solved s = run(a, b, 1);
    EXPECT_EQ(pxtest::library_allocations() - before, n <= 512 ? 0u : 2u) << "n=" << n;
    ASSERT_EQ(s.result, 0);
    const std::vector<float> want = reference(a, b).x;
    EXPECT_TRUE(same(s.x, want) && same(run(a, b, 0).x, want)) << "n=" << n;
    double worst = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
      double r = -double{b[i]};
      for (std::size_t k = 0; k < n; ++k) r += double{a[i * n + k]} * s.x[k];
      worst = std::max(worst, std::fabs(r));
    }
    EXPECT_LT(worst, 2e-3) << "n=" << n;
  }
}

TEST(SolveStorage, OutOfMemoryReturnsZeroWithoutSolving) {
  const Matrix a = random_matrix(600, true);
  const std::vector<float> b = random_vector(600);
  for (int successes : {0, 1, 2}) {
    for (int flags : {0, 1}) {
      if (flags == 1 && successes == 2) continue;  // in place makes only two allocations
      pxkit::mem::fail_allocation_after(successes);
      const Solved s = run(a, b, flags);
      pxkit::mem::fail_allocation_after(-1);
      EXPECT_EQ(s.result, 0);
      EXPECT_EQ(s.printed, "");
      EXPECT_EQ(s.x, std::vector<float>(600, -7.0f));
      EXPECT_EQ(s.a, a);
    }
  }
}

}  // namespace
