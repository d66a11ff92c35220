// Both ToF decoders through the public API (results of every option against
// the definition and across targets are in tof_equivalence_test.cc).
// Single frequency: the option report, the shift and mantissa decisions,
// refusals, empty frames, the _v3 offset, the serial path, allocation-free
// frames. Dual frequency: the packed option record and its report, the shift
// rule, refusals, stripe splits, the unwrapping rules on exact phases,
// physically generated frames, the serial path, allocation-free frames.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "common/memory.h"
#include "tof/dual_context.h"
#include "tof/tof_context.h"
#include "tof/tof_test_util.h"

namespace {

using toftest::Entry;
using toftest::make_option;

constexpr std::uint32_t kW = 64;
constexpr std::int32_t kH = 4;
constexpr std::size_t kPixels = kW * kH;

std::string setup_output(const tof_option& o) {
  tof_context* ctx = nullptr;
  const std::string out = pxtest::capture_stdout([&] { ctx = setup_tof_context(&o); });
  EXPECT_NE(ctx, nullptr);
  destroy_tof_context(ctx);
  return out;
}

TEST(TofSetup, ReportsEveryOptionInRecordOrder) {
  tof_option o{1, 2, 3, 4, 5, 0, 7, 8};
  EXPECT_EQ(setup_output(o),
            "setup tof option:\n\t\tenable substract interleave: 1\n\t\tright shift bits: 2\n"
            "\t\treverse_90_270: 3\n\t\tcut_higher_amplitude_bits: 4\n\t\tmantissa_bits: 5\n"
            "\t\tdepth_out_use_float: 0\n\t\tamplitude_output_32bytes_align: 7\n"
            "\t\tamplitude_out_use_16bit: 8\n\t\tno shift\n");
}

// The shift is the cut bits minus 4 when a right shift is asked (only r != 0
// counts): its report line and a u16 amplitude of 300 after it, on every
// target. 32 bits or more move every bit out (x86 would shift by 40 - 32).
TEST(TofSetup, AmplitudeShiftRule) {
  const struct {
    int right, cut;
    const char* line;
    std::uint16_t amplitude;
  } cases[] = {{0, 0, "\t\tno shift\n", 300},          {0, 3, "\t\tleft shift 3\n", 2400},
               {1, 0, "\t\tright shift 4\n", 300 >> 4}, {5, 0, "\t\tright shift 4\n", 300 >> 4},
               {1, 1, "\t\tright shift 3\n", 300 >> 3}, {1, 4, "\t\tno shift\n", 300},
               {1, 6, "\t\tleft shift 2\n", 1200},       {0, 8, "\t\tleft shift 8\n", (300 << 8) & 0xFFFF},
               {0, 40, "\t\tleft shift 40\n", 0},       {1, 36, "\t\tleft shift 32\n", 0},
               {255, 255, "\t\tleft shift 251\n", 0}};
  const std::vector<std::int16_t> zero(kPixels);
  const toftest::Phases ph{std::vector<std::int16_t>(kPixels, 300), zero, zero, zero};
  for (std::int64_t target : toftest::all_targets()) {
    pxtest::ScopedTarget only(target);
    for (const auto& c : cases) {
      SCOPED_TRACE(testing::Message() << pxtest::target_label(target) << " r " << c.right << " c " << c.cut);
      const tof_option o = make_option(true, false, c.right, false, c.cut, 0, false, true);
      tof_context* made = nullptr;
      const std::string out = pxtest::capture_stdout([&] { made = setup_tof_context(&o); });
      const toftest::Context ctx(made);
      EXPECT_EQ(out.substr(out.rfind('\n', out.size() - 2) + 1), c.line);
      std::vector<float> depth(kPixels);
      std::vector<std::uint16_t> amp(kPixels);
      ASSERT_EQ(toftest::call(ctx.get(), true, Entry::kPlain, kW, kH, ph, depth.data(), amp.data(), 1.0f), 0);
      EXPECT_EQ(amp, std::vector<std::uint16_t>(kPixels, c.amplitude));
    }
  }
}

// 15 passes despite the text; above it the depth is 6.10 after a message. Float
// depth neither tests nor reports the mantissa.
TEST(TofSetup, MantissaAbove15FallsBackTo10WithAMessage) {
  const std::string at15 = setup_output(make_option(false, false, 0, false, 0, 15));
  EXPECT_EQ(at15.find("error"), std::string::npos) << at15;
  const std::string out = setup_output(make_option(false, false, 0, false, 2, 16));
  EXPECT_NE(out.find("\t\tamplitude_out_use_16bit: 0\n"
                     "error: mantissa bits (16) should less than 15, use 10 by default\n"
                     "\t\tleft shift 2\n"),
            std::string::npos)
      << out;
  EXPECT_EQ(setup_output(make_option(true, false, 0, false, 0, 200)).find("error"), std::string::npos);
}

TEST(TofSetup, NullOptionAndNoMemoryAreRefused) {
  tof_context* ctx = reinterpret_cast<tof_context*>(1);
  EXPECT_EQ(pxtest::capture_stdout([&] { ctx = setup_tof_context(nullptr); }),
            "error: invalid params\n");
  EXPECT_EQ(ctx, nullptr);
  destroy_tof_context(nullptr);  // accepted, no effect
  const tof_option o = make_option(true);
  ctx = reinterpret_cast<tof_context*>(1);
  pxkit::mem::fail_allocation_after(0);
  const std::string out = pxtest::capture_stdout([&] { ctx = setup_tof_context(&o); });
  pxkit::mem::fail_allocation_after(-1);
  EXPECT_EQ(ctx, nullptr);
  EXPECT_EQ(out, "error: no memory\n");
}

// Refusals come before anything is written (the buffers are small: a call that
// wrote would run past them). A depth type other than the context's gives -1
// and its message on the pooled path (the serial path makes no such check).
// Unusable arguments give "error: invalid params" and -2 on both paths: no
// context, a null buffer, a negative height, more pixels than 32 bits hold,
// and padded amplitude rows whose pitch does not fit (width near 2^31).
TEST(TofFrame, RefusalsWriteNothing) {
  constexpr std::uint32_t kNear31 = 2147483647u;  // 2^31 - 1
  const char* const kInvalid = "error: invalid params\n";
  const toftest::Phases ph = toftest::random_phases(kPixels, false);
  const std::int16_t* p = ph.p0.data();
  const auto fixed_depth = toftest::quiet_setup(make_option(false));
  const tof_option o = make_option(true, false, 0, false, 0, 0, /*align=*/true);
  for (bool pooled : {true, false}) {
    const auto ctx = pooled ? toftest::quiet_setup(o) : toftest::setup_without_pool(o);
    struct Case {
      tof_context* ctx;
      bool float_depth;
      std::uint32_t w;
      std::int32_t h;
      bool null_phase, null_depth;
      std::int32_t status;
      const char* message;
    };
    std::vector<Case> cases = {
        {nullptr, true, kW, kH, false, false, -2, kInvalid},   {ctx.get(), true, kW, kH, true, false, -2, kInvalid},
        {ctx.get(), true, kW, kH, false, true, -2, kInvalid},  {ctx.get(), true, 1, -1, false, false, -2, kInvalid},
        {ctx.get(), true, 64, -3, false, false, -2, kInvalid}, {ctx.get(), true, 33, -3, false, false, -2, kInvalid},
        {ctx.get(), true, 65536, 65537, false, false, -2, kInvalid},  // 2^32 + 2^16 pixels
        {ctx.get(), true, 65536, 32768, false, false, -2, kInvalid},  // 2^31 pixels
        {ctx.get(), true, kNear31, 4, false, false, -2, kInvalid},  // rows of 2^31 - 1, pitch 2^31
        {ctx.get(), true, kNear31 - 15, 1, false, false, -2, kInvalid},  // the pitch 2^31 does not fit
    };
    if (pooled) {
      cases.push_back({ctx.get(), false, kW, kH, false, false, -1,
                       "error: should not set 'depth_out_use_float' in option when setup_tof_context\n"});
      cases.push_back({fixed_depth.get(), true, kW, kH, false, false, -1,
                       "error: should set 'depth_out_use_float' in option when setup_tof_context\n"});
    }
    for (const Case& c : cases) {
      for (Entry e : {Entry::kPlain, Entry::kV2, Entry::kV3}) {
        SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << (pooled ? " pooled" : " serial")
                                        << " entry " << static_cast<int>(e));
        std::vector<std::uint8_t> depth(kPixels * 4, 0xEE), amp(kPixels, 0xEE);
        std::int32_t result = 0;
        EXPECT_EQ(pxtest::capture_stdout([&] {
                    result = toftest::call(c.ctx, c.float_depth, e, c.w, c.h, p, c.null_phase ? nullptr : p,
                                           p, p, c.null_depth ? nullptr : depth.data(), amp.data(), 1.0f, 2.0f);
                  }),
                  c.message);
        EXPECT_EQ(result, c.status);
        EXPECT_EQ(depth, std::vector<std::uint8_t>(kPixels * 4, 0xEE));
        EXPECT_EQ(amp, std::vector<std::uint8_t>(kPixels, 0xEE));
      }
    }
  }
}

// Frames of fewer than 4 pixels leave stripes 0-2 empty; empty stripes write
// nothing even though the previous, row-mode frame left rows in their blocks.
TEST(TofFrame, EmptyFramesWriteNothing) {
  const auto ctx = toftest::quiet_setup(make_option(true, false, 0, false, 0, 0, /*align=*/true));
  const toftest::Phases ph = toftest::random_phases(33 * 8, false);
  std::vector<float> depth(33 * 8);
  std::vector<std::uint8_t> amp(64 * 8);
  ASSERT_EQ(toftest::call(ctx.get(), true, Entry::kPlain, 33, 8, ph, depth.data(), amp.data(), 1.0f), 0);
  for (const auto& [w, h] : {std::pair<std::uint32_t, std::int32_t>{64, 0}, {0, 5}, {33, 0}}) {
    std::vector<float> d(33 * 8, -7.0f);
    std::vector<std::uint8_t> a(64 * 8, 0xEE);
    EXPECT_EQ(toftest::call(ctx.get(), true, Entry::kV3, w, h, ph, d.data(), a.data(), 1.0f, 2.0f), 0);
    EXPECT_EQ(d, std::vector<float>(33 * 8, -7.0f)) << w << "x" << h;
    EXPECT_EQ(a, std::vector<std::uint8_t>(64 * 8, 0xEE)) << w << "x" << h;
  }
}

// A pool that cannot start (its report comes first) leaves a context whose
// calls take the serial path: planar, normal order, no shift, 6.10; only the
// amplitude type is honoured, and no depth type check is made.
TEST(TofSerial, IgnoresTheOptionsExceptTheAmplitudeType) {
  const tof_option o = make_option(true, true, 1, true, 3, 0, true, true);
  tof_context* made = nullptr;
  const std::string printed = [&] {
    pxtest::ScopedThreadStartFailure no_threads(0);
    return pxtest::capture_stdout([&] { made = setup_tof_context(&o); });
  }();
  const toftest::Context ctx(made);
  ASSERT_NE(ctx, nullptr);
  ASSERT_EQ(ctx->thread_pool, nullptr);
  EXPECT_EQ(printed.rfind("fatal: pthread_create fail\nsetup tof option:\n", 0), 0u) << printed;
  const std::uint32_t w = 37;
  const std::int32_t h = 3;
  const toftest::Phases ph = toftest::random_phases(w * h, false);
  const float scale = -2.5f, offset = 20.0f, period = scale * 6.2831855f;
  for (bool fl : {true, false}) {
    for (Entry e : {Entry::kPlain, Entry::kV2, Entry::kV3}) {
      std::vector<float> fdepth(w * h + 1, 99.0f);
      std::vector<std::int16_t> idepth(w * h + 1, 99);
      std::vector<std::uint16_t> amp(w * h + 1, 99);
      void* depth = fl ? static_cast<void*>(fdepth.data()) : idepth.data();
      std::int32_t result = -1;
      const std::string out = pxtest::capture_stdout(
          [&] { result = toftest::call(ctx.get(), fl, e, w, h, ph, depth, amp.data(), scale, offset); });
      EXPECT_EQ(result, 0);
      EXPECT_EQ(out, fl ? "null ctx, choose non-parallel version\n"
                          "will always disable substract, shift and reverse\n"
                        : "null ctx, choose non-parallel version, does not support options\n"
                          "will always disable substract, shift and reverse, and always use 6.10 fixed format\n");
      for (std::size_t i = 0; i < w * h; ++i) {
        const auto y = static_cast<float>(ph.p90[i] - ph.p270[i]);
        const auto x = static_cast<float>(ph.p0[i] - ph.p180[i]);
        const float phase = fast_atan2(y, x);
        float d = scale * phase;
        if (e == Entry::kV3) {
          d = std::fma(scale, phase, offset);
          if (d > period) {
            d -= period;
          } else if (d < 0) {
            d += period;
          }
        }
        if (fl) {
          ASSERT_TRUE(pxtest::same_bits(fdepth[i], d)) << i;
        } else {
          const float fixed = e == Entry::kV3 ? d * 1024.0f : (scale * 1024.0f) * phase;
          ASSERT_EQ(idepth[i], static_cast<std::int16_t>(static_cast<std::int32_t>(fixed))) << i;
        }
        ASSERT_EQ(amp[i], static_cast<std::uint16_t>(std::sqrt(static_cast<double>(std::fma(y, y, x * x)))));
      }
      EXPECT_EQ(fl ? fdepth[w * h] : idepth[w * h], 99);
      EXPECT_EQ(amp[w * h], 99);
    }
  }
}

TEST(TofFrame, SteadyStateFramesAllocateNothing) {
  for (bool align : {false, true}) {
    const auto ctx = toftest::quiet_setup(make_option(false, false, 0, false, 0, 0, align));
    const toftest::Phases ph = toftest::random_phases(33 * 9, false);
    std::vector<std::int16_t> depth(33 * 9);
    std::vector<std::uint8_t> amp(64 * 9);
    toftest::call(ctx.get(), false, Entry::kPlain, 33, 9, ph, depth.data(), amp.data(), 1.0f);
    const std::uint64_t before = pxtest::library_allocations();
    for (int n = 0; n < 10; ++n) {
      for (Entry e : {Entry::kPlain, Entry::kV2, Entry::kV3})
        toftest::call(ctx.get(), false, e, 33, 9, ph, depth.data(), n % 2 ? amp.data() : nullptr, 0.5f, 1.0f);
    }
    EXPECT_EQ(pxtest::library_allocations(), before);
  }
}

using toftest::all_targets;
using toftest::CallArgs;
using toftest::decode;
using toftest::DualContext;
using toftest::Frame;
using toftest::Output;
using toftest::setup_on;
using toftest::setup_without_pool;
constexpr auto make = &toftest::make_dual_option;

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

// An option built from its packed word, as a caller of another language would:
// interleave, float depth, u16 amplitude, distance 0; reserved bits 6-7 and
// 20-31 set (ignored); R = 5, mantissa 10, C = 3; m0 = 7; m1 = 5.
TEST(DualSetup, ReportsTheOptionFromThePackedWord) {
  const std::uint64_t word = 0x1Dull | 0xC0ull | 0x5ull << 8 | 0xAull << 12 | 0x3ull << 16 |
                             0xFFFull << 20 | std::uint64_t{7} << 32;
  const std::uint32_t m1 = 5;
  tof_dual_option o;
  std::memcpy(&o, &word, 8);  // little-endian, as bits_of reads it back
  std::memcpy(reinterpret_cast<unsigned char*>(&o) + 8, &m1, 4);
  ASSERT_EQ(bits_of(o).word, word);
  tof_dual_context* ctx = nullptr;
  const std::string out = pxtest::capture_stdout([&] { ctx = setup_tof_dual_context(&o); });
  ASSERT_NE(ctx, nullptr);
  EXPECT_EQ(out,
            "setup tof_dual option:\n\t\tenable substract interleave: 1\n\t\tenable substract channel: 0\n"
            "\t\tdepth_out_use_float: 1\n\t\tamplitude_out_use_16bit: 1\n\t\toutput_distance_0: 1\n"
            "\t\toutput_distance_1: 0\n\t\tright shift bits: 5\n\t\tmantissa_bits: 10\n"
            "\t\tcut_higher_amplitude_bits: 3\n\t\tm0: 7\n\t\tm1: 5\n\t\tright shift 1\n");
  EXPECT_EQ(ctx->option.m0, 7);
  EXPECT_EQ(ctx->option.m1, 5);
  destroy_tof_dual_context(ctx);
}

// The shift line and its effect on a stored amplitude of 300 (x1 = 300, y1 = 0)
// before the store keeps its low bits.
TEST(DualSetup, AmplitudeShiftRule) {
  const struct {
    unsigned right, cut;
    const char* line;
    std::uint32_t shifted;
  } cases[] = {
      {0, 0, "\t\tno shift\n", 300},       {0, 4, "\t\tleft shift 4\n", 300u << 4},
      {1, 4, "\t\tno shift\n", 300},       {7, 1, "\t\tright shift 3\n", 300u >> 3},
      {3, 6, "\t\tleft shift 2\n", 300u << 2}, {15, 0, "\t\tright shift 4\n", 300u >> 4},
      {1, 15, "\t\tleft shift 11\n", 300u << 11}, {0, 15, "\t\tleft shift 15\n", 300u << 15},
      {2, 3, "\t\tright shift 1\n", 300u >> 1},
  };
  const Frame frame = toftest::uniform_frame(9, 2, false, 5, 7, 300, 0);
  for (const auto& c : cases) {
    for (bool u16 : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.right << "," << c.cut << " u16 " << u16);
      const tof_dual_option o = make(false, u16, c.right, c.cut, 3, 2);
      tof_dual_context* made = nullptr;
      const std::string out = pxtest::capture_stdout([&] { made = setup_tof_dual_context(&o); });
      const DualContext ctx(made);
      ASSERT_NE(ctx, nullptr);
      EXPECT_EQ(out.substr(out.rfind("\t\tm1: 2\n") + 8), c.line);
      CallArgs args;
      args.amplitude_u16 = u16;
      const Output r = decode(ctx.get(), frame, args);
      ASSERT_EQ(r.status, 0);
      if (u16) {
        EXPECT_EQ(r.amplitude16, std::vector<std::uint16_t>(frame.pixels(), c.shifted & 0xFFFF));
      } else {
        EXPECT_EQ(r.amplitude8, std::vector<std::uint8_t>(frame.pixels(), c.shifted & 0xFF));
      }
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
    const tof_dual_option bad = make(true, false, 0, 0, m[0], m[1]);
    const std::uint64_t allocations = pxtest::library_allocations();
    EXPECT_EQ(pxtest::capture_stdout([&] { ctx = setup_tof_dual_context(&bad); }),
              "error: invalid params\n");
    EXPECT_EQ(ctx, nullptr) << m[0] << ", " << m[1];
    EXPECT_EQ(pxtest::library_allocations(), allocations);
  }

  const tof_dual_option o = make(false, false, 0, 0, 3, 2);
  const std::uint64_t before = pxtest::library_allocations();
  pxkit::mem::fail_allocation_after(0);
  const std::string out = pxtest::capture_stdout([&] { ctx = setup_tof_dual_context(&o); });
  pxkit::mem::fail_allocation_after(-1);
  EXPECT_EQ(out, "error: no memory\n");
  EXPECT_EQ(ctx, nullptr);
  EXPECT_EQ(pxtest::library_allocations(), before);
  destroy_tof_dual_context(nullptr);  // ignored
}

// Each refusal prints one line and returns its code before anything is written
// or queued: the depth flag clear, a requested distance plane missing
// (distance 0 first), then no context, a null input plane or a null depth.
TEST(DualDecode, RefusalsWriteAndQueueNothing) {
  const Frame frame = toftest::random_frame(13, 8, false, 0, 65535);
  const std::size_t n = frame.pixels();
  // `missing`: 0-7 an input plane, 8 the depth, 9 the context, -1 none.
  const auto check = [&](const tof_dual_option& o, int missing, bool give_d0, bool give_d1,
                         std::int32_t status, const char* message) {
    DualContext ctx = toftest::quiet_setup(o);
    ASSERT_NE(ctx, nullptr);  // setup itself accepts every option
    std::vector<float> depth(n, toftest::kDepthSentinel), d0(n, 5.0f), d1(n, 6.0f);
    std::vector<std::uint16_t> amplitude(n, toftest::kAmplitudeSentinel);
    const std::uint16_t* p[8];
    for (int i = 0; i < 8; ++i) p[i] = i == missing ? nullptr : frame.planes[i].data();
    std::int32_t result = 0;
    EXPECT_EQ(pxtest::capture_stdout([&] {
                result = itof_dual_dec_float(missing == 9 ? nullptr : ctx.get(), 13, 8, p[0], p[1],
                                             p[2], p[3], p[4], p[5], p[6], p[7], nullptr,
                                             missing == 8 ? nullptr : depth.data(),
                                             give_d0 ? d0.data() : nullptr,
                                             give_d1 ? d1.data() : nullptr, amplitude.data(), 13,
                                             0.15915494f, 0, 0);
              }),
              message);
    EXPECT_EQ(result, status);
    ctx.reset();  // joins the workers: a stripe queued by mistake has run by now
    EXPECT_EQ(depth, std::vector<float>(n, toftest::kDepthSentinel));
    EXPECT_EQ(amplitude, std::vector<std::uint16_t>(n, toftest::kAmplitudeSentinel));
    EXPECT_EQ(d0, std::vector<float>(n, 5.0f));
    EXPECT_EQ(d1, std::vector<float>(n, 6.0f));
  };
  const struct {
    const char* what;
    bool depth_float, want_d0, want_d1, give_d0, give_d1;
    std::int32_t status;
    const char* message;
  } options[] = {
      {"depth flag clear", false, false, false, true, true, -1,
       "error: should set 'distance_out_use_float' in option when setup_tof_context\n"},
      {"distance_0 missing", true, true, false, false, true, -2, "error: null p_distance_0\n"},
      {"distance_1 missing", true, false, true, true, false, -3, "error: null p_distance_1\n"},
      {"both missing", true, true, true, false, false, -2, "error: null p_distance_0\n"},
  };
  for (const auto& c : options) {
    SCOPED_TRACE(c.what);
    tof_dual_option o = make(false, true, 0, 0, 3, 2);
    o.depth_out_use_float = c.depth_float;
    o.output_distance_0 = c.want_d0;
    o.output_distance_1 = c.want_d1;
    check(o, -1, c.give_d0, c.give_d1, c.status, c.message);
  }
  for (int missing = 0; missing <= 9; ++missing) {
    SCOPED_TRACE(testing::Message() << "null argument " << missing);
    check(make(false, true, 0, 0, 3, 2), missing, false, false, -4, "error: invalid params\n");
  }
  // An empty frame needs no planes.
  const DualContext ctx = toftest::quiet_setup(make(false, false, 0, 0, 3, 2));
  EXPECT_EQ(itof_dual_dec_float(ctx.get(), 0, 4, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, 0, 1, 0, 0),
            0);
}

// Requested distance planes are kept but not written by the stripe kernels;
// the channel plane is kept but never read (this one is not readable).
TEST(DualDecode, DistanceAndChannelPlanesAreNotTouched) {
  tof_dual_option o = make(false, false, 0, 0, 3, 2);
  o.output_distance_0 = o.output_distance_1 = o.enable_substract_channel = 1;
  const DualContext ctx = toftest::quiet_setup(o);
  const Frame f = toftest::random_frame(11, 3, false, 0, 65535);
  std::vector<float> d0(f.pixels(), 5.0f), d1(f.pixels(), 6.0f), depth(f.pixels(), -1.0f);
  const auto& p = f.planes;
  const auto* unreadable = reinterpret_cast<const void*>(std::uintptr_t{16});
  EXPECT_EQ(itof_dual_dec_float(ctx.get(), 11, 3, p[0].data(), p[1].data(), p[2].data(),
                                p[3].data(), p[4].data(), p[5].data(), p[6].data(), p[7].data(),
                                unreadable, depth.data(), d0.data(), d1.data(), nullptr, 11,
                                0.15915494f, 0, 0),
            0);
  EXPECT_EQ(d0, std::vector<float>(f.pixels(), 5.0f));
  EXPECT_EQ(d1, std::vector<float>(f.pixels(), 6.0f));
  for (float d : depth) EXPECT_GE(d, 0.0f);
  EXPECT_EQ(ctx->stripes[0].channel_plane, unreadable);
}

// Row mode (amplitude rows padded) gives what run mode gives, row for row,
// with the padding untouched, whatever remainder of rows stripe 3 takes.
TEST(DualDecode, RowModeMatchesRunModeAndKeepsThePadding) {
  for (std::int64_t target : all_targets()) {
    for (bool interleave : {false, true}) {
      const DualContext ctx = setup_on(target, make(interleave, true, 0, 2, 3, 2));
      for (std::uint32_t height : {1u, 3u, 4u, 7u, 10u}) {
        SCOPED_TRACE(testing::Message() << pxtest::target_label(target) << " height " << height);
        const Frame f = toftest::random_frame(19, height, interleave, 0, 65535);
        CallArgs args;
        args.amplitude_u16 = true;
        const Output by_runs = decode(ctx.get(), f, args);
        args.pitch = 19 + 5;
        const Output rows = decode(ctx.get(), f, args);
        ASSERT_EQ(by_runs.status, 0);
        ASSERT_EQ(rows.status, 0);
        EXPECT_TRUE(toftest::same_floats(by_runs.depth, rows.depth));
        for (std::uint32_t y = 0; y < height; ++y) {
          for (std::uint32_t x = 0; x < 24; ++x) {
            const std::uint16_t want = x < 19 ? by_runs.amplitude16[y * 19 + x] : toftest::kAmplitudeSentinel;
            ASSERT_EQ(rows.amplitude16[y * 24 + x], want) << y << " " << x;
          }
        }
      }
    }
  }
}

// A run-mode frame of fewer than 4 pixels leaves stripes 0-2 empty; they must
// write nothing even though a row-mode call left rows in their blocks.
// Outputs end at an inaccessible page, so a write past the frame faults.
TEST(DualDecode, TinyRunModeFramesWriteOnlyTheFrame) {
  for (std::int64_t target : all_targets()) {
    const DualContext ctx = setup_on(target, make(true, false, 0, 0, 3, 2));
    CallArgs padded;
    padded.pitch = 40;
    ASSERT_EQ(decode(ctx.get(), toftest::random_frame(33, 12, true, 0, 65535), padded).status, 0);
    for (std::uint32_t pixels : {0u, 1u, 2u, 3u}) {
      const Frame f = toftest::random_frame(pixels, 1, true, 0, 65535);
      pxtest::PageEndBuffer depth(pixels * sizeof(float)), amplitude(pixels);
      const auto& p = f.planes;
      ASSERT_EQ(itof_dual_dec_float(ctx.get(), pixels, 1, p[0].data(), p[1].data(), p[2].data(),
                                    p[3].data(), p[4].data(), p[5].data(), p[6].data(),
                                    p[7].data(), nullptr, depth.as<float>(), nullptr, nullptr,
                                    amplitude.data(), pixels, 0.15915494f, 0, 0),
                0);
      for (std::uint32_t i = 0; i < pixels; ++i) {
        EXPECT_GE(depth.as<float>()[i], 0.0f);
        EXPECT_LT(depth.as<float>()[i], 2.0f);
      }
    }
  }
}

// With x > 0 and y = 0 at both frequencies the angles are 0, so each wrapped
// phase is exactly its offset (offset + 3 - 3): the search sees chosen phases.
TEST(DualDecode, UnwrapRulesOnExactPhases) {
  const struct {
    const char* what;
    int m0, m1;
    float phi0, phi1, depth;
  } cases[] = {
      {"m1 = 0 gives phi1", 3, 0, 0.5f, 0.25f, 0.25f},
      {"m0 = 0 tries no pair", 0, 3, 0.5f, 0.25f, 0.25f},
      {"zero phases match at once", 3, 2, 0.0f, 0.0f, 0.0f},
      {"zero phases, 7 and 5", 7, 5, 0.0f, 0.0f, 0.0f},
      {"match at k = 1", 3, 2, 0.5f, 0.0f, 1.0f},
      {"pairs j < k are not tried", 2, 2, 0.625f, 0.0f, 0.0f},
      {"a tie keeps the first k", 2, 2, 0.0f, 0.25f, 0.25f},
      {"a best of exactly 1.0 is not taken", 4, 7, 0.0f, 0.5f, 0.5f},
      {"a best below 1.0 is taken", 4, 7, 0.0f, 0.5625f, 1.5625f},
  };
  for (std::int64_t target : all_targets()) {
    for (bool interleave : {false, true}) {
      const Frame f = toftest::uniform_frame(21, 2, interleave, 1000, 0, 2000, 0);
      for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.what << " on " << pxtest::target_label(target));
        const DualContext ctx = setup_on(target, make(interleave, false, 0, 0, c.m0, c.m1));
        CallArgs args;
        args.offset_0 = c.phi0;
        args.offset_1 = c.phi1;
        const Output r = decode(ctx.get(), f, args);
        ASSERT_EQ(r.status, 0);
        EXPECT_EQ(r.depth, std::vector<float>(f.pixels(), c.depth));
      }
    }
  }
}

TEST(DualDecode, PhysicalFramesUnwrapToTheTrueDistance) {
  constexpr std::uint32_t kWidth = 37, kHeight = 11;
  constexpr double kA0 = 6000, kA1 = 9000;
  std::vector<double> distance(kWidth * kHeight);
  for (std::size_t i = 0; i < distance.size(); ++i)
    distance[i] = (static_cast<double>(i) + 0.5) / static_cast<double>(distance.size());
  for (const auto& [m0, m1] : {std::pair{3, 2}, {7, 5}, {5, 3}}) {
    for (bool interleave : {false, true}) {
      const Frame f = toftest::physical_frame(kWidth, kHeight, interleave, m0, m1, distance, kA0, kA1);
      for (std::int64_t target : all_targets()) {
        SCOPED_TRACE(testing::Message() << "m0 " << m0 << " m1 " << m1 << " on "
                                        << pxtest::target_label(target));
        const DualContext ctx = setup_on(target, make(interleave, true, 0, 0, m0, m1));
        for (std::uint32_t pitch : {kWidth, kWidth + 3}) {
          CallArgs args;
          args.amplitude_u16 = true;
          args.pitch = pitch;
          const Output r = decode(ctx.get(), f, args);
          ASSERT_EQ(r.status, 0);
          std::size_t checked = 0;
          for (std::size_t i = 0; i < distance.size(); ++i) {
            // Frequency 1 alone gives amplitude 2 A1 (the two differences are 2 A cos, 2 A sin).
            ASSERT_NEAR(r.amplitude16[(i / kWidth) * pitch + i % kWidth], 2 * kA1, 3) << i;
            // Right at a wrap of either frequency the phase may land on either side.
            const double w0 = distance[i] * m0, w1 = distance[i] * m1;
            if (std::abs(w0 - std::round(w0)) < 2e-3 || std::abs(w1 - std::round(w1)) < 2e-3)
              continue;
            ++checked;
            ASSERT_NEAR(r.depth[i], w1, 1e-3) << "pixel " << i;
          }
          EXPECT_GT(checked, distance.size() * 9 / 10);
        }
      }
    }
  }
}

// A pool that cannot start (its report comes first) is not a setup failure:
// the context decodes on the caller's thread without checks, frequency 0 only
// (its planes 4-7 are not read), frequency 1's angle is fast_atan2(0, 0), both
// distances written, no amplitude.
TEST(DualSerial, FrequencyZeroOnlyAndNoChecks) {
  tof_dual_option o = make(true, true, 0, 3, 3, 0);
  o.depth_out_use_float = 0;
  o.output_distance_0 = o.output_distance_1 = 1;
  tof_dual_context* made = nullptr;
  const std::string printed = [&] {
    pxtest::ScopedThreadStartFailure no_threads(0);
    return pxtest::capture_stdout([&] { made = setup_tof_dual_context(&o); });
  }();
  const DualContext ctx(made);
  ASSERT_NE(ctx, nullptr);
  ASSERT_EQ(ctx->thread_pool, nullptr);
  EXPECT_EQ(printed.rfind("fatal: pthread_create fail\nsetup tof_dual option:\n", 0), 0u) << printed;

  // Angles of the four axes and four diagonals of frequency 0; plain samples.
  const int xs[] = {400, 400, 0, -400, -400, -400, 0, 400};
  const int ys[] = {0, 400, 400, 400, 0, -400, -400, -400};
  std::vector<std::uint16_t> p[4] = {{}, {}, std::vector<std::uint16_t>(8, 1000), std::vector<std::uint16_t>(8, 1000)};
  for (int i = 0; i < 8; ++i) {
    p[0].push_back(static_cast<std::uint16_t>(1000 + xs[i]));
    p[1].push_back(static_cast<std::uint16_t>(1000 + ys[i]));
  }
  std::vector<float> depth(8, -1.0f), d0(8, -1.0f), d1(8, -1.0f);
  std::vector<std::uint16_t> amplitude(8, 0xA5A5);
  std::int32_t status = -9;
  const std::string out = pxtest::capture_stdout([&] {
    status = itof_dual_dec_float(ctx.get(), 4, 2, p[0].data(), p[1].data(), p[2].data(),
                                 p[3].data(), nullptr, nullptr, nullptr, nullptr, nullptr,
                                 depth.data(), d0.data(), d1.data(), amplitude.data(), 4,
                                 0.15915494f, 0.0f, 0.0f);
  });
  EXPECT_EQ(out,
            "null ctx, choose non-parallel version\n"
            "will always disable substract, shift and reverse\n");
  EXPECT_EQ(status, 0);
  for (int i = 0; i < 8; ++i) {
    // With scale 1/(2 pi) the phases are fractions of a turn.
    const double turn = fast_atan2(static_cast<float>(ys[i]), static_cast<float>(xs[i])) / (2 * M_PI);
    EXPECT_NEAR(std::fmod(d0[i] + 1.0, 1.0), turn, 1e-6) << i;
    EXPECT_NEAR(d1[i], 0.25, 1e-6) << i;  // pi/2 of a turn
    EXPECT_EQ(depth[i], d1[i]) << i;      // m1 = 0
    EXPECT_EQ(amplitude[i], 0xA5A5) << i;
  }
  // One pixel of angle 0 with scale 1 and offset 0.5, which prints the two lines
  // again: the offsets are moved by whole turns of scale x 2 pi, but only the
  // turn count (not count x 2 pi) is taken off each phase. With c = 1/(2 pi)
  // and w = 2 pi: b0 = 0.5 + (3 - trunc(0.5 c)) w, t0 = b0, trunc(t0 c) = 3;
  // b1 = 3 w, t1 = pi/2 + b1, trunc(t1 c) = 3.
  const std::uint16_t x_pos[1] = {900}, zero[1] = {0};
  EXPECT_EQ(pxtest::capture_stdout([&] {
              itof_dual_dec_float(ctx.get(), 1, 1, x_pos, zero, zero, zero, nullptr, nullptr,
                                  nullptr, nullptr, nullptr, depth.data(), d0.data(), d1.data(),
                                  nullptr, 1, 1.0f, 0.5f, 0.0f);
            }),
            out);
  EXPECT_EQ(d0[0], (0.5f + 3.0f * 6.2831855f) - 3.0f);
  EXPECT_EQ(d1[0], (1.5707964f + 3.0f * 6.2831855f) - 3.0f);
  EXPECT_EQ(depth[0], d1[0]);
}

TEST(DualDecode, SteadyStateCallsAllocateNothing) {
  const Frame f = toftest::random_frame(29, 9, false, 0, 65535);
  const DualContext pooled = toftest::quiet_setup(make(false, true, 2, 1, 5, 3));
  const DualContext serial = setup_without_pool(make(false, true, 2, 1, 5, 3));
  CallArgs args;
  args.amplitude_u16 = true;
  ASSERT_EQ(decode(pooled.get(), f, args).status, 0);  // warm-up
  // Outputs are made before counting; the calls alone must not allocate.
  std::vector<float> depth(f.pixels());
  std::vector<std::uint16_t> amplitude(32 * 9);
  const auto& p = f.planes;
  const std::uint64_t before = pxtest::library_allocations();
  for (int n = 0; n < 5; ++n) {
    for (tof_dual_context* c : {pooled.get(), serial.get()}) {
      pxtest::capture_stdout([&] {
        itof_dual_dec_float(c, 29, 9, p[0].data(), p[1].data(), p[2].data(), p[3].data(),
                            p[4].data(), p[5].data(), p[6].data(), p[7].data(), nullptr,
                            depth.data(), nullptr, nullptr, amplitude.data(), n % 2 ? 29 : 32,
                            0.15915494f, 0, 0);
      });
    }
  }
  EXPECT_EQ(pxtest::library_allocations(), before);
}

}  // namespace
