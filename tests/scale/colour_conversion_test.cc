// Colour conversion with nearest-neighbour scaling through its API: setup,
// states and refusals, and every format pair and size on every target against
// a model written from the definitions (index tables, luma, chroma means).
#include <pxkit.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "common/memory.h"
#include "scale/image_test_util.h"

namespace {

using Ctx = scale_color_conversion_ctx;

int quiet_setup(Ctx* ctx, std::uint32_t sw, std::uint32_t sh, std::uint32_t dw, std::uint32_t dh,
                std::int32_t sf, std::uint32_t df, std::string* printed = nullptr) {
  int rc = 0;
  const std::string out =
      pxtest::capture_stdout([&] { rc = setup_scale_color_conversion(ctx, sw, sh, dw, dh, sf, df); });
  if (printed != nullptr) *printed = out;
  return rc;
}

TEST(ColourConversionSetup, ContextLayoutMatchesTheHeader) {
  EXPECT_EQ(offsetof(Ctx, magic), 35u);
  EXPECT_EQ(sizeof(img_planes), 48u);
}

TEST(ColourConversionSetup, RefusalsPrintTheirLineAndLeaveTheContextUntouched) {
  struct Case { Ctx* ctx; std::uint32_t sw, sh, dw, dh; std::int32_t sf; std::uint32_t df; int rc; const char* text; };
  Ctx ctx;
  std::memset(&ctx, 0x3c, sizeof ctx);
  ctx.p_scale_index_x = nullptr;
  const Ctx before = ctx;
  const Case cases[] = {
      {&ctx, 4, 4, 4, 4, 7, 2, -2, "[error]: not support format change: 0x07 -> 0x02\n"},
      {&ctx, 4, 4, 2, 2, 1, 10, -2, "[error]: not support format change: 0x01 -> 0x0a\n"},
      {&ctx, 4, 4, 2, 2, 2, 1, -2, "[error]: not support format change: 0x02 -> 0x01\n"},
      {&ctx, 4, 4, 2, 2, 10, 7, -2, "[error]: not support format change: 0x0a -> 0x07\n"},
      {&ctx, 4, 4, 2, 2, -3, 10, -2, "[error]: not support format change: 0xfffffffd -> 0x0a\n"},
      {nullptr, 4, 4, 2, 2, 7, 10, -1, "[error]: params not valid\n"},
      {&ctx, 0, 4, 2, 2, 7, 10, -1, "[error]: params not valid\n"},
      {&ctx, 4, 4, 2, 0, 7, 10, -1, "[error]: params not valid\n"},
      {&ctx, 4, 4, 2, 2, 0, 10, -1, "[error]: params not valid\n"},
      {&ctx, 4, 4, 2, 2, 7, 0, -1, "[error]: params not valid\n"}};
  for (const Case& c : cases) {
    std::string printed;
    EXPECT_EQ(quiet_setup(c.ctx, c.sw, c.sh, c.dw, c.dh, c.sf, c.df, &printed), c.rc);
    EXPECT_EQ(printed, c.text);
    EXPECT_EQ(std::memcmp(&ctx, &before, sizeof ctx), 0) << c.text;
  }
}

// A second setup warns and leaves the old block to the caller; a failed table
// allocation is reported and leaves no tables and no magic, so frames refuse.
TEST(ColourConversionSetup, SecondSetupWarnsAndFailedTablesReportNoMemory) {
  Ctx ctx{};
  ASSERT_EQ(quiet_setup(&ctx, 8, 8, 4, 4, 10, 10), 0);
  std::uint32_t* old_block = ctx.p_scale_index_x;
  std::string printed;
  ASSERT_EQ(quiet_setup(&ctx, 8, 8, 8, 8, 10, 10, &printed), 0);
  char expected[80];
  std::snprintf(expected, sizeof expected, "[warn]: p_scale_index_x is not null, %p\n", static_cast<void*>(old_block));
  EXPECT_EQ(printed, expected);
  EXPECT_TRUE(ctx.p_scale_index_x == nullptr && ctx.scaling == 0);
  pxkit::mem::release(old_block);  // the caller's to free, as documented
  ctx = Ctx{};
  pxkit::mem::fail_allocation_after(0);
  EXPECT_EQ(quiet_setup(&ctx, 8, 8, 4, 4, 7, 10, &printed), -3);
  pxkit::mem::fail_allocation_after(-1);
  EXPECT_EQ(printed, "[error]: no memory\n");
  EXPECT_TRUE(ctx.p_scale_index_x == nullptr && ctx.magic == 0);
  destroy_scale_color_conversion(&ctx);
}

TEST(ColourConversionFrame, RefusalsPrintTheirLine) {
  Ctx ctx{};
  std::uint8_t pixel[4] = {};
  img_planes planes{};
  planes.plane[0] = pixel;
  int rc = 0;
  const auto call = [&](const img_planes* src) {
    return pxtest::capture_stdout([&] { rc = do_scale_color_conversion(&ctx, src, &planes); });
  };
  EXPECT_EQ(call(&planes), "[error]: bad magic 0x00\n");
  EXPECT_EQ(rc, -2);
  char expected[160];
  std::snprintf(expected, sizeof expected, "[error]: null ctx %p, or null src %p dst %p\n",
                static_cast<void*>(&ctx), static_cast<void*>(nullptr), static_cast<void*>(&planes));
  EXPECT_EQ(call(nullptr), expected);
  EXPECT_EQ(rc, -1);
  ASSERT_EQ(quiet_setup(&ctx, 1, 1, 1, 1, 10, 10), 0);
  ctx.dst_format = 2;  // a pair no setup makes
  EXPECT_EQ(call(&planes), "[error]: not support format change: 0x0a -> 0x02\n");
  destroy_scale_color_conversion(nullptr);
  EXPECT_EQ(rc, -2);
}

using imgtest::Plane;
constexpr std::uint32_t kPadBytes = 7;

// Source index of destination index i: ceil(((src >> 1) + i src) / dst) - 1, 0 for i = 0.
std::uint32_t nearest(std::uint32_t src, std::uint32_t dst, std::uint32_t i) {
  if (i == 0 || src == dst) return i;
  const std::uint64_t num = (src >> 1) + std::uint64_t{i} * src;
  return static_cast<std::uint32_t>((num + dst - 1) / dst - 1);
}

int bytes_of(std::int32_t format) { return format == 4 || format == 5 ? 4 : format == 7 || format == 8 ? 3 : 1; }

std::uint8_t model_luma(std::int32_t format, const std::uint8_t* p) {
  int r = p[0], g = p[1], b = p[2];
  if (format == 8) std::swap(r, b);
  if (format == 5) r = p[3], g = p[2], b = p[1];
  return static_cast<std::uint8_t>((4899 * r + 9618 * g + 1868 * b) >> 14);
}

struct Images { Plane src[2], dst[3]; };

Images make_images(std::int32_t sf, std::uint32_t sw, std::uint32_t sh, std::uint32_t dw, std::uint32_t dh) {
  Images im;
  im.src[0] = Plane(sw * bytes_of(sf), sh, kPadBytes, true);
  // Odd source widths get a destination stride of their own (luma copied row by row).
  im.dst[0] = Plane(dw, dh, sw % 2 ? kPadBytes + 2 : kPadBytes);
  if (sf == 1) {
    im.src[1] = Plane(((sw + 1) / 2) * 2, (sh + 1) / 2, kPadBytes, true);
    im.dst[1] = im.dst[2] = Plane(dw / 2, dh / 2, kPadBytes);
  }
  return im;
}

// The expected destination planes, padding included.
Images model(std::int32_t sf, const Images& in, std::uint32_t sw, std::uint32_t sh,
             std::uint32_t dw, std::uint32_t dh) {
  Images out = in;
  const int b = bytes_of(sf);
  for (std::uint32_t y = 0; y < dh; ++y) {
    for (std::uint32_t x = 0; x < dw; ++x) {
      const std::uint32_t sx = nearest(sw, dw, x), sy = nearest(sh, dh, y);
      const std::uint8_t* p = &in.src[0].bytes[std::size_t{sy} * in.src[0].stride + sx * b];
      out.dst[0].at(x, y) = sf == 10 || sf == 1 ? *p : model_luma(sf, p);
    }
  }
  if (sf != 1) return out;
  const bool equal = sw == dw && sh == dh;
  // Equal strides: the luma is one block copy, padding included.
  if (equal && in.src[0].stride == in.dst[0].stride)
    std::memcpy(out.dst[0].data(), in.src[0].bytes.data(), std::size_t{sh} * in.src[0].stride);
  for (std::uint32_t r = 0; r < dh / 2; ++r) {
    for (std::uint32_t c = 0; c < dw / 2; ++c) {
      if (equal) {
        if (sw <= 1) continue;  // only the luma is copied
        out.dst[1].at(c, r) = in.src[1].at(2 * c, r);
        out.dst[2].at(c, r) = in.src[1].at(2 * c + 1, r);
        continue;
      }
      const std::uint32_t k0 = nearest(sw, dw, 2 * c) & ~1u, k1 = nearest(sw, dw, 2 * c + 1) & ~1u;
      const std::uint32_t r0 = nearest(sh, dh, 2 * r) >> 1, r1 = nearest(sh, dh, 2 * r + 1) >> 1;
      for (int ch = 0; ch < 2; ++ch) {
        const int sum = in.src[1].at(k0 + ch, r0) + in.src[1].at(k0 + ch, r1) +
                        in.src[1].at(k1 + ch, r0) + in.src[1].at(k1 + ch, r1);
        out.dst[1 + ch].at(c, r) = static_cast<std::uint8_t>(sum >> 2);
      }
    }
  }
  return out;
}

void run(const scale_color_conversion_ctx& ctx, Images& im) {
  img_planes s{{im.src[0].data(), im.src[1].data()}, {im.src[0].stride, im.src[1].stride}};
  img_planes d{{im.dst[0].data(), im.dst[1].data(), im.dst[2].data()},
               {im.dst[0].stride, im.dst[1].stride, im.dst[2].stride}};
  auto c = ctx;
  const auto before = pxtest::library_allocations();
  ASSERT_EQ(do_scale_color_conversion(&c, &s, &d), 0);
  EXPECT_EQ(pxtest::library_allocations(), before);
}

TEST(ColourConversionModel, EveryPairAndSizeOnEveryTargetEqualsTheModel) {
  struct Pair { std::int32_t src; std::uint32_t dst; };
  const Pair pairs[] = {{1, 2}, {7, 10}, {8, 10}, {4, 10}, {5, 10}, {10, 10}};
  // Widths reach past 3 vectors of the widest target plus one.
  const std::uint32_t sizes[][4] = {
      {1, 1, 1, 1},     {1, 5, 1, 5},     {5, 1, 5, 1},     {6, 4, 6, 4},    {67, 9, 67, 9},
      {200, 6, 200, 6}, {200, 6, 67, 5},  {67, 5, 200, 6},  {9, 9, 4, 4},    {16, 8, 33, 3},
      {131, 7, 130, 8}, {130, 8, 131, 7}, {1, 1, 70, 3},    {97, 3, 1, 1},   {64, 2, 63, 2}};
  for (std::int64_t target : imgtest::all_targets()) {
    SCOPED_TRACE(pxtest::target_label(target));
    pxtest::ScopedTarget only(target);
    for (const Pair& p : pairs) {
      for (const auto& sz : sizes) {
        const std::uint32_t sw = sz[0], sh = sz[1], dw = sz[2], dh = sz[3];
        Ctx ctx{};
        SCOPED_TRACE("pair " + std::to_string(p.src) + " -> " + std::to_string(p.dst) + ", " + std::to_string(sw) +
                     "x" + std::to_string(sh) + " -> " + std::to_string(dw) + "x" + std::to_string(dh));
        const auto before = pxtest::library_allocations();
        ASSERT_EQ(quiet_setup(&ctx, sw, sh, dw, dh, p.src, p.dst), 0);
        // Different sizes: one block of byte offsets of columns, then source rows.
        const bool scaling = sw != dw || sh != dh;
        EXPECT_EQ(pxtest::library_allocations() - before, scaling ? 1u : 0u);
        EXPECT_TRUE(ctx.magic == 0x5d && ctx.scaling == scaling && (ctx.p_scale_index_x != nullptr) == scaling);
        EXPECT_TRUE(ctx.src_format == p.src && ctx.dst_format == p.dst && ctx.src_width == sw &&
                    ctx.src_height == sh && ctx.dst_width == dw && ctx.dst_height == dh);
        for (std::uint32_t x = 0; scaling && x < dw; ++x)
          ASSERT_EQ(ctx.p_scale_index_x[x], nearest(sw, dw, x) * bytes_of(p.src)) << "column " << x;
        for (std::uint32_t y = 0; scaling && y < dh; ++y)
          ASSERT_EQ(ctx.p_scale_index_y[y], nearest(sh, dh, y)) << "row " << y;
        EXPECT_EQ(ctx.p_scale_index_y, scaling ? ctx.p_scale_index_x + dw : nullptr);
        Images im = make_images(p.src, sw, sh, dw, dh);
        const Images expected = model(p.src, im, sw, sh, dw, dh);
        run(ctx, im);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(im.dst[i].bytes, expected.dst[i].bytes) << "plane " << i;
        if (!scaling && bytes_of(p.src) > 1) {  // in place, rows sharing memory: the per-pixel loop, same bytes
          img_planes s{{im.src[0].data()}, {im.src[0].stride}}, in_place = s;
          ASSERT_EQ(do_scale_color_conversion(&ctx, &s, &in_place), 0);
          for (std::uint32_t y = 0; y < sh; ++y)
            EXPECT_EQ(std::memcmp(&im.src[0].at(0, y), &im.dst[0].at(0, y), sw), 0) << "in place, row " << y;
        }
        destroy_scale_color_conversion(&ctx);  // frees the tables and zero-fills the context
        const Ctx zero{};
        EXPECT_EQ(std::memcmp(&ctx, &zero, sizeof ctx), 0);
      }
    }
  }
}

// The vector luma is computed in 16-bit parts: check it against the 32-bit
// formula on every (G, B) for a spread of R including both ends.
TEST(ColourConversionModel, VectorLumaEqualsTheFormulaOnEveryGreenBlue) {
  constexpr std::uint32_t w = 256, h = 256;
  std::vector<std::uint8_t> rgb(std::size_t{w} * h * 3), grey(std::size_t{w} * h);
  for (std::int64_t target : pxtest::vector_targets()) {
    SCOPED_TRACE(pxtest::target_label(target));
    pxtest::ScopedTarget only(target);
    scale_color_conversion_ctx ctx{};
    pxtest::capture_stdout([&] { setup_scale_color_conversion(&ctx, w, h, w, h, 7, 10); });
    for (int r = 0; r < 256; r += r < 250 ? 17 : 1) {
      for (std::size_t i = 0; i < std::size_t{w} * h; ++i) {
        rgb[3 * i] = static_cast<std::uint8_t>(r);
        rgb[3 * i + 1] = static_cast<std::uint8_t>(i >> 8);
        rgb[3 * i + 2] = static_cast<std::uint8_t>(i);
      }
      img_planes s{{rgb.data()}, {w * 3}}, d{{grey.data()}, {w}};
      ASSERT_EQ(do_scale_color_conversion(&ctx, &s, &d), 0);
      for (std::size_t i = 0; i < grey.size(); ++i)
        ASSERT_EQ(grey[i], (4899 * r + 9618 * int(i >> 8) + 1868 * int(i & 255)) >> 14) << r << " " << i;
    }
    destroy_scale_color_conversion(&ctx);
  }
}

}  // namespace
