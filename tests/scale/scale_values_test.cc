// Worked examples of the bilinear rules, through the API, on the scalar
// reference and every vector target.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "scale/bilinear_tables.h"
#include "scale_test_util.h"

namespace {

using pxkit::scale::BorderClamp;
using pxkit::scale::bilinear_entry;
using scale_test::Geometry;

TEST(BilinearTables, EntriesUse32BitPositionsAnd64BitProducts) {
  struct Case {
    std::uint32_t i, src, dst;
    std::uint32_t index, w0, w1;
  };
  const Case cases[] = {
      {0, 7, 3, 0, 2048, 0},
      {1, 4, 6, 0, 683, 1365},
      {4, 4, 6, 2, 683, 1365},
      {5, 4, 6, 3, 2048, 0},          // at the last column: clamped
      {2, 3, 2, 2, 2048, 0},          // past the last column: clamped
      {3, 1, 8, 0, 2048, 0},          // a single column
      {1000000, 100000, 2000000, 50000, 2048, 0},  // 2.048e14 needs 64 bits
      {1u << 21, 4000000, 3000000, 0, 2048, 0},    // i x 2048 wraps to 0 in 32 bits
      {(1u << 21) + 1000, 4000000, 3000000, 1333, 1366, 682},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.i) + " of " + std::to_string(c.src) + " -> " + std::to_string(c.dst));
    const auto e = bilinear_entry(c.i, c.src, c.dst, BorderClamp::kYes);
    EXPECT_EQ(e.index, c.index);
    EXPECT_EQ(e.weights.w0, c.w0);
    EXPECT_EQ(e.weights.w1, c.w1);
  }
  // Without the clamp the last position reads its right neighbour.
  const auto free = bilinear_entry(5, 4, 6, BorderClamp::kNo);
  EXPECT_EQ(free.index, 3u);
  EXPECT_EQ(free.weights.w1, 682u);
}

template <class T>
struct Example {
  const char* name;
  Geometry g;
  std::vector<T> src, expected;
};

template <class T>
void check_on_every_target(const std::vector<Example<T>>& examples) {
  for (std::int64_t target : imgtest::all_targets()) {
    for (const Example<T>& e : examples) {
      const std::vector<T> got = scale_test::scale(e.g, e.src, target);
      ASSERT_EQ(got.size(), e.expected.size()) << e.name;
      for (std::size_t k = 0; k < got.size(); ++k)
        EXPECT_EQ(std::memcmp(&got[k], &e.expected[k], sizeof(T)), 0)
            << e.name << " sample " << k << ": " << got[k] << " on " << pxtest::target_label(target);
    }
  }
}

std::vector<std::uint16_t> repeat(std::uint16_t v, std::size_t n) { return std::vector<std::uint16_t>(n, v); }

TEST(BilinearValues, U16Examples) {
  const std::vector<Example<std::uint16_t>> examples = {
      {"single source column", {1, 2, 5, 2}, {7, 9}, {7, 7, 7, 7, 7, 9, 9, 9, 9, 9}},
      {"2x wider: copies and rounded means, last column clamped", {4, 1, 8, 1},
       {10, 20, 31, 40}, {10, 15, 20, 26, 31, 36, 40, 40}},
      {"right border clamp at 1.5x", {4, 1, 6, 1}, {0, 300, 600, 900},
       {0, 200, 400, 600, 800, 900}},
      {"height doubled: rounded means, last row repeated", {2, 2, 2, 4}, {1, 65535, 2, 65534},
       {1, 65535, 2, 65535, 2, 65534, 2, 65534}},
      {"bottom clamp at 1.5x height", {1, 2, 1, 3}, {100, 400}, {100, 300, 400}},
      {"65535 both directions up", {3, 3, 7, 5}, repeat(65535, 9), repeat(65535, 35)},
      {"65535 both directions down", {9, 7, 4, 3}, repeat(65535, 63), repeat(65535, 12)},
      // Column weights (1024, 1024) make Q4 168 from 10 and 11; row 0 has
      // weights (2048, 0): 168 >> 4 = 10; row 1 (1024, 1024) rounds two
      // truncated products: (((168 x 1024) >> 14) x 2 + 1) >> 1 = 10.
      {"Q4 example", {2, 2, 4, 4}, {10, 11, 10, 11},
       {10, 10, 11, 11, 10, 10, 11, 11, 10, 10, 11, 11, 10, 10, 11, 11}},
  };
  check_on_every_target(examples);
}

TEST(BilinearValues, F32KeepsCopiedSamplesAndLosesFractionsWhenInterpolating) {
  const std::vector<Example<float>> examples = {
      {"2x wider", {4, 1, 8, 1}, {-3.5f, 2.0f, 5.25f, -1.0f},
       {-3.5f, 1.0f, 2.0f, 4.0f, 5.25f, 3.0f, -1.0f, -1.0f}},
      {"vertical, interpolated -3.5 gives 0", {2, 2, 2, 3}, {-3.5f, 7.75f, -3.5f, 100.0f},
       {-3.5f, 7.75f, 0.0f, 69.0f, -3.5f, 100.0f}},
      {"height doubled: (a + b) x 0.5 in float", {2, 2, 2, 4}, {-3.5f, 1.25f, 2.0f, 1e30f},
       {-3.5f, 1.25f, -0.75f, 1e30f * 0.5f, 2.0f, 1e30f, 2.0f, 1e30f}},
      {"both directions, 0.5 and -3.5", {2, 2, 4, 3}, {0.5f, -3.5f, 2.0f, 3.0f},
       {0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 2.0f, 2.0f, 2.0f, 2.0f, 2.0f, 3.0f, 3.0f}},
      // Products saturate at 2^32 - 1: Q4 (2^32 - 1) >> 4 on a copied row, and
      // ((2^32 - 1) >> 7) >> 4 where a huge sample is interpolated.
      {"both directions, saturated products", {2, 2, 4, 3}, {1e30f, -3.5f, 2.0f, 3.0f},
       {268435456.0f, 2097151.0f, 0.0f, 0.0f, 131073.0f, 44033.0f, 2.0f, 2.0f, 2.0f, 2.0f, 3.0f, 3.0f}},
  };
  check_on_every_target(examples);
}

}  // namespace
