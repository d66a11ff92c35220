// Dual-frequency ToF setup: the packed option record, the option report, the
// amplitude shift rule and the kernel choice.
#include <cstdint>
#include <cstring>
#include <string>

#include "common/memory.h"
#include "tof/dual_context.h"
#include "tof/dual_test_util.h"

namespace {

using dualtest::make_option;

// The 12 bytes of an option as a 96-bit little-endian number: bit n of the
// packed word is bit n here, m1 occupies bits 64-95.
struct Bits {
  std::uint64_t word;
  std::uint32_t m1;
};
Bits bits_of(const tof_dual_option& o) {
  unsigned char bytes[12];
  std::memcpy(bytes, &o, sizeof bytes);
  Bits b{};
  for (int i = 7; i >= 0; --i) b.word = b.word << 8 | bytes[i];
  for (int i = 11; i >= 8; --i) b.m1 = b.m1 << 8 | bytes[i];
  return b;
}

TEST(DualOption, EveryFieldSitsAtItsBits) {
  static_assert(sizeof(tof_dual_option) == 12);
  struct Field {
    const char* name;
    void (*set_all_ones)(tof_dual_option&);
    Bits expected;
  };
  const Field fields[] = {
      {"enable_substract_interleave", [](tof_dual_option& o) { o.enable_substract_interleave = 1; }, {1ull << 0, 0}},
      {"enable_substract_channel", [](tof_dual_option& o) { o.enable_substract_channel = 1; }, {1ull << 1, 0}},
      {"depth_out_use_float", [](tof_dual_option& o) { o.depth_out_use_float = 1; }, {1ull << 2, 0}},
      {"amplitude_out_use_16bit", [](tof_dual_option& o) { o.amplitude_out_use_16bit = 1; }, {1ull << 3, 0}},
      {"output_distance_0", [](tof_dual_option& o) { o.output_distance_0 = 1; }, {1ull << 4, 0}},
      {"output_distance_1", [](tof_dual_option& o) { o.output_distance_1 = 1; }, {1ull << 5, 0}},
      {"right_shift_bits", [](tof_dual_option& o) { o.right_shift_bits = 15; }, {0xFull << 8, 0}},
      {"mantissa_bits", [](tof_dual_option& o) { o.mantissa_bits = 15; }, {0xFull << 12, 0}},
      {"cut_higher_amplitude_bits", [](tof_dual_option& o) { o.cut_higher_amplitude_bits = 15; }, {0xFull << 16, 0}},
      {"m0", [](tof_dual_option& o) { o.m0 = -1; }, {0xFFFFFFFFull << 32, 0}},
      {"m1", [](tof_dual_option& o) { o.m1 = -1; }, {0, 0xFFFFFFFFu}},
  };
  for (const Field& f : fields) {
    tof_dual_option o;
    std::memset(&o, 0, sizeof o);
    f.set_all_ones(o);
    const Bits got = bits_of(o);
    EXPECT_EQ(got.word, f.expected.word) << f.name;
    EXPECT_EQ(got.m1, f.expected.m1) << f.name;
  }
}

// Builds an option from its packed word, as a caller of another language would.
tof_dual_option from_bits(std::uint64_t word, std::uint32_t m1) {
  unsigned char bytes[12];
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<unsigned char>(word >> (8 * i));
  for (int i = 0; i < 4; ++i) bytes[8 + i] = static_cast<unsigned char>(m1 >> (8 * i));
  tof_dual_option o;
  std::memcpy(&o, bytes, sizeof o);
  return o;
}

TEST(DualSetup, ReportsTheOptionFromThePackedWord) {
  // interleave, float depth, u16 amplitude, distance 0; reserved bits 6-7 and
  // 20-31 set (ignored); R = 5, mantissa 10, C = 3; m0 = 7; m1 = 5.
  const std::uint64_t word = 0x1Dull | 0xC0ull | 0x5ull << 8 | 0xAull << 12 | 0x3ull << 16 |
                             0xFFFull << 20 | std::uint64_t{7} << 32;
  const tof_dual_option o = from_bits(word, 5);
  tof_dual_context* ctx = nullptr;
  const std::string out = pxtest::capture_stdout([&] { ctx = setup_tof_dual_context(&o); });
  ASSERT_NE(ctx, nullptr);
  EXPECT_EQ(out,
            "setup tof_dual option:\n"
            "\t\tenable substract interleave: 1\n"
            "\t\tenable substract channel: 0\n"
            "\t\tdepth_out_use_float: 1\n"
            "\t\tamplitude_out_use_16bit: 1\n"
            "\t\toutput_distance_0: 1\n"
            "\t\toutput_distance_1: 0\n"
            "\t\tright shift bits: 5\n"
            "\t\tmantissa_bits: 10\n"
            "\t\tcut_higher_amplitude_bits: 3\n"
            "\t\tm0: 7\n"
            "\t\tm1: 5\n"
            "\t\tright shift 1\n");
  EXPECT_EQ(ctx->option.m0, 7);
  EXPECT_EQ(ctx->option.m1, 5);
  destroy_tof_dual_context(ctx);
}

// The shift line and its effect on a stored amplitude of 300 (x1 = 300, y1 = 0).
struct ShiftCase {
  unsigned right, cut;
  const char* line;
  std::uint32_t shifted;  // 300 after the shift, before the store keeps its low bits
};

TEST(DualSetup, AmplitudeShiftRule) {
  const ShiftCase cases[] = {
      {0, 0, "\t\tno shift\n", 300},       {0, 4, "\t\tleft shift 4\n", 300u << 4},
      {1, 4, "\t\tno shift\n", 300},       {7, 1, "\t\tright shift 3\n", 300u >> 3},
      {3, 6, "\t\tleft shift 2\n", 300u << 2}, {15, 0, "\t\tright shift 4\n", 300u >> 4},
      {1, 15, "\t\tleft shift 11\n", 300u << 11}, {0, 15, "\t\tleft shift 15\n", 300u << 15},
      {2, 3, "\t\tright shift 1\n", 300u >> 1},
  };
  const dualtest::Frame frame = dualtest::uniform_frame(9, 2, false, 5, 7, 300, 0);
  for (const ShiftCase& c : cases) {
    for (bool u16 : {false, true}) {
      const tof_dual_option o = make_option(false, u16, c.right, c.cut, 3, 2);
      tof_dual_context* ctx = nullptr;
      const std::string out = pxtest::capture_stdout([&] { ctx = setup_tof_dual_context(&o); });
      ASSERT_NE(ctx, nullptr);
      EXPECT_EQ(out.substr(out.rfind("\t\tm1: 2\n") + 8), c.line) << c.right << "," << c.cut;
      dualtest::CallArgs args;
      args.amplitude_u16 = u16;
      const dualtest::Output r = dualtest::decode(ctx, frame, args);
      ASSERT_EQ(r.status, 0);
      for (std::size_t i = 0; i < frame.pixels(); ++i) {
        if (u16) {
          ASSERT_EQ(r.amplitude16[i], c.shifted & 0xFFFF) << c.right << "," << c.cut;
        } else {
          ASSERT_EQ(r.amplitude8[i], c.shifted & 0xFF) << c.right << "," << c.cut;
        }
      }
      destroy_tof_dual_context(ctx);
    }
  }
}

// A null option, and a negative m0 or m1 (loop counts of the unwrapping
// search), are refused before anything is made or printed.
TEST(DualSetup, NullOptionNegativeMultiplesAndNoMemory) {
  tof_dual_context* ctx = nullptr;
  EXPECT_EQ(pxtest::capture_stdout([&] { ctx = setup_tof_dual_context(nullptr); }),
            "error: invalid params\n");
  EXPECT_EQ(ctx, nullptr);
  const std::int32_t multiples[][2] = {{-1, 2}, {3, -1}, {INT32_MIN, INT32_MIN}};
  for (const auto& m : multiples) {
    tof_dual_option bad = make_option(true, false, 0, 0, 3, 2);
    bad.m0 = m[0];
    bad.m1 = m[1];
    const std::uint64_t allocations = pxtest::library_allocations();
    EXPECT_EQ(pxtest::capture_stdout([&] { ctx = setup_tof_dual_context(&bad); }),
              "error: invalid params\n");
    EXPECT_EQ(ctx, nullptr) << m[0] << ", " << m[1];
    EXPECT_EQ(pxtest::library_allocations(), allocations);
  }

  const tof_dual_option o = make_option(false, false, 0, 0, 3, 2);
  const std::uint64_t before = pxtest::library_allocations();
  pxkit::mem::fail_allocation_after(0);
  const std::string out = pxtest::capture_stdout([&] { ctx = setup_tof_dual_context(&o); });
  pxkit::mem::fail_allocation_after(-1);
  EXPECT_EQ(out, "error: no memory\n");
  EXPECT_EQ(ctx, nullptr);
  EXPECT_EQ(pxtest::library_allocations(), before);
  destroy_tof_dual_context(nullptr);  // ignored
}

// A pool that cannot be made is not a setup failure: the context comes back
// without one (and decodes on the caller's thread).
TEST(DualSetup, PoolFailureKeepsTheContext) {
  const tof_dual_option o = make_option(false, false, 0, 0, 3, 2);
  for (int fail_after : {1, 2}) {  // the pool itself, then its first queue
    tof_dual_context* ctx = nullptr;
    pxkit::mem::fail_allocation_after(fail_after);
    const std::string out = pxtest::capture_stdout([&] { ctx = setup_tof_dual_context(&o); });
    pxkit::mem::fail_allocation_after(-1);
    ASSERT_NE(ctx, nullptr) << out;
    EXPECT_EQ(ctx->thread_pool, nullptr);
    EXPECT_EQ(out.rfind("fatal: no memory\nsetup tof_dual option:\n", 0), 0u) << out;
    destroy_tof_dual_context(ctx);
  }
}

// All four blocks run the same kernel with the same shift, each on itself.
TEST(DualSetup, FourStripeBlocksShareTheKernel) {
  const dualtest::Context ctx = dualtest::setup(make_option(true, true, 0, 6, 3, 2));
  ASSERT_NE(ctx, nullptr);
  ASSERT_NE(ctx->thread_pool, nullptr);
  EXPECT_EQ(ctx->thread_pool->thread_count, 4u);
  for (std::uint32_t s = 0; s < pxkit::kDualStripes; ++s) {
    const pxkit::tof_dual_stripe& b = ctx->stripes[s];
    EXPECT_EQ(b.index, s);
    EXPECT_EQ(b.amplitude_shift, 6u);
    EXPECT_EQ(b.task.func, ctx->stripes[0].task.func);
    EXPECT_NE(b.task.func, nullptr);
    EXPECT_EQ(b.task.arg0, reinterpret_cast<std::uintptr_t>(&b));
  }
}

}  // namespace
