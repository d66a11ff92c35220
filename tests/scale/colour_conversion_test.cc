// Setup, states and refusals of the colour conversion with scaling: messages
// letter for letter, and the context's states.
#include <pxkit.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "common/memory.h"
#include "support/test_support.h"

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

TEST(ColourConversionSetup, EqualSizesAllocateNothingAndDestroyZeroFills) {
  Ctx ctx{};
  const auto before = pxtest::library_allocations();
  ASSERT_EQ(quiet_setup(&ctx, 7, 5, 7, 5, 4, 10), 0);
  EXPECT_EQ(pxtest::library_allocations(), before);
  EXPECT_TRUE(ctx.p_scale_index_x == nullptr && ctx.p_scale_index_y == nullptr && ctx.scaling == 0);
  EXPECT_TRUE(ctx.magic == 0x5d && ctx.src_format == 4 && ctx.dst_format == 10);
  EXPECT_TRUE(ctx.src_width == 7u && ctx.dst_height == 5u);
  destroy_scale_color_conversion(&ctx);
  const Ctx zero{};
  EXPECT_EQ(std::memcmp(&ctx, &zero, sizeof ctx), 0);
  destroy_scale_color_conversion(nullptr);
}

TEST(ColourConversionSetup, RefusalsPrintTheirLineAndLeaveTheContextUntouched) {
  struct Case {
    Ctx* ctx;
    std::uint32_t sw, sh, dw, dh;
    std::int32_t sf;
    std::uint32_t df;
    int rc;
    const char* message;
  };
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
      {&ctx, 4, 4, 2, 2, 7, 0, -1, "[error]: params not valid\n"},
  };
  for (const Case& c : cases) {
    std::string printed;
    EXPECT_EQ(quiet_setup(c.ctx, c.sw, c.sh, c.dw, c.dh, c.sf, c.df, &printed), c.rc);
    EXPECT_EQ(printed, c.message);
    EXPECT_EQ(std::memcmp(&ctx, &before, sizeof ctx), 0) << c.message;
  }
}

TEST(ColourConversionSetup, SecondSetupWarnsAndLeavesTheOldBlockToTheCaller) {
  Ctx ctx{};
  ASSERT_EQ(quiet_setup(&ctx, 8, 8, 4, 4, 10, 10), 0);
  std::uint32_t* old_block = ctx.p_scale_index_x;
  std::string printed;
  ASSERT_EQ(quiet_setup(&ctx, 8, 8, 8, 8, 10, 10, &printed), 0);
  char expected[80];
  std::snprintf(expected, sizeof expected, "[warn]: p_scale_index_x is not null, %p\n",
                static_cast<void*>(old_block));
  EXPECT_EQ(printed, expected);
  EXPECT_EQ(ctx.p_scale_index_x, nullptr);
  EXPECT_EQ(ctx.scaling, 0);
  pxkit::mem::release(old_block);  // the caller's to free, as documented
  destroy_scale_color_conversion(&ctx);
}

TEST(ColourConversionSetup, FailedTableAllocationReportsNoMemoryAndFramesRefuse) {
  Ctx ctx{};
  std::string printed;
  pxkit::mem::fail_allocation_after(0);
  EXPECT_EQ(quiet_setup(&ctx, 8, 8, 4, 4, 7, 10, &printed), -3);
  pxkit::mem::fail_allocation_after(-1);
  EXPECT_EQ(printed, "[error]: no memory\n");
  EXPECT_EQ(ctx.p_scale_index_x, nullptr);
  EXPECT_EQ(ctx.magic, 0);
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
  EXPECT_EQ(rc, -2);
}

}  // namespace
