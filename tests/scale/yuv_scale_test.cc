// The YUV 4:2:0 scaler (img_scale) through its API: refusals, allocation
// failures, and every driver on every target against a per-pixel model of the
// definitions, with zero tolerance. Sources end at an inaccessible page right
// after the last byte the scaler may read; destination planes carry guards.
#include <pxkit.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "common/memory.h"
#include "scale/area_tables.h"
#include "scale/image_test_util.h"
#include "scale/yuv_scale_context.h"

namespace {

struct Geometry { std::uint32_t sw, sh, dw, dh; };

// Table entry i of s -> d from the definition: index and second weight.
struct Tap { std::uint32_t index, w1; };
Tap bilinear_tap(std::uint32_t s, std::uint32_t d, std::uint32_t i) {
  const std::uint64_t p = std::uint64_t{s} * i * 2048 / d;
  return {static_cast<std::uint32_t>(p >> 11), static_cast<std::uint32_t>(p & 2047)};
}

// Area span of destination entry i: first and last source entries and their weights.
struct Span { std::uint32_t first, last; float wf, wl; };
Span area_span(std::uint32_t s, std::uint32_t d, std::uint32_t i) {
  const std::uint64_t start = std::uint64_t{i} * s, end = start + s;
  const float r = 1.0f / static_cast<float>(d);
  Span sp{static_cast<std::uint32_t>(start / d), static_cast<std::uint32_t>(end / d - 1),
          std::fma(-r, float(start % d), 1.0f), 1.0f};
  if (end % d != 0) sp.last = static_cast<std::uint32_t>(end / d), sp.wl = static_cast<float>(end % d) * r;
  return sp;
}

// Source entries read along a dimension: up-scaling bilinear reads one
// beyond the frame, nothing else does.
std::uint32_t reach(std::uint32_t s, std::uint32_t d, std::uint32_t method) {
  if (method == PXKIT_SCALE_AREA) return s;
  if (d == 0) return 0;
  const Tap t = bilinear_tap(s, d, d - 1);
  return std::max(s, t.index + 1 + (t.w1 != 0 ? 1u : 0u));
}

// An NV12 source whose luma and chroma planes each end at an inaccessible page
// right after the last byte the scaler may read; rows are `pad` bytes longer.
class Source {
 public:
  Source(const Geometry& g, std::uint32_t method, std::uint32_t pad) {
    const std::uint32_t cols = reach(g.sw, g.dw, method), rows = reach(g.sh, g.dh, method);
    const std::uint32_t pairs = reach(g.sw / 2, g.dw / 2, method), crows = reach(g.sh / 2, g.dh / 2, method);
    const std::uint32_t ys = cols + pad, cs = 2 * pairs + pad;
    const std::size_t cbytes = crows == 0 ? 1 : std::size_t{cs} * (crows - 1) + 2 * pairs;
    y_ = std::make_unique<pxtest::PageEndBuffer>(std::size_t{ys} * (rows - 1) + cols);
    uv_ = std::make_unique<pxtest::PageEndBuffer>(std::max<std::size_t>(cbytes, 1));
    for (const auto* b : {y_.get(), uv_.get()}) {
      const auto v = pxtest::random_ints<std::uint8_t>(b->size(), 0, 255);
      std::memcpy(b->data(), v.data(), v.size());
    }
    planes_ = {{y_->as<std::uint8_t>(), uv_->as<std::uint8_t>()}, {ys, cs}};
  }
  const img_planes& planes() const { return planes_; }
  void fill(std::uint8_t v) {
    for (const auto* b : {y_.get(), uv_.get()}) std::memset(b->data(), v, b->size());
  }
  // Sample x, y of plane k (0 luma; 1, 2 the chroma channels of pair x).
  std::uint32_t at(int k, std::uint32_t x, std::uint32_t y) const {
    const int p = k == 0 ? 0 : 1;
    return planes_.plane[p][std::size_t{y} * planes_.stride[p] + (k == 0 ? x : 2 * x + k - 1)];
  }

 private:
  std::unique_ptr<pxtest::PageEndBuffer> y_, uv_;
  img_planes planes_{};
};

// Tightly packed I420 result planes.
using Planes = std::array<std::vector<std::uint8_t>, 3>;

// The expected I420 planes of `method` on `src`, pixel by pixel.
Planes model(const Source& src, const Geometry& g, std::uint32_t method) {
  Planes out;
  for (int k = 0; k < 3; ++k) {
    const std::uint32_t sw = k ? g.sw / 2 : g.sw, sh = k ? g.sh / 2 : g.sh;
    const std::uint32_t dw = k ? g.dw / 2 : g.dw, dh = k ? g.dh / 2 : g.dh;
    const float factor = (float(dw) * float(dh)) / (float(sw) * float(sh));
    auto h = [&](std::uint32_t x, std::uint32_t y) -> std::uint32_t {  // bilinear, Q4 after 2048ths
      const Tap c = bilinear_tap(sw, dw, x);
      if (c.w1 == 0) return src.at(k, c.index, y) * 128;
      return (src.at(k, c.index, y) * (2048 - c.w1) + src.at(k, c.index + 1, y) * c.w1) >> 4;
    };
    for (std::uint32_t y = 0; y < dh; ++y) {
      for (std::uint32_t x = 0; x < dw; ++x) {
        if (method == PXKIT_SCALE_BILINEAR) {
          const Tap r = bilinear_tap(sh, dh, y);
          const std::uint32_t ta = h(x, r.index);
          out[k].push_back(static_cast<std::uint8_t>(
              r.w1 == 0 ? ta >> 7 : (((ta * (2048 - r.w1)) >> 16) + 2 + ((h(x, r.index + 1) * r.w1) >> 16)) >> 2));
          continue;
        }
        const Span r = area_span(sh, dh, y), c = area_span(sw, dw, x);
        auto hsum = [&](std::uint32_t row) {
          if (c.first == c.last) return float(src.at(k, c.first, row));
          std::uint32_t mid = 0;
          for (std::uint32_t i = c.first + 1; i < c.last; ++i) mid += src.at(k, i, row);
          return std::fma(float(src.at(k, c.first, row)), c.wf, float(src.at(k, c.last, row)) * c.wl) + float(mid);
        };
        float acc = r.first == r.last ? hsum(r.first) : r.wf * hsum(r.first);
        if (r.first != r.last) {
          for (std::uint32_t i = r.first + 1; i < r.last; ++i) acc = acc + hsum(i);
          acc = acc + r.wl * hsum(r.last);
        }
        out[k].push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(acc * factor)));
      }
    }
  }
  return out;
}

// Creates a context with its report kept out of the log (null on refusal).
using Context = pxtest::Owned<void, &destroy_img_scale_ctx>;
Context make_context(const Geometry& g, std::uint32_t method, std::uint32_t flags) {
  void* ctx = nullptr;
  pxtest::capture_stdout([&] {
    ctx = create_img_scale_ctx(g.sw, g.sh, g.dw, g.dh, PXKIT_FORMAT_YUV420SP, PXKIT_FORMAT_YUV420P, method, flags);
  });
  return Context(ctx);
}

// One whole frame, or ceil(dh / 16) banded calls (16 luma, 8 chroma rows a
// band) into destinations with padded rows and two more rows after each
// plane, all guard bytes that must survive.
Planes run(void* ctx, const Source& src, const Geometry& g, bool banded, std::uint32_t pad) {
  imgtest::Plane p[3] = {{g.dw, g.dh, pad, false, 2}, {g.dw / 2, g.dh / 2, pad, false, 2},
                         {g.dw / 2, g.dh / 2, pad, false, 2}};
  for (std::uint32_t b = 0; b == 0 || (banded && b * 16 < g.dh); ++b) {
    img_planes d{};
    for (int k = 0; k < 3; ++k)
      d.plane[k] = p[k].data() + std::size_t{k == 0 ? b * 16u : b * 8u} * p[k].stride, d.stride[k] = p[k].stride;
    EXPECT_EQ(img_scale(ctx, &src.planes(), &d), 0);
  }
  Planes out;
  for (int k = 0; k < 3; ++k) {
    EXPECT_TRUE(p[k].guards_intact()) << "plane " << k;
    for (std::uint32_t y = 0; y < p[k].height; ++y)
      out[k].insert(out[k].end(), &p[k].at(0, y), &p[k].at(0, y) + p[k].width);
  }
  return out;
}

struct Creation { std::uint32_t args[8]; const char* output; bool made; };

TEST(YuvScaleApi, CreationChecksInOrderWithTheirMessages) {
  const Creation cases[] = {
      {{0, 4, 2, 2, 1, 2, 2, 0}, "[error]: params not valid\n", false},
      {{4, 4, 2, 2, 0, 2, 2, 0}, "[error]: params not valid\n", false},
      {{4, 4, 2, 2, 1, 2, 0, 4}, "[error]: params not valid\n", false},
      {{4, 4, 2, 2, 1, 2, 5, 0}, "[error]: not support scale method: 0x05\n", false},
      {{4, 4, 2, 2, 2, 1, 2, 0}, "[error]: not support format change: 0x02 -> 0x01, method 0x02\n", false},
      {{4, 4, 2, 2, 1, 1, 2, 0}, "[error]: not support format change: 0x01 -> 0x01, method 0x02\n", false},
      {{4, 4, 4, 4, 1, 2, 2, 4}, "[error]: non-scale, not supported yet\n", false},
      {{4, 4, 4, 2, 1, 2, 3, 0}, "dst resolution[4x2] shall be less than src [4x4]\n", false},
      {{4, 4, 8, 8, 2, 2, 3, 0}, "dst resolution[8x8] shall be less than src [4x4]\n", false},
      {{8, 8, 4, 4, 2, 2, 3, 0}, "[error]: not support format change: 0x02 -> 0x02 in downsampling\n", false},
      {{5, 4, 4, 3, 1, 2, 3, 0}, "down_sample_area_factor 0.600000\ndown_sample_area_factor 0.500000\n", true},
      {{8, 8, 3, 3, 1, 2, 2, 0xF8}, "", true},  // unknown flag bits are ignored
      {{2, 2, 1, 1, 1, 2, 2, 1}, "", true},
      {{0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFEu, 2, 1, 2, 2, 0}, "[error]: no memory\n", false},  // too large
      {{0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFEu, 2, 1, 2, 2, 4}, "[error]: no memory\n", false}};
  for (const Creation& c : cases) {
    const std::uint32_t* a = c.args;
    Context ctx;
    EXPECT_EQ(pxtest::capture_stdout(
                  [&] { ctx.reset(create_img_scale_ctx(a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7])); }),
              c.output);
    EXPECT_EQ(ctx != nullptr, c.made) << c.output;
  }
}

TEST(YuvScaleApi, FrameCallRefusals) {
  auto ctx = make_context({8, 8, 4, 4}, PXKIT_SCALE_BILINEAR, 0);
  img_planes planes{};
  std::int32_t result = 0;
  const auto call = [&](void* c, const img_planes* d) {
    return pxtest::capture_stdout([&] { result = img_scale(c, &planes, d); });
  };
  char want[160];
  std::snprintf(want, sizeof want, "[error]: null ctx %p, or null src %p dst %p\n", ctx.get(),
                static_cast<void*>(&planes), static_cast<void*>(nullptr));
  EXPECT_EQ(call(ctx.get(), nullptr), want);
  EXPECT_EQ(result, -1);
  pxkit::scale::img_scale_head fake{0x12345678u, nullptr, nullptr};
  EXPECT_EQ(call(&fake, &planes), "[error]: bad magic 0x12345678\n");
  EXPECT_EQ(result, -2);
  fake.magic = 0x963D5BA2u;
  EXPECT_EQ(call(&fake, &planes), "[error]: null func_scale\n");
  EXPECT_EQ(result, -3);
  destroy_img_scale_ctx(&fake);  // no destroy function: nothing happens
  destroy_img_scale_ctx(nullptr);
}

// Every allocation of a creation fails in turn: the creation reports it,
// returns null and frees what it had made (ASan checks the leaks).
TEST(YuvScaleApi, EachAllocationFailureIsReported) {
  struct Case { std::uint32_t method, flags; const char* table_failure; };
  const Case cases[] = {{2, 0, "[error]: __setup_bilinear_scale_ctx_u8 failed\n"},
                        {2, 4, "[error]: __setup_bilinear_scale_ctx_u8 failed\n"},
                        {3, 4, "[error]: __setup_down_sampling_ctx_u8 failed\n"}};
  for (const Case& c : cases) {
    for (int n = 0;; ++n) {
      Context ctx;
      pxkit::mem::fail_allocation_after(n);
      const std::string out =
          pxtest::capture_stdout([&] { ctx.reset(create_img_scale_ctx(40, 30, 25, 17, 1, 2, c.method, c.flags)); });
      pxkit::mem::fail_allocation_after(-1);
      if (ctx != nullptr) {
        EXPECT_GE(n, 5);
        break;
      }
      EXPECT_NE(out.find("[error]: no memory\n"), std::string::npos) << n << ": " << out;
      const bool in_tables = out.find(c.table_failure) != std::string::npos;
      // Four table allocations, after the context (area) or the intermediate (bilinear).
      const int tables_from = c.method == 3 ? 1 : 2;
      EXPECT_EQ(in_tables, n >= tables_from && n < tables_from + 4) << n << ": " << out;
    }
  }
}

TEST(YuvScaleApi, AreaSpansFollowTheCoveredSourceArea) {
  struct Case { std::uint32_t s, d, i, first, last; float wf, wl; };
  const Case cases[] = {
      {3, 2, 0, 0, 1, 1.0f, 0.5f}, {3, 2, 1, 1, 2, 0.5f, 1.0f},  // 3 pixels into 2
      {8, 2, 1, 4, 7, 1.0f, 1.0f},                                 // exact multiple: whole pixels
      {2, 2, 1, 1, 1, 1.0f, 1.0f},                                 // equal lengths: one sample
      {5, 4, 3, 3, 4, 0.25f, 1.0f}, {5, 4, 1, 1, 2, 0.75f, 0.5f}};
  for (const Case& c : cases) {
    const pxkit::scale::area_span s = pxkit::scale::make_area_span(c.s, c.d, c.i);
    const Span m = area_span(c.s, c.d, c.i);  // the model's spans too
    EXPECT_TRUE(s.first == c.first && s.last == c.last && s.first_weight == c.wf && s.last_weight == c.wl &&
                m.first == c.first && m.last == c.last && m.wf == c.wf && m.wl == c.wl)
        << c.s << " -> " << c.d << " at " << c.i;
  }
}

// Runs all drivers of `method` on g against the model, on every target, on a
// random source (fill < 0) or one filled with `fill`. Frames allocate nothing.
// Returns the model's planes.
Planes check_all_drivers(const Geometry& g, std::uint32_t method, std::uint32_t pad, int fill = -1) {
  Source src(g, method, pad);
  if (fill >= 0) src.fill(static_cast<std::uint8_t>(fill));
  const Planes want = model(src, g, method);
  for (std::int64_t target : imgtest::all_targets()) {
    SCOPED_TRACE(std::to_string(g.sw) + "x" + std::to_string(g.sh) + " -> " + std::to_string(g.dw) + "x" +
                 std::to_string(g.dh) + " fill " + std::to_string(fill) + " on " + pxtest::target_label(target));
    const pxtest::ScopedTarget scoped(target);
    const auto whole = make_context(g, method, 0);
    const auto table_rows = make_context(g, method, PXKIT_SCALE_FLAG_TABLE_ROWS);
    const auto banded = make_context(g, method, PXKIT_SCALE_FLAG_BANDED);
    EXPECT_TRUE(whole != nullptr && table_rows != nullptr && banded != nullptr);
    if (whole == nullptr || table_rows == nullptr || banded == nullptr) break;
    const std::uint64_t before = pxtest::library_allocations();
    EXPECT_TRUE(run(whole.get(), src, g, false, 5) == want) << "whole frame";
    EXPECT_TRUE(run(table_rows.get(), src, g, false, 5) == want) << "table rows";
    EXPECT_TRUE(run(banded.get(), src, g, true, 3) == want) << "banded";
    // The call after the last band starts the next frame at row 0.
    EXPECT_TRUE(run(banded.get(), src, g, true, 3) == want) << "banded, second frame";
    EXPECT_EQ(pxtest::library_allocations(), before);
  }
  return want;
}

// Bilinear up and down, area with long spans; odd sizes; pads 0 to 3.
TEST(YuvScaleEquivalence, OddSizesAndLongSpans) {
  const Geometry bilinear[] = {
      {2, 2, 3, 3},     {8, 6, 13, 9},     {5, 4, 4, 3},      {33, 35, 17, 20},  {64, 48, 37, 29},
      {17, 33, 40, 70}, {100, 60, 64, 50}, {9, 40, 70, 17},   {240, 135, 160, 90}, {7, 5, 130, 47},
      {160, 37, 21, 100}, {31, 97, 31, 45}, {44, 30, 44, 61}, {3, 2, 2, 3}};
  const Geometry area[] = {
      {3, 3, 2, 2},     {5, 4, 4, 3},      {8, 8, 4, 4},     {64, 48, 37, 29}, {97, 71, 30, 17}, {200, 40, 7, 3},
      {40, 36, 39, 35}, {240, 135, 160, 90}, {33, 70, 32, 33}, {301, 19, 150, 2}, {9, 200, 2, 37}};
  std::uint32_t pad = 0;
  for (const Geometry& g : bilinear) check_all_drivers(g, PXKIT_SCALE_BILINEAR, pad++ % 4);
  for (const Geometry& g : area) check_all_drivers(g, PXKIT_SCALE_AREA, pad++ % 4);
}

// A uniform frame stays uniform: exactly v for power-of-two box factors, v or
// v - 1 elsewhere for area (truncation); exactly v for bilinear.
TEST(YuvScaleEquivalence, UniformFramesStayUniform) {
  struct Case { Geometry g; std::uint32_t method; bool exact; };
  for (const Case& c : {Case{{16, 16, 8, 4}, 3, true}, Case{{90, 60, 61, 41}, 3, false}, Case{{45, 33, 7, 5}, 3, false},
                        Case{{30, 20, 71, 33}, 2, true}, Case{{70, 40, 33, 17}, 2, true}})
    for (int v : {0, 1, 77, 128, 255})
      for (const auto& plane : check_all_drivers(c.g, c.method, 1, v))
        for (std::uint8_t x : plane) ASSERT_TRUE(x == v || (!c.exact && v != 0 && x == v - 1)) << int(x) << " v " << v;
}

// Destination widths from 2 to 3 x lanes + 1 (16 32-bit lanes on AVX-512),
// so that every vector kernel meets every tail length, up and down.
TEST(YuvScaleEquivalence, WidthSweep) {
  for (std::uint32_t dw = 2; dw <= 3 * 16 + 2; ++dw) {
    check_all_drivers({dw * 2 / 3 + 1, 6, dw, 5}, PXKIT_SCALE_BILINEAR, dw % 3);
    check_all_drivers({dw * 3 / 2 + 1, 5, dw, 4}, PXKIT_SCALE_BILINEAR, dw % 5);
    check_all_drivers({dw * 5 / 2 + 1, 7, dw, 3}, PXKIT_SCALE_AREA, dw % 2);
  }
}

}  // namespace
