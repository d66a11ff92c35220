// setup_tof_context and the frame calls through the public API: the option
// report, the shift and mantissa decisions, refusals, empty frames, the _v3
// offset, the serial path and allocation-free frames. Results of every option
// against the definition are in tof_equivalence_test.cc.
#include <cmath>
#include <optional>

#include "common/memory.h"
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

// Every pixel of a kW x kH frame with the samples (s0, s90, s180, s270).
toftest::Phases uniform(int s0, int s90, int s180, int s270) {
  const auto plane = [](int s) { return std::vector<std::int16_t>(kPixels, static_cast<std::int16_t>(s)); };
  return {plane(s0), plane(s90), plane(s180), plane(s270)};
}

// One kW x kH frame on `reuse` (or a context of its own): depth (as float or
// i16 widened) and amplitude.
struct Result {
  std::vector<float> depth;
  std::vector<int> amp;
};
Result run(const tof_option& o, const toftest::Phases& ph, Entry e = Entry::kPlain,
           float scale = 1.0f, float offset = 0.0f, tof_context* reuse = nullptr) {
  toftest::Context owned;
  tof_context* ctx = reuse != nullptr ? reuse : (owned = toftest::quiet_setup(o)).get();
  std::vector<float> fdepth(kPixels);
  std::vector<std::int16_t> idepth(kPixels);
  std::vector<std::uint16_t> a16(kPixels);
  std::vector<std::uint8_t> a8(kPixels);
  const bool fl = o.depth_out_use_float != 0;
  void* amp = o.amplitude_out_use_16bit ? static_cast<void*>(a16.data()) : a8.data();
  EXPECT_EQ(toftest::call(ctx, fl, e, kW, kH, ph, fl ? static_cast<void*>(fdepth.data()) : idepth.data(),
                          amp, scale, offset), 0);
  Result r;
  for (std::size_t i = 0; i < kPixels; ++i) {
    r.depth.push_back(fl ? fdepth[i] : idepth[i]);
    r.amp.push_back(o.amplitude_out_use_16bit ? a16[i] : a8[i]);
  }
  return r;
}

std::vector<float> filled(float v) { return std::vector<float>(kPixels, v); }

// ---- setup ----------------------------------------------------------------------

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
    int amplitude;
  } cases[] = {{0, 0, "\t\tno shift\n", 300},          {0, 3, "\t\tleft shift 3\n", 2400},
               {1, 0, "\t\tright shift 4\n", 300 >> 4}, {5, 0, "\t\tright shift 4\n", 300 >> 4},
               {1, 1, "\t\tright shift 3\n", 300 >> 3}, {1, 4, "\t\tno shift\n", 300},
               {1, 6, "\t\tleft shift 2\n", 1200},       {0, 8, "\t\tleft shift 8\n", (300 << 8) & 0xFFFF},
               {0, 40, "\t\tleft shift 40\n", 0},       {1, 36, "\t\tleft shift 32\n", 0},
               {255, 255, "\t\tleft shift 251\n", 0}};
  const toftest::Phases ph = uniform(300, 0, 0, 0);
  for (std::int64_t target : toftest::all_targets()) {
    pxtest::ScopedTarget only(target);
    for (const auto& c : cases) {
      for (bool fl : {false, true}) {
        SCOPED_TRACE(testing::Message() << pxtest::target_label(target) << " r " << c.right
                                        << " c " << c.cut << " float " << fl);
        const tof_option o = make_option(fl, false, c.right, false, c.cut, 0, false, true);
        tof_context* made = nullptr;
        const std::string out = pxtest::capture_stdout([&] { made = setup_tof_context(&o); });
        const toftest::Context ctx(made);
        EXPECT_EQ(out.substr(out.rfind('\n', out.size() - 2) + 1), c.line);
        EXPECT_EQ(run(o, ph, Entry::kPlain, 1.0f, 0.0f, ctx.get()).amp, std::vector<int>(kPixels, c.amplitude));
      }
    }
  }
}

// 15 passes despite the text; above it the depth is 6.10 after a message. Float
// depth neither tests nor reports the mantissa. (1, 1) gives angle 0.785398.
TEST(TofSetup, MantissaAbove15FallsBackTo10WithAMessage) {
  const std::string at15 = setup_output(make_option(false, false, 0, false, 0, 15));
  EXPECT_EQ(at15.find("error"), std::string::npos) << at15;
  EXPECT_EQ(run(make_option(false, false, 0, false, 0, 15), uniform(1, 1, 0, 0)).depth, filled(25735.0f));
  const std::string out = setup_output(make_option(false, false, 0, false, 2, 16));
  EXPECT_NE(out.find("\t\tamplitude_out_use_16bit: 0\n"
                     "error: mantissa bits (16) should less than 15, use 10 by default\n"
                     "\t\tleft shift 2\n"),
            std::string::npos)
      << out;
  EXPECT_EQ(run(make_option(false, false, 0, false, 0, 16), uniform(1, 1, 0, 0)).depth, filled(804.0f));
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

// A pool that cannot be made leaves a usable context on the serial path.
TEST(TofSetup, NoMemoryForThePoolStillGivesAContext) {
  const tof_option o = make_option(true);
  tof_context* ctx = nullptr;
  pxkit::mem::fail_allocation_after(1);
  const std::string out = pxtest::capture_stdout([&] { ctx = setup_tof_context(&o); });
  pxkit::mem::fail_allocation_after(-1);
  ASSERT_NE(ctx, nullptr);
  EXPECT_EQ(out.rfind("fatal: no memory\nsetup tof option:\n", 0), 0u) << out;
  const toftest::Phases ph = toftest::random_phases(8, false);
  float depth[8];
  EXPECT_EQ(pxtest::capture_stdout([&] {
              EXPECT_EQ(toftest::call(ctx, true, Entry::kPlain, 4, 2, ph, depth, nullptr, 1.0f), 0);
            }),
            "null ctx, choose non-parallel version\nwill always disable substract, shift and reverse\n");
  destroy_tof_context(ctx);
}

// ---- frame calls ----------------------------------------------------------------

TEST(TofFrame, WrongDepthTypeIsRefusedAndWritesNothing) {
  const toftest::Phases ph = toftest::random_phases(kPixels, false);
  for (bool fl : {false, true}) {
    const auto ctx = toftest::quiet_setup(make_option(fl));
    const char* want = fl ? "error: should not set 'depth_out_use_float' in option when setup_tof_context\n"
                          : "error: should set 'depth_out_use_float' in option when setup_tof_context\n";
    for (Entry e : {Entry::kPlain, Entry::kV2, Entry::kV3}) {
      std::vector<std::uint8_t> depth(kPixels * 4, 0xEE), amp(kPixels, 0xEE);
      std::int32_t result = 0;
      EXPECT_EQ(pxtest::capture_stdout([&] {
                  result = toftest::call(ctx.get(), !fl, e, kW, kH, ph, depth.data(), amp.data(), 2.0f, 1.0f);
                }),
                want);
      EXPECT_EQ(result, -1);
      EXPECT_EQ(depth, std::vector<std::uint8_t>(kPixels * 4, 0xEE));
      EXPECT_EQ(amp, std::vector<std::uint8_t>(kPixels, 0xEE));
    }
  }
}

// Refusals with "error: invalid params" and -2, before anything is written, on
// the pooled and the serial path: no context, a null buffer, a negative height,
// more pixels than 32 bits hold, and padded amplitude rows whose pitch does not
// fit (width near 2^31). The buffers are small: a call that wrote would run
// past them.
TEST(TofFrame, UnusableArgumentsAreRefusedBeforeAnyWrite) {
  constexpr std::uint32_t kNear31 = 2147483647u;  // 2^31 - 1
  const tof_option o = make_option(true, false, 0, false, 0, 0, /*align=*/true);
  for (bool pooled : {true, false}) {
    const auto ctx = pooled ? toftest::quiet_setup(o) : toftest::setup_without_pool(o);
    const toftest::Phases ph = toftest::random_phases(kPixels, false);
    const std::int16_t* p = ph.p0.data();
    struct Case {
      tof_context* ctx;
      std::uint32_t w;
      std::int32_t h;
      bool null_phase, null_depth;
    };
    const Case cases[] = {
        {nullptr, kW, kH, false, false},      {ctx.get(), kW, kH, true, false},
        {ctx.get(), kW, kH, false, true},     {ctx.get(), 1, -1, false, false},
        {ctx.get(), 64, -3, false, false},    {ctx.get(), 33, -3, false, false},
        {ctx.get(), 65536, 65537, false, false},  // 2^32 + 2^16 pixels
        {ctx.get(), 65536, 32768, false, false},  // 2^31 pixels
        {ctx.get(), kNear31, 4, false, false},    // rows of 2^31 - 1 pixels, pitch 2^31
        {ctx.get(), kNear31 - 15, 1, false, false},  // pixels fit, the pitch 2^31 does not
    };
    for (const Case& c : cases) {
      std::vector<float> depth(kPixels, -7.0f);
      std::vector<std::uint8_t> amp(kPixels, 0xEE);
      std::int32_t result = 0;
      EXPECT_EQ(pxtest::capture_stdout([&] {
                  result = toftest::call(c.ctx, true, Entry::kV3, c.w, c.h, p,
                                         c.null_phase ? nullptr : p, p, p,
                                         c.null_depth ? nullptr : depth.data(), amp.data(), 1.0f, 2.0f);
                }),
                "error: invalid params\n")
          << c.w << "x" << c.h << (pooled ? " pooled" : " serial");
      EXPECT_EQ(result, -2);
      EXPECT_EQ(depth, filled(-7.0f));
      EXPECT_EQ(amp, std::vector<std::uint8_t>(kPixels, 0xEE));
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

// Calls without an offset keep the last one; a depth above the period is
// reduced once, one below zero gets one period added (and may stay negative),
// the period itself stays.
TEST(TofFrame, OffsetWrapsOnceAndStaysInForce) {
  for (std::int64_t target : toftest::all_targets()) {
    SCOPED_TRACE(pxtest::target_label(target));
    const tof_option o = make_option(true);
    const auto ctx = toftest::setup_on(target, o);
    const toftest::Phases ph = uniform(1, 1, 0, 0);  // angle 0.785398
    const float twopi = 6.2831855f;
    const struct {
      Entry e;
      float scale, offset, want;
      bool angle_zero;  // samples (5, 0, 0, 0)
    } steps[] = {{Entry::kV3, 1.0f, 7.0f, (0.785398f + 7.0f) - twopi, false},
                 {Entry::kPlain, 1.0f, 0.0f, (0.785398f + 7.0f) - twopi, false},
                 {Entry::kV2, 0.5f, 0.0f, std::fma(0.5f, 0.785398f, 7.0f) - 0.5f * twopi, false},
                 {Entry::kV3, 1.0f, -10.0f, (0.785398f - 10.0f) + twopi, false},
                 {Entry::kV3, 1.0f, twopi, twopi, true}};
    for (const auto& s : steps) {
      const Result r = run(o, s.angle_zero ? uniform(5, 0, 0, 0) : ph, s.e, s.scale, s.offset, ctx.get());
      EXPECT_TRUE(toftest::same_floats(filled(s.want), r.depth)) << "offset " << s.offset;
    }
  }
}

// Without a pool: planar, normal order, no shift, 6.10; only the amplitude
// type is honoured, and no depth type check is made.
TEST(TofSerial, IgnoresTheOptionsExceptTheAmplitudeType) {
  const auto ctx = toftest::setup_without_pool(make_option(true, true, 1, true, 3, 0, true, true));
  ASSERT_EQ(ctx->thread_pool, nullptr);
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

}  // namespace
