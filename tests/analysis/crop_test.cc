// The perspective crop through its C API: refusals and messages, the stripe
// split, hand-made mappings, and the vector kernels against the scalar
// reference bit for bit: random sources ending at an unreadable page, widths
// across several vector lengths, padded rows with guards, plausible and
// extreme perspective matrices.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "analysis/crop_context.h"
#include "common/memory.h"
#include "scale/image_test_util.h"

namespace {

using Image = imgtest::Plane;
using Matrix = std::vector<float>;
using pxkit::analysis::datacode_crop_ctx;

const Matrix kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};

struct Ctx {
  datacode_crop_ctx* ctx = nullptr;
  std::string printed;
  ~Ctx() { destroy_datacode_bili_inter_crop_ctx(ctx); }
};

void create(Ctx& c, std::int32_t threads, Image& src, Image& dst, const Matrix& m,
            std::uint32_t xo = 0, std::uint32_t yo = 0) {
  const datacode_image s = src.record(), d = dst.record();
  c.printed = pxtest::capture_stdout([&] {
    c.ctx = static_cast<datacode_crop_ctx*>(create_datacode_bili_inter_crop_ctx(threads, &s, &d, m.data(), xo, yo));
  });
}

std::int32_t run_pooled(void* ctx, std::string* printed = nullptr) {
  std::int32_t result = 0;
  const std::string out = pxtest::capture_stdout([&] { result = datacode_bili_inter_crop_parallel_u8(ctx); });
  if (printed != nullptr) *printed = out;
  return result;
}

TEST(CropCreate, RefusesBadParameters) {
  Image src = Image(8, 8), dst = Image(4, 4);
  datacode_image s = src.record(), d = dst.record(), no_data = {4, 4, 4, nullptr};
  struct Case { std::int32_t threads; const datacode_image* s; const datacode_image* d; const float* m; };
  for (const Case& c : {Case{0, &s, &d, kIdentity.data()}, Case{2, nullptr, &d, kIdentity.data()},
                        Case{2, &s, nullptr, kIdentity.data()}, Case{2, &s, &d, nullptr},
                        Case{2, &s, &no_data, kIdentity.data()}, Case{2, &no_data, &d, kIdentity.data()}}) {
    void* ctx = &s;
    EXPECT_EQ(pxtest::capture_stdout([&] { ctx = create_datacode_bili_inter_crop_ctx(c.threads, c.s, c.d, c.m, 0, 0); }),
              "[error]: params not valid\n");
    EXPECT_EQ(ctx, nullptr);
  }
  pxkit::mem::fail_allocation_after(0);
  Ctx c;
  create(c, 2, src, dst, kIdentity);
  pxkit::mem::fail_allocation_after(-1);
  EXPECT_EQ(c.printed, "[error]: no memory\n");
  EXPECT_EQ(c.ctx, nullptr);
}

TEST(CropCreate, StripeSplit) {
  struct Case { std::int32_t threads; std::uint32_t height; std::vector<std::uint32_t> rows; };
  const Case cases[] = {
      {12, 64, {8, 8, 8, 8, 8, 8, 8, 8}}, {4, 10, {2, 2, 2, 4}},
      {8, 10, {2, 2, 2, 2, 2, 0, 0, 0}},  // rows_per 2: stripes 5-7 would start past row 9
      {3, 7, {2, 2, 3}}, {1, 7, {7}}, {2, 1, {0, 1}}};
  for (const Case& k : cases) {
    Image src = Image(16, 16), dst = Image(5, k.height, 3);
    Ctx c;
    create(c, k.threads, src, dst, kIdentity, 0, 100);
    ASSERT_NE(c.ctx, nullptr);
    EXPECT_EQ(c.printed, "");
    ASSERT_EQ(c.ctx->number_of_parallel, k.rows.size());
    std::uint32_t first = 0;
    for (std::uint32_t s = 0; s < k.rows.size(); ++s) {
      const auto& b = c.ctx->stripes[s];
      EXPECT_TRUE(b.rows == k.rows[s] && b.src_pitch == 0u && b.index == s) << k.threads << " threads, stripe " << s;
      // Empty stripes aside: the next rows of dst, Y = j + y_offset + 1 in Q19.
      EXPECT_TRUE(b.rows == 0 || (b.dst == dst.bytes.data() + std::size_t{first} * dst.stride &&
                                  b.row_y == static_cast<std::int32_t>((101 + first) * 524288u)));
      first += b.rows;
    }
    EXPECT_EQ(first, k.height);
    EXPECT_EQ(run_pooled(c.ctx), 0);
  }
}

// Contexts without a pool (no worker started, more than a pool's 32 workers)
// or whose pool refuses tasks: the run refuses them.
TEST(CropRun, RefusesContextsWithoutPoolOrStripes) {
  Image src = Image(16, 16), dst = Image(4, 4);
  std::string printed;
  EXPECT_EQ(run_pooled(nullptr, &printed), -1);
  EXPECT_EQ(printed, "fatal: internal bug, thread_pool (nil), number_of_parallel 0\n");
  struct Case { std::int32_t threads; bool fail_start, stop_pool; const char *created, *ran; std::int32_t rc; };
  for (const Case& c :
       {Case{4, true, false, nullptr, "fatal: internal bug, thread_pool (nil), number_of_parallel 1\n", -1},
        Case{33, false, false, "thread number 33 exceed max 32\nerror: thread pool create fail\n",
             "fatal: internal bug, thread_pool (nil), number_of_parallel 1\n", -1},
        Case{2, false, true, "", "error: invalid params\nfatal: add task fail\n", -2}}) {
    std::optional<pxtest::ScopedThreadStartFailure> no_threads;
    if (c.fail_start) no_threads.emplace(0);
    Ctx k;
    create(k, c.threads, src, dst, kIdentity);
    ASSERT_NE(k.ctx, nullptr);
    const bool no_pool = k.printed.find("error: thread pool create fail\n") != std::string::npos;
    EXPECT_TRUE(c.created ? k.printed == c.created : no_pool) << k.printed;
    EXPECT_TRUE(c.stop_pool || (k.ctx->number_of_parallel == 1u && k.ctx->stripes[0].rows == 4u)) << c.threads;
    if (c.stop_pool) k.ctx->pool->state = 0;  // a pool that refuses tasks: nothing queued, nothing waited for
    EXPECT_EQ(run_pooled(k.ctx, &printed), c.rc);
    EXPECT_EQ(printed, c.ran);
    if (c.stop_pool) k.ctx->pool->state = 1;
  }
  destroy_datacode_bili_inter_crop_ctx(nullptr);
}

// Hand-made cases: src(x, y) = 3x + 7y + 1 so every sample is recognisable.
Image ramp(std::uint32_t w, std::uint32_t h, std::uint32_t padding) {
  Image im = Image(w, h, padding);
  for (std::uint32_t y = 0; y < h; ++y)
    for (std::uint32_t x = 0; x < w; ++x) im.at(x, y) = static_cast<std::uint8_t>(3 * x + 7 * y + 1);
  return im;
}

// Hand-made cases through the single call and the pooled crop with several
// stripe counts: want(i, j, pooled) is the expected byte, or -1 where any
// value is right.
TEST(CropMapping, HandMadeCases) {
  struct Case {
    std::string name;
    Matrix m;
    Image src;
    std::uint32_t dst_w, dst_h, xo, yo;
    std::function<int(std::uint32_t i, std::uint32_t j, bool pooled)> want;
    std::vector<std::int32_t> threads = {0, 3};  // 0: the single call
  };
  std::vector<Case> cases;
  // The identity shifts by one and blanks the last two columns and rows; the
  // pooled crop reads every sample from the source's first row.
  const Image r = ramp(12, 10, 2);
  cases.push_back({"identity", kIdentity, r, 13, 11, 2, 1, [r](std::uint32_t i, std::uint32_t j, bool pooled) {
                     const std::uint32_t qx = i + 2 + 1, qy = j + 1 + 1;
                     return qx <= r.width - 3 && qy <= r.height - 3 ? int{r.at(qx, pooled ? 0 : qy)} : 0;
                   }, {0, 1, 3, 12}});
  // Denominator 0, points left of column 1, x negative everywhere: 0.
  for (const Matrix& m : {Matrix{1, 0, 0, 0, 1, 0, 0, 0, 0}, Matrix{1, 0, -3, 0, 1, 0, 0, 0, 1},
                          Matrix{-1, 0, 0, 0, 1, 0, 0, 0, 1}})
    for (std::uint32_t w : {3u, 20u})
      cases.push_back({"zero, width " + std::to_string(w), m, ramp(32, 32, 0), w, 4, 0, 0,
                       [m](std::uint32_t i, std::uint32_t, bool) {
                         return m[8] == 0 || std::int64_t{i} + 1 + std::int64_t(m[2]) < 1 || m[0] < 0 ? 0 : -1;
                       }});
  // Shift by 0.45 pixel over columns alternating 0 and 100: the single call's
  // groups round (fx = 4/8: 50), its tail truncates (fx = 3/8: 37 or 62); the
  // pooled crop's 8-bit fraction 115/256 gives 44 or 55.
  Image stripes = Image(40, 6);
  for (std::uint32_t y = 0; y < stripes.height; ++y)
    for (std::uint32_t x = 0; x < stripes.width; ++x) stripes.at(x, y) = x % 2 ? 100 : 0;
  for (std::uint32_t w = 1; w <= 25; ++w)
    cases.push_back({"shift, width " + std::to_string(w), {1, 0, 0.45f, 0, 1, 0, 0, 0, 1}, stripes, w, 2, 0, 0,
                     [w](std::uint32_t i, std::uint32_t, bool pooled) {
                       const bool even = (i + 1) % 2 == 0;  // qx = i + 1
                       return pooled ? (even ? 44 : 55) : i < (w < 9 ? 0 : (w - 1) / 8 * 8) ? 50 : even ? 37 : 62;
                     }});
  for (Case& c : cases) {
    for (std::int32_t threads : c.threads) {
      const bool pooled = threads > 0;
      SCOPED_TRACE(c.name + ", threads " + std::to_string(threads));
      Image dst = Image(c.dst_w, c.dst_h, 3);
      if (pooled) {
        Ctx k;
        create(k, threads, c.src, dst, c.m, c.xo, c.yo);
        const std::uint64_t before = pxtest::library_allocations();
        ASSERT_EQ(run_pooled(k.ctx), 0);  // twice: frames repeat and allocate nothing
        ASSERT_EQ(run_pooled(k.ctx), 0);
        EXPECT_EQ(pxtest::library_allocations(), before);
      } else {
        const datacode_image s = c.src.record(), d = dst.record();
        ASSERT_EQ(datacode_bili_inter_crop_u8(&s, &d, c.m.data(), c.xo, c.yo), 0);
      }
      for (std::uint32_t j = 0; j < dst.height; ++j)
        for (std::uint32_t i = 0; i < dst.width; ++i)
          if (const int want = c.want(i, j, pooled); want >= 0) {
            ASSERT_EQ(dst.at(i, j), want) << i << "," << j;
          }
      EXPECT_TRUE(dst.guards_intact());
    }
  }
}

// A perspective map of the destination into a source of about src_w x src_h,
// last row near (0, 0, 1); kind 1: entries anywhere in the Q19 range and
// beyond (saturation, den 0 and -1, huge quotients); kind 2: num_x = 3 den - 1
// and num_y = 5 den exactly (quotients at or just below an integer, where one
// through a reciprocal is most likely to need correcting; every entry a
// multiple of 2^-19 exact in f32); kind 3: see below.
Matrix random_matrix(int kind, float src_w, float src_h, float dst_w, float dst_h) {
  std::mt19937& g = pxtest::rng();
  auto u = [&](float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(g); };
  if (kind == 3) {
    // num_x climbs by 2^28 a column and passes INT32_MAX; den and num_y are
    // 2^30, so a saturated num_x still samples column 1 while a wrapped one
    // gives 0: the single call's saturating lane steps show.
    return {512, 0, 0, 0, 0, 2048, 0, 0, 2048};
  }
  if (kind == 2) {
    Matrix m(9);
    for (int k = 6; k < 9; ++k) {
      const int e = std::uniform_int_distribution<int>(0, 22)(g);
      m[k] = static_cast<float>(std::uniform_int_distribution<int>(-(1 << e), 1 << e)(g)) / 524288.0f;
      m[k - 6] = 3 * m[k];
      m[k - 3] = 5 * m[k];
    }
    m[2] -= 1.0f / 524288.0f;
    return m;
  }
  if (kind == 1) {
    Matrix m(9);
    for (float& v : m) {
      const int pick = std::uniform_int_distribution<int>(0, 5)(g);
      v = pick == 0 ? 0.0f : pick == 1 ? u(-5000.0f, 5000.0f) : pick == 2 ? -1.0f / 524288.0f : u(-2.0f, 2.0f);
    }
    return m;
  }
  const float sx = src_w / dst_w, sy = src_h / dst_h;
  return {u(0.3f, 1.3f) * sx, u(-0.3f, 0.3f) * sx, u(-4.0f, src_w / 4),
          u(-0.3f, 0.3f) * sy, u(0.3f, 1.3f) * sy, u(-4.0f, src_h / 4),
          u(-0.002f, 0.002f), u(-0.002f, 0.002f), u(0.8f, 1.2f)};
}

struct Source {
  std::uint32_t width, height, stride;
  pxtest::PageEndBuffer buffer;
  Source(std::uint32_t w, std::uint32_t h, std::uint32_t pad)
      : width(w), height(h), stride(w + pad), buffer(std::size_t{w + pad} * (h - 1) + w) {
    const auto v = pxtest::random_ints<std::uint8_t>(buffer.size(), 0, 255);
    std::memcpy(buffer.data(), v.data(), v.size());
  }
  datacode_image record() const { return {width, height, stride, buffer.as<std::uint8_t>()}; }
};

struct Config { std::uint32_t src_w, src_h, src_pad, dst_w, dst_h, dst_pad, xo, yo; int kind; };

std::vector<Config> configs(std::uint32_t max_width) {
  std::vector<Config> out;
  auto r = [](std::uint32_t lo, std::uint32_t hi) { return pxtest::random_ints<std::uint32_t>(1, lo, hi)[0]; };
  for (std::uint32_t w = 1; w <= max_width; ++w) {
    const bool tiny = w % 7 == 0;  // sources too small for any valid point, or the vector loads
    out.push_back({tiny ? r(1, 5) : r(20, 90), tiny ? r(1, 5) : r(8, 60), r(0, 9), w, r(1, 7), r(0, 5),
                   r(0, 3), r(0, 3), w % 5 == 4 ? 3 : static_cast<int>(w % 3)});
  }
  return out;
}

// The single call (threads 0) or the pooled crop, its stripe kernel optionally
// given the source pitch (create always leaves it 0).
Image run(const Source& src, const Config& c, const Matrix& m, std::int64_t target, std::int32_t threads,
          bool with_pitch) {
  pxtest::ScopedTarget only(target);
  Image dst(c.dst_w, c.dst_h, c.dst_pad);
  const datacode_image s = src.record(), d = dst.record();
  if (threads == 0) {
    EXPECT_EQ(datacode_bili_inter_crop_u8(&s, &d, m.data(), c.xo, c.yo), 0);
    return dst;
  }
  auto* ctx = static_cast<pxkit::analysis::datacode_crop_ctx*>(
      create_datacode_bili_inter_crop_ctx(threads, &s, &d, m.data(), c.xo, c.yo));
  if (with_pitch)
    for (auto& b : ctx->stripes) b.src_pitch = src.stride;
  EXPECT_EQ(datacode_bili_inter_crop_parallel_u8(ctx), 0);
  destroy_datacode_bili_inter_crop_ctx(ctx);
  return dst;
}

TEST(CropEquivalence, SingleCallAndStripeKernelVectorEqualsScalar) {
  for (const Config& c : configs(3 * 16 + 1)) {
    const Source src(c.src_w, c.src_h, c.src_pad);
    const Matrix m = random_matrix(c.kind, float(c.src_w), float(c.src_h), float(c.dst_w), float(c.dst_h));
    const std::int32_t threads = static_cast<std::int32_t>(c.dst_w % 4 + 1);
    for (const auto& [t, pitch] : {std::pair{0, false}, {threads, false}, {threads, true}}) {
      SCOPED_TRACE("dst width " + std::to_string(c.dst_w) + " kind " + std::to_string(c.kind) + " threads " +
                   std::to_string(t) + " pitch " + std::to_string(pitch));
      const Image want = run(src, c, m, 0, t, pitch);
      ASSERT_TRUE(want.guards_intact());
      if (t == 0 && c.kind == 3 && c.dst_w >= 9 && c.src_w >= 4 && c.src_h >= 4) {
        // Saturated lanes (columns 7 on, within the groups) still sample the source.
        EXPECT_NE(std::count(want.bytes.begin(), want.bytes.begin() + 8, 0), 8);
      }
      for (std::int64_t target : pxtest::vector_targets())
        ASSERT_EQ(run(src, c, m, target, t, pitch).bytes, want.bytes) << pxtest::target_label(target);
    }
  }
}

}  // namespace
