// Creation order and refusals, kernel choice, the frame call's checks and the
// allocations of the bilinear scaling context. (Frames allocating nothing and
// repeating are checked by every scale_test::scale.)
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "common/memory.h"
#include "scale/bilinear_kernels.h"
#include "scale_test_util.h"

namespace {

using pxkit::scale::scalar_bilinear_kernels;

struct CreateArgs {
  std::uint32_t sw, ss, sh, dw, ds, dh, method, type;
};

void* create_quietly(const CreateArgs& a, std::string* printed) {
  void* made = nullptr;
  *printed = pxtest::capture_stdout([&] {
    made = create_common_img_scale_ctx(a.sw, a.ss, a.sh, a.dw, a.ds, a.dh, a.method, a.type);
  });
  return made;
}

TEST(CommonScaleCreate, RefusalsComeInOrderWithTheirMessages) {
  struct Case {
    CreateArgs args;
    const char* message;
  };
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
    EXPECT_EQ(scale_test::Context(create_quietly(c.args, &printed)), nullptr) << c.message;
    EXPECT_EQ(printed, c.message);
  }
}

TEST(CommonScaleCreate, ChoosesTheKernelByGeometry) {
  const auto& k = scalar_bilinear_kernels();
  struct Case {
    std::uint32_t sw, sh, dw, dh;
    pxkit::scale::scale_kernel u16, f32;
  };
  const Case cases[] = {
      {8, 5, 8, 10, k.v2x_u16, k.v2x_f32},  // height exactly doubled
      {8, 5, 8, 9, k.v_u16, k.v_f32},
      {8, 5, 8, 3, k.v_u16, k.v_f32},
      {8, 5, 8, 15, k.v_u16, k.v_f32},
      {8, 5, 3, 5, k.h_u16, k.h_f32},
      {8, 5, 16, 5, k.h_u16, k.h_f32},
      {8, 5, 16, 10, k.hv_u16, k.hv_f32},  // both differ, even when doubled
      {8, 5, 3, 2, k.hv_u16, k.hv_f32},
  };
  pxtest::ScopedTarget scalar(0);
  for (const Case& c : cases) {
    for (std::uint32_t type : {PXKIT_SCALE_DATA_U16, PXKIT_SCALE_DATA_F32}) {
      std::string printed;
      scale_test::Context ctx(create_quietly({c.sw, 0, c.sh, c.dw, 0, c.dh, 2, type}, &printed));
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
  const char* expected[] = {
      "[error]: no memory\n",
      "[error]: no memory\n",
      "[error]: no memory\n[error]: __setup_bilinear_scale_ctx_u8 failed\n",
      "[error]: no memory\n[error]: __setup_bilinear_scale_ctx_u8 failed\n",
  };
  for (int k = 0; k < 4; ++k) {
    const std::uint64_t before = pxkit::mem::allocation_count();
    pxkit::mem::fail_allocation_after(k);
    std::string printed;
    void* ctx = create_quietly({6, 12, 4, 9, 36, 7, 2, 1}, &printed);
    pxkit::mem::fail_allocation_after(-1);
    EXPECT_EQ(ctx, nullptr) << k;
    EXPECT_EQ(printed, expected[k]);
    EXPECT_EQ(pxkit::mem::allocation_count() - before, static_cast<std::uint64_t>(k));
  }
}

TEST(CommonScaleFrame, RefusesNullPointersBadMagicAndAMissingKernel) {
  std::string printed;
  scale_test::Context ctx(create_quietly({4, 8, 2, 2, 4, 2, 2, 1}, &printed));
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

}  // namespace
