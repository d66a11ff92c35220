// The bilinear scaling context (common_img_scale) through its API: refusals,
// kernel choice, allocation failures, worked examples, and every vector kernel
// against the scalar reference bit for bit (many widths, padded strides with
// guards, buffers ending at a page, overlapping source and destination).
#include <pxkit.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "common/memory.h"
#include "scale/bilinear_kernels.h"
#include "scale/bilinear_tables.h"
#include "scale/common_scale_context.h"
#include "scale/image_test_util.h"

namespace {

using imgtest::same;
using pxkit::scale::BorderClamp;
using pxkit::scale::bilinear_entry;
using pxkit::scale::scalar_bilinear_kernels;

using Context = pxtest::Owned<void, &destroy_common_img_scale_ctx>;

struct Geometry {
  std::uint32_t src_width, src_height, dst_width, dst_height;
  std::uint32_t src_pad = 0, dst_pad = 0;  // extra samples at the end of each row
};

struct CreateArgs { std::uint32_t sw, ss, sh, dw, ds, dh, method, type; };

// Creates a context, its report kept in `printed` (null on refusal).
void* create_quietly(const CreateArgs& a, std::string* printed) {
  void* made = nullptr;
  *printed = pxtest::capture_stdout(
      [&] { made = create_common_img_scale_ctx(a.sw, a.ss, a.sh, a.dw, a.ds, a.dh, a.method, a.type); });
  return made;
}

// A context for `g` made while only `target` may be chosen (0 = scalar).
template <class T>
Context make_context(const Geometry& g, std::int64_t target) {
  pxtest::ScopedTarget only(target);
  std::string printed;
  const std::uint32_t sample = sizeof(T), type = sample == 2 ? PXKIT_SCALE_DATA_U16 : PXKIT_SCALE_DATA_F32;
  return Context(create_quietly({g.src_width, (g.src_width + g.src_pad) * sample, g.src_height, g.dst_width,
                                 (g.dst_width + g.dst_pad) * sample, g.dst_height, PXKIT_SCALE_METHOD_BILINEAR, type},
                                &printed));
}

// Scales `src` (rows of src_width + src_pad samples) on `target` into a
// destination that ends at an inaccessible page, twice, and returns its
// dst_width x dst_height samples. Fails the test if a padding byte after a
// row changed, a frame allocated or the second differs.
template <class T>
std::vector<T> scale(const Geometry& g, const std::vector<T>& src, std::int64_t target) {
  Context ctx = make_context<T>(g, target);
  EXPECT_NE(ctx, nullptr);
  if (ctx == nullptr) return {};
  const std::size_t row = g.dst_width + g.dst_pad;
  pxtest::PageEndBuffer in(src.size() * sizeof(T));
  std::memcpy(in.data(), src.data(), src.size() * sizeof(T));
  pxtest::PageEndBuffer out(row * g.dst_height * sizeof(T), imgtest::kGuard);
  const std::uint64_t before = pxtest::library_allocations();
  EXPECT_EQ(common_img_scale(ctx.get(), in.data(), out.data()), 0);
  // A second frame allocates nothing either and repeats the first.
  const std::vector<unsigned char> first(out.as<unsigned char>(), out.as<unsigned char>() + out.size());
  EXPECT_EQ(common_img_scale(ctx.get(), in.data(), out.data()), 0);
  EXPECT_EQ(pxtest::library_allocations(), before);
  EXPECT_TRUE(std::equal(first.begin(), first.end(), out.as<unsigned char>())) << "second frame differs";
  std::vector<T> result;
  const auto* bytes = out.as<unsigned char>();
  for (std::size_t j = 0; j < g.dst_height; ++j) {
    result.insert(result.end(), out.as<T>() + j * row, out.as<T>() + j * row + g.dst_width);
    for (std::size_t b = (j * row + g.dst_width) * sizeof(T); b < (j + 1) * row * sizeof(T); ++b)
      EXPECT_EQ(bytes[b], imgtest::kGuard) << "padding of row " << j << " written";
  }
  return result;
}

TEST(CommonScaleCreate, RefusalsComeInOrderWithTheirMessages) {
  struct Case { CreateArgs args; const char* message; };
  const Case cases[] = {
      {{0, 8, 4, 8, 16, 4, 2, 1}, "[error]: params not valid\n"},
      {{4, 8, 0, 8, 16, 4, 2, 1}, "[error]: params not valid\n"},
      {{4, 8, 4, 0, 16, 4, 2, 1}, "[error]: params not valid\n"},
      {{4, 8, 4, 8, 16, 0, 2, 1}, "[error]: params not valid\n"},
      {{4, 8, 4, 8, 16, 4, 0, 7}, "[error]: params not valid\n"},  // before the data type
      {{4, 8, 4, 8, 16, 4, 5, 3}, "[error]: not support data type 0x03\n"},  // before the method
      {{4, 8, 4, 8, 16, 4, 2, 0}, "[error]: not support data type 0x00\n"},
      {{4, 8, 4, 8, 16, 4, 2, 0x1ff}, "[error]: not support data type 0x1ff\n"},
      {{4, 8, 4, 8, 16, 4, 3, 2}, "[error]: not support method 0x03\n"},
      {{4, 8, 4, 4, 8, 4, 2, 1}, "[error]: non-scale, not supported yet\n"},
      {{9, 0, 3, 9, 0, 3, 2, 2}, "[error]: non-scale, not supported yet\n"},
      {{2, 4, 0xFFFFFFFFu, 0xFFFFFFFFu, 0, 3, 2, 2}, "[error]: no memory\n"},  // intermediate too large
  };
  for (const Case& c : cases) {
    std::string printed;
    EXPECT_EQ(Context(create_quietly(c.args, &printed)), nullptr) << c.message;
    EXPECT_EQ(printed, c.message);
  }
}

TEST(CommonScaleCreate, ChoosesTheKernelByGeometry) {
  const auto& k = scalar_bilinear_kernels();
  struct Case { std::uint32_t sw, sh, dw, dh; pxkit::scale::scale_kernel u16, f32; };
  const Case cases[] = {
      {8, 5, 8, 10, k.v2x_u16, k.v2x_f32},  // height exactly doubled
      {8, 5, 8, 9, k.v_u16, k.v_f32}, {8, 5, 8, 3, k.v_u16, k.v_f32}, {8, 5, 8, 15, k.v_u16, k.v_f32},
      {8, 5, 3, 5, k.h_u16, k.h_f32}, {8, 5, 16, 5, k.h_u16, k.h_f32},
      {8, 5, 16, 10, k.hv_u16, k.hv_f32},  // both differ, even when doubled
      {8, 5, 3, 2, k.hv_u16, k.hv_f32}};
  pxtest::ScopedTarget scalar(0);
  for (const Case& c : cases) {
    for (std::uint32_t type : {PXKIT_SCALE_DATA_U16, PXKIT_SCALE_DATA_F32}) {
      std::string printed;
      Context ctx(create_quietly({c.sw, 0, c.sh, c.dw, 0, c.dh, 2, type}, &printed));
      ASSERT_NE(ctx, nullptr);
      EXPECT_EQ(printed, "");  // a zero stride is accepted
      EXPECT_EQ(static_cast<const common_img_scale_ctx*>(ctx.get())->func_scale,
                type == PXKIT_SCALE_DATA_U16 ? c.u16 : c.f32)
          << c.sw << "x" << c.sh << " -> " << c.dw << "x" << c.dh << " type " << type;
    }
  }
}

TEST(CommonScaleCreate, EveryAllocationFailureIsReportedAndLeavesNothing) {
  // The context, the intermediate, the index table, the weight table.
  for (int k = 0; k < 4; ++k) {
    const std::uint64_t before = pxkit::mem::allocation_count();
    pxkit::mem::fail_allocation_after(k);
    std::string printed;
    void* ctx = create_quietly({6, 12, 4, 9, 36, 7, 2, 1}, &printed);
    pxkit::mem::fail_allocation_after(-1);
    EXPECT_EQ(ctx, nullptr) << k;
    EXPECT_EQ(printed, k < 2 ? "[error]: no memory\n"
                             : "[error]: no memory\n[error]: __setup_bilinear_scale_ctx_u8 failed\n");
    EXPECT_EQ(pxkit::mem::allocation_count() - before, static_cast<std::uint64_t>(k));
  }
}

TEST(CommonScaleFrame, RefusesNullPointersBadMagicAndAMissingKernel) {
  std::string printed;
  Context ctx(create_quietly({4, 8, 2, 2, 4, 2, 2, 1}, &printed));
  ASSERT_NE(ctx, nullptr);
  std::uint16_t src[8] = {}, dst[4] = {};
  std::int32_t result = 0;
  const auto call = [&](void* c, const void* s, void* d) {
    return pxtest::capture_stdout([&] { result = common_img_scale(c, s, d); });
  };
  for (const auto& [c, s, d] : {std::tuple<void*, void*, void*>{nullptr, src, dst}, {ctx.get(), nullptr, dst},
                                 {ctx.get(), src, nullptr}}) {
    char expected[160];
    std::snprintf(expected, sizeof expected, "[error]: null ctx %p, or null src %p dst %p\n", c, s, d);
    EXPECT_EQ(call(c, s, d), expected);
    EXPECT_EQ(result, -1);
  }

  auto* inner = static_cast<common_img_scale_ctx*>(ctx.get());
  inner->magic = 0x12345678u;
  EXPECT_EQ(call(ctx.get(), src, dst), "[error]: bad magic 0x12345678\n");
  EXPECT_EQ(result, -2);
  inner->magic = 0x963D5BA2u;
  const pxkit::scale::scale_kernel kernel = inner->func_scale;
  inner->func_scale = nullptr;
  EXPECT_EQ(call(ctx.get(), src, dst), "[error]: null func_scale\n");
  EXPECT_EQ(result, -3);
  inner->func_scale = kernel;
  EXPECT_EQ(call(ctx.get(), src, dst), "");
  EXPECT_EQ(result, 0);
}

TEST(BilinearTables, EntriesUse32BitPositionsAnd64BitProducts) {
  struct Case { std::uint32_t i, src, dst; std::uint32_t index, w0, w1; };
  const Case cases[] = {
      {0, 7, 3, 0, 2048, 0}, {1, 4, 6, 0, 683, 1365}, {4, 4, 6, 2, 683, 1365},
      {5, 4, 6, 3, 2048, 0},          // at the last column: clamped
      {2, 3, 2, 2, 2048, 0},          // past the last column: clamped
      {3, 1, 8, 0, 2048, 0},          // a single column
      {1000000, 100000, 2000000, 50000, 2048, 0},  // 2.048e14 needs 64 bits
      {1u << 21, 4000000, 3000000, 0, 2048, 0},    // i x 2048 wraps to 0 in 32 bits
      {(1u << 21) + 1000, 4000000, 3000000, 1333, 1366, 682}};
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
struct Example { const char* name; Geometry g; std::vector<T> src, expected; };

template <class T>
void check_on_every_target(const std::vector<Example<T>>& examples) {
  for (std::int64_t target : imgtest::all_targets()) {
    for (const Example<T>& e : examples) {
      const std::vector<T> got = scale(e.g, e.src, target);
      ASSERT_EQ(got.size(), e.expected.size()) << e.name;
      for (std::size_t k = 0; k < got.size(); ++k)
        EXPECT_EQ(std::memcmp(&got[k], &e.expected[k], sizeof(T)), 0)
            << e.name << " sample " << k << ": " << got[k] << " on " << pxtest::target_label(target);
    }
  }
}

TEST(BilinearValues, U16Examples) {
  using U16 = std::vector<std::uint16_t>;
  const std::vector<Example<std::uint16_t>> examples = {
      {"single source column", {1, 2, 5, 2}, {7, 9}, {7, 7, 7, 7, 7, 9, 9, 9, 9, 9}},
      {"2x wider: copies and rounded means, last column clamped", {4, 1, 8, 1},
       {10, 20, 31, 40}, {10, 15, 20, 26, 31, 36, 40, 40}},
      {"right border clamp at 1.5x", {4, 1, 6, 1}, {0, 300, 600, 900}, {0, 200, 400, 600, 800, 900}},
      {"height doubled: rounded means, last row repeated", {2, 2, 2, 4}, {1, 65535, 2, 65534},
       {1, 65535, 2, 65535, 2, 65534, 2, 65534}},
      {"bottom clamp at 1.5x height", {1, 2, 1, 3}, {100, 400}, {100, 300, 400}},
      {"65535 both directions up", {3, 3, 7, 5}, U16(9, 65535), U16(35, 65535)},
      {"65535 both directions down", {9, 7, 4, 3}, U16(63, 65535), U16(12, 65535)},
      // Column weights (1024, 1024) make Q4 168 from 10 and 11; row 0 has
      // weights (2048, 0): 168 >> 4 = 10; row 1 (1024, 1024) rounds two
      // truncated products: (((168 x 1024) >> 14) x 2 + 1) >> 1 = 10.
      {"Q4 example", {2, 2, 4, 4}, {10, 11, 10, 11},
       {10, 10, 11, 11, 10, 10, 11, 11, 10, 10, 11, 11, 10, 10, 11, 11}}};
  check_on_every_target(examples);
}

TEST(BilinearValues, F32KeepsCopiedSamplesAndLosesFractionsWhenInterpolating) {
  const std::vector<Example<float>> examples = {
      {"2x wider", {4, 1, 8, 1}, {-3.5f, 2.0f, 5.25f, -1.0f}, {-3.5f, 1.0f, 2.0f, 4.0f, 5.25f, 3.0f, -1.0f, -1.0f}},
      {"vertical, interpolated -3.5 gives 0", {2, 2, 2, 3}, {-3.5f, 7.75f, -3.5f, 100.0f},
       {-3.5f, 7.75f, 0.0f, 69.0f, -3.5f, 100.0f}},
      {"height doubled: (a + b) x 0.5 in float", {2, 2, 2, 4}, {-3.5f, 1.25f, 2.0f, 1e30f},
       {-3.5f, 1.25f, -0.75f, 1e30f * 0.5f, 2.0f, 1e30f, 2.0f, 1e30f}},
      {"both directions, 0.5 and -3.5", {2, 2, 4, 3}, {0.5f, -3.5f, 2.0f, 3.0f},
       {0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 2.0f, 2.0f, 2.0f, 2.0f, 2.0f, 3.0f, 3.0f}},
      // Products saturate at 2^32 - 1: Q4 (2^32 - 1) >> 4 on a copied row, and
      // ((2^32 - 1) >> 7) >> 4 where a huge sample is interpolated.
      {"both directions, saturated products", {2, 2, 4, 3}, {1e30f, -3.5f, 2.0f, 3.0f},
       {268435456.0f, 2097151.0f, 0.0f, 0.0f, 131073.0f, 44033.0f, 2.0f, 2.0f, 2.0f, 2.0f, 3.0f, 3.0f}}};
  check_on_every_target(examples);
}

template <class T>
std::vector<T> random_image(std::size_t n) {
  if constexpr (sizeof(T) == 2) {
    return pxtest::random_ints<std::uint16_t>(n, 0, 65535);
  } else {
    // Whole numbers, fractions, negatives, values whose products saturate, a
    // few infinities and NaNs.
    std::uniform_int_distribution<int> kind(0, 99);
    std::uniform_real_distribution<float> value(-70000.0f, 70000.0f);
    std::vector<float> v(n);
    for (float& x : v) {
      const int k = kind(pxtest::rng());
      x = k < 40 ? std::round(value(pxtest::rng()))
          : k < 90 ? value(pxtest::rng())
          : k < 96 ? value(pxtest::rng()) * 1e5f
          : k < 98 ? std::numeric_limits<float>::infinity() * (k == 96 ? 1.0f : -1.0f)
                   : std::numeric_limits<float>::quiet_NaN();
    }
    return v;
  }
}

// Geometries for each kernel around source width w.
std::vector<Geometry> geometries(std::uint32_t w, std::uint32_t case_no) {
  const std::uint32_t src_pad = case_no % 2 == 0 ? 0 : 3;
  const std::uint32_t dst_pad = case_no % 3 == 0 ? 0 : 5;
  const std::uint32_t smaller = w > 1 ? w * 2 / 3 : 2;
  // Horizontal up, down (or up from 1); vertical up, down, 2x; both up, down, mixed.
  return {{w, 3, w * 2 + 1, 3, src_pad, dst_pad},  {w, 2, smaller, 2, src_pad, dst_pad},
          {w, 5, w, 9, src_pad, dst_pad},          {w, 9, w, 4, src_pad, dst_pad},
          {w, 4, w, 8, src_pad, dst_pad},          {w, 5, w + 7, 11, src_pad, dst_pad},
          {w + 5, 7, std::max(1u, w / 2), 3, src_pad, dst_pad}, {w, 3, w * 3, 2, src_pad, dst_pad}};
}

// Source and destination in one buffer (the destination starting `shift`
// samples into the source, same stride).
template <class T>
std::vector<T> scale_in_place(const Geometry& g, std::uint32_t shift, const std::vector<T>& image,
                              std::int64_t target) {
  Context ctx = make_context<T>(g, target);
  EXPECT_NE(ctx, nullptr);
  std::vector<T> buffer = image;
  buffer.resize(image.size() + shift + std::size_t{g.dst_width} * g.dst_height + 64);
  EXPECT_EQ(ctx == nullptr ? 0 : common_img_scale(ctx.get(), buffer.data(), buffer.data() + shift), 0);
  return buffer;
}

std::string describe(const Geometry& g, std::int64_t target) {
  return std::to_string(g.src_width) + "x" + std::to_string(g.src_height) + " -> " + std::to_string(g.dst_width) +
         "x" + std::to_string(g.dst_height) + " pads " + std::to_string(g.src_pad) + "/" + std::to_string(g.dst_pad) +
         " on " + pxtest::target_label(target);
}

// Every kernel on many widths; then overlapping rows, whose results are those
// of the reference's ascending order on every target.
template <class T>
void check_equivalence() {
  const std::uint32_t widths[] = {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 23, 24, 31, 32,
                                  33, 40, 47, 48, 49, 63, 64, 65, 100};
  std::uint32_t case_no = 0;
  for (std::uint32_t w : widths) {
    for (const Geometry& g : geometries(w, case_no++)) {
      const auto src = random_image<T>(std::size_t{g.src_width + g.src_pad} * g.src_height);
      const std::vector<T> want = scale(g, src, 0);
      for (std::int64_t target : pxtest::vector_targets())
        EXPECT_TRUE(same(want, scale(g, src, target))) << describe(g, target);
    }
  }
  const std::uint32_t w = 37;
  for (const Geometry& g : {Geometry{w, 12, w, 7, 0, 0}, {w, 6, w, 12, 0, 0}, {w, 6, w, 11, 0, 0}, {w, 6, 25, 6, 0, 12},
                            {w, 6, 45, 6, 0, 0}, {w, 9, 30, 5, 0, 7}, {w, 5, 50, 9, 0, 0}}) {
    for (std::uint32_t shift : {0u, 1u, 9u, w + 3}) {
      const auto image = random_image<T>(std::size_t{w} * g.src_height);
      const std::vector<T> want = scale_in_place(g, shift, image, 0);
      for (std::int64_t target : pxtest::vector_targets())
        EXPECT_TRUE(same(want, scale_in_place(g, shift, image, target))) << describe(g, target) << " shift " << shift;
    }
  }
}

TEST(BilinearEquivalence, VectorKernelsEqualTheReferenceAlsoOnOverlappingRows) {
  check_equivalence<std::uint16_t>();
  check_equivalence<float>();
}

}  // namespace
