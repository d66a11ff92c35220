// Creation refusals and messages, frame-call checks, allocation failures,
// value properties and the absence of allocations in frame calls.
#include <cstdio>
#include <string>

#include "common/memory.h"
#include "scale/area_tables.h"
#include "scale/yuv_scale_context.h"
#include "scale/yuv_test_util.h"

namespace {

using yuv_test::Geometry;

struct Creation {
  std::uint32_t args[8];
  const char* output;
  bool made;
};

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
      {{0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFEu, 2, 1, 2, 2, 4}, "[error]: no memory\n", false},
  };
  for (const Creation& c : cases) {
    const std::uint32_t* a = c.args;
    yuv_test::Context ctx;
    EXPECT_EQ(pxtest::capture_stdout(
                  [&] { ctx.reset(create_img_scale_ctx(a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7])); }),
              c.output);
    EXPECT_EQ(ctx != nullptr, c.made) << c.output;
  }
}

TEST(YuvScaleApi, FrameCallRefusals) {
  auto ctx = yuv_test::make_context({8, 8, 4, 4}, PXKIT_SCALE_BILINEAR, 0);
  img_planes planes{};
  char want[160];
  std::snprintf(want, sizeof want, "[error]: null ctx %p, or null src %p dst %p\n", ctx.get(),
                static_cast<void*>(&planes), static_cast<void*>(nullptr));
  std::int32_t result = 0;
  EXPECT_EQ(pxtest::capture_stdout([&] { result = img_scale(ctx.get(), &planes, nullptr); }), want);
  EXPECT_EQ(result, -1);

  pxkit::scale::img_scale_head fake{0x12345678u, nullptr, nullptr};
  EXPECT_EQ(pxtest::capture_stdout([&] { result = img_scale(&fake, &planes, &planes); }),
            "[error]: bad magic 0x12345678\n");
  EXPECT_EQ(result, -2);
  fake.magic = 0x963D5BA2u;
  EXPECT_EQ(pxtest::capture_stdout([&] { result = img_scale(&fake, &planes, &planes); }),
            "[error]: null func_scale\n");
  EXPECT_EQ(result, -3);
  destroy_img_scale_ctx(&fake);  // no destroy function: nothing happens
  destroy_img_scale_ctx(nullptr);
}

// Every allocation of a creation fails in turn: the creation reports it,
// returns null and frees what it had made (ASan checks the leaks).
TEST(YuvScaleApi, EachAllocationFailureIsReported) {
  struct Case {
    std::uint32_t method, flags;
    const char* table_failure;
  };
  const Case cases[] = {{2, 0, "[error]: __setup_bilinear_scale_ctx_u8 failed\n"},
                        {2, 4, "[error]: __setup_bilinear_scale_ctx_u8 failed\n"},
                        {3, 4, "[error]: __setup_down_sampling_ctx_u8 failed\n"}};
  for (const Case& c : cases) {
    for (int n = 0;; ++n) {
      void* ctx = nullptr;
      pxkit::mem::fail_allocation_after(n);
      const std::string out = pxtest::capture_stdout(
          [&] { ctx = create_img_scale_ctx(40, 30, 25, 17, 1, 2, c.method, c.flags); });
      pxkit::mem::fail_allocation_after(-1);
      if (ctx != nullptr) {
        destroy_img_scale_ctx(ctx);
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
  struct Case {
    std::uint32_t s, d, i, first, last;
    float wf, wl;
  };
  const Case cases[] = {
      {3, 2, 0, 0, 1, 1.0f, 0.5f}, {3, 2, 1, 1, 2, 0.5f, 1.0f},  // 3 pixels into 2
      {8, 2, 1, 4, 7, 1.0f, 1.0f},                                 // exact multiple: whole pixels
      {2, 2, 1, 1, 1, 1.0f, 1.0f},                                 // equal lengths: one sample
      {5, 4, 3, 3, 4, 0.25f, 1.0f}, {5, 4, 1, 1, 2, 0.75f, 0.5f}};
  for (const Case& c : cases) {
    const pxkit::scale::area_span s = pxkit::scale::make_area_span(c.s, c.d, c.i);
    const yuv_test::Span m = yuv_test::area_span(c.s, c.d, c.i);  // the model's spans too
    EXPECT_TRUE(s.first == c.first && s.last == c.last && s.first_weight == c.wf && s.last_weight == c.wl &&
                m.first == c.first && m.last == c.last && m.wf == c.wf && m.wl == c.wl)
        << c.s << " -> " << c.d << " at " << c.i;
  }
}

}  // namespace
