// The host's message handler receives exactly the lines standard output would
// have shown, from every subsystem, and standard output stays silent meanwhile.
#include <mutex>
#include <string>
#include <vector>

#include "pxkit.h"
#include "support/test_support.h"
#include "threadpool/thread_pool.h"

namespace {

// Each line the handler receives, newline-terminated as standard output has it.
struct Captured {
  std::mutex lock;
  std::string text;
};

void collect(const char* line, void* user) {
  auto* c = static_cast<Captured*>(user);
  const std::lock_guard<std::mutex> hold(c->lock);
  c->text += std::string(line) + "\n";
}

struct Case {
  const char* name;
  void (*run)();
};

// One action per subsystem that prints: option reports, refusals, pool messages.
const Case kCases[] = {
    {"pool", [] {
       EXPECT_EQ(pxkit::thread_pool_create(0), nullptr);
       EXPECT_EQ(pxkit::thread_pool_create(40), nullptr);
       EXPECT_EQ(pxkit::thread_pool_add_task(nullptr, nullptr), -1);
     }},
    {"tof", [] {
       tof_option o{};
       o.mantissa_bits = 20;
       destroy_tof_context(setup_tof_context(&o));
       EXPECT_EQ(cal_tof_depth_amplitude_float(nullptr, 1, 1, nullptr, nullptr, nullptr, nullptr,
                                               nullptr, nullptr, 1.0f), -2);
     }},
    {"dual", [] {
       tof_dual_option o{};
       o.m0 = 3;
       o.m1 = 2;
       tof_dual_context* ctx = setup_tof_dual_context(&o);
       float depth = 0;
       const std::uint16_t p = 0;
       EXPECT_EQ(itof_dual_dec_float(ctx, 1, 1, &p, &p, &p, &p, &p, &p, &p, &p, nullptr, &depth,
                                     nullptr, nullptr, nullptr, 1, 1.0f, 0.0f, 0.0f), -1);
       destroy_tof_dual_context(ctx);
     }},
    {"convert", [] {
       const fixed_float_option o{1, 12, 4};
       fixed_float_context* ctx = setup_fixed2float_context(&o);
       float out = 0;
       const std::int16_t in = 0;
       EXPECT_EQ(fixed2float(ctx, 1, &in, &out), -1);
       destroy_fixed2float_context(ctx);
     }},
    {"scale", [] {
       EXPECT_EQ(create_common_img_scale_ctx(8, 16, 8, 8, 16, 8, PXKIT_SCALE_METHOD_BILINEAR,
                                             PXKIT_SCALE_DATA_U16), nullptr);  // equal sizes
       EXPECT_EQ(create_img_scale_ctx(8, 8, 8, 8, PXKIT_FORMAT_YUV420SP, PXKIT_FORMAT_YUV420P,
                                      PXKIT_SCALE_BILINEAR, 0), nullptr);
       scale_color_conversion_ctx c{};
       EXPECT_EQ(setup_scale_color_conversion(&c, 8, 8, 8, 8, PXKIT_FORMAT_GREY, PXKIT_FORMAT_RGB24), -2);
     }},
    {"analysis", [] {
       EXPECT_EQ(init_sparse_scharr_ctx(nullptr, 8, 8, 2), -1);
       EXPECT_EQ(init_sparse_scharr_s1_ctx(1, 0, 8), nullptr);
       EXPECT_EQ(datacode_bili_inter_crop_u8(nullptr, nullptr, nullptr, 0, 0), -1);
     }},
    {"linalg", [] {
       float a = 0, x = 0, b = 1;
       solve_f32(&a, &x, &b, 1, 0);  // a zero 1x1 coefficient
     }},
};

class MessageHandler : public testing::TestWithParam<Case> {};

TEST_P(MessageHandler, ReceivesWhatStandardOutputWouldShow) {
  const Case& c = GetParam();
  const std::string printed = pxtest::capture_stdout(c.run);
  ASSERT_NE(printed, "") << c.name << " printed nothing to compare";

  Captured captured;
  pxkit_set_message_handler(collect, &captured);
  const std::string leaked = pxtest::capture_stdout(c.run);
  pxkit_set_message_handler(nullptr, nullptr);

  EXPECT_EQ(leaked, "");
  EXPECT_EQ(captured.text, printed);
  EXPECT_EQ(pxtest::capture_stdout(c.run), printed);  // null restored standard output
}

INSTANTIATE_TEST_SUITE_P(Subsystems, MessageHandler, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case>& i) { return std::string(i.param.name); });

}  // namespace
