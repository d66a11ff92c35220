// setup_tof_context / destroy_tof_context: the option report, the shift and
// mantissa decisions and their messages, refusals and failure paths.
#include "common/memory.h"
#include "tof/tof_test_util.h"

namespace {

std::string setup_output(const tof_option& o) {
  tof_context* ctx = nullptr;
  const std::string out = pxtest::capture_stdout([&] { ctx = setup_tof_context(&o); });
  EXPECT_NE(ctx, nullptr);
  destroy_tof_context(ctx);
  return out;
}

std::string last_line(const std::string& text) {
  const std::size_t start = text.rfind('\n', text.size() - 2);
  return text.substr(start == std::string::npos ? 0 : start + 1);
}

TEST(TofSetup, ReportsEveryOptionInRecordOrder) {
  tof_option o{1, 2, 3, 4, 5, 0, 7, 8};
  EXPECT_EQ(setup_output(o),
            "setup tof option:\n\t\tenable substract interleave: 1\n\t\tright shift bits: 2\n"
            "\t\treverse_90_270: 3\n\t\tcut_higher_amplitude_bits: 4\n\t\tmantissa_bits: 5\n"
            "\t\tdepth_out_use_float: 0\n\t\tamplitude_output_32bytes_align: 7\n"
            "\t\tamplitude_out_use_16bit: 8\n\t\tno shift\n");
}

TEST(TofSetup, ShiftIsCutBitsMinusFourWhenRightShiftIsAsked) {
  const struct {
    int right, cut;
    const char* line;
  } cases[] = {{0, 0, "\t\tno shift\n"},       {0, 3, "\t\tleft shift 3\n"},
               {1, 0, "\t\tright shift 4\n"},  {5, 0, "\t\tright shift 4\n"},
               {1, 1, "\t\tright shift 3\n"},  {1, 4, "\t\tno shift\n"},
               {1, 6, "\t\tleft shift 2\n"},   {255, 255, "\t\tleft shift 251\n"}};
  for (const auto& c : cases) {
    for (bool fl : {false, true}) {
      const std::string out = setup_output(toftest::make_option(fl, false, c.right, false, c.cut));
      EXPECT_EQ(last_line(out), c.line) << "r " << c.right << " c " << c.cut;
    }
  }
}

TEST(TofSetup, MantissaAbove15FallsBackTo10WithAMessage) {
  const std::string at15 = setup_output(toftest::make_option(false, false, 0, false, 0, 15));
  EXPECT_EQ(at15.find("error"), std::string::npos) << at15;  // 15 passes despite the text
  const std::string out = setup_output(toftest::make_option(false, false, 0, false, 2, 16));
  EXPECT_NE(out.find("\t\tamplitude_out_use_16bit: 0\n"
                     "error: mantissa bits (16) should less than 15, use 10 by default\n"
                     "\t\tleft shift 2\n"),
            std::string::npos)
      << out;
  // Float depth neither tests nor reports the mantissa.
  EXPECT_EQ(setup_output(toftest::make_option(true, false, 0, false, 0, 200)).find("error"),
            std::string::npos);
}

TEST(TofSetup, NullOptionIsRefused) {
  tof_context* ctx = reinterpret_cast<tof_context*>(1);
  EXPECT_EQ(pxtest::capture_stdout([&] { ctx = setup_tof_context(nullptr); }),
            "error: invalid params\n");
  EXPECT_EQ(ctx, nullptr);
  destroy_tof_context(nullptr);  // accepted, no effect
}

TEST(TofSetup, NoMemoryForTheContext) {
  const tof_option o = toftest::make_option(true);
  tof_context* ctx = nullptr;
  pxkit::mem::fail_allocation_after(0);
  const std::string out = pxtest::capture_stdout([&] { ctx = setup_tof_context(&o); });
  pxkit::mem::fail_allocation_after(-1);
  EXPECT_EQ(ctx, nullptr);
  EXPECT_EQ(out, "error: no memory\n");
}

// A pool that cannot be made leaves a usable context on the serial path.
TEST(TofSetup, NoMemoryForThePoolStillGivesAContext) {
  const tof_option o = toftest::make_option(true);
  tof_context* ctx = nullptr;
  pxkit::mem::fail_allocation_after(1);
  const std::string out = pxtest::capture_stdout([&] { ctx = setup_tof_context(&o); });
  pxkit::mem::fail_allocation_after(-1);
  ASSERT_NE(ctx, nullptr);
  EXPECT_EQ(out.rfind("fatal: no memory\nsetup tof option:\n", 0), 0u) << out;
  const toftest::Phases ph = toftest::random_phases(8, false);
  float depth[8];
  EXPECT_EQ(pxtest::capture_stdout([&] {
              EXPECT_EQ(toftest::call(ctx, true, toftest::Entry::kPlain, 4, 2, ph, depth, nullptr, 1.0f), 0);
            }),
            "null ctx, choose non-parallel version\nwill always disable substract, shift and reverse\n");
  destroy_tof_context(ctx);
}

}  // namespace
