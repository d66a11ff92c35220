// The frame calls: refusals, the stripe split, row padding, known pixels, the
// _v3 offset, amplitude shifts, the serial path and allocation-free frames.
// Known-value tests run on the scalar reference and on every vector target,
// with frames of 256 pixels so that the vector bodies see the pixels.
#include <cmath>
#include <optional>

#include "tof/tof_context.h"
#include "tof/tof_test_util.h"

namespace {

using toftest::Entry;
using toftest::make_option;

constexpr std::uint32_t kW = 64;
constexpr std::int32_t kH = 4;
constexpr std::size_t kPixels = kW * kH;

template <class Fn>
void for_each_target(Fn fn) {
  std::vector<std::int64_t> targets = pxtest::vector_targets();
  targets.insert(targets.begin(), 0);
  for (std::int64_t t : targets) {
    SCOPED_TRACE(pxtest::target_label(t));
    pxtest::ScopedTarget scoped(t);
    fn();
  }
}

// Every pixel with the samples (s0, s90, s180, s270); interleaved pixels hold
// (s, 0) pairs.
toftest::Phases uniform(int s0, int s90, int s180, int s270, bool interleaved = false) {
  const std::size_t per = interleaved ? 2 : 1;
  toftest::Phases ph = toftest::zero_phases(kPixels * per);
  for (std::size_t i = 0; i < kPixels * per; i += per) {
    ph.p0[i] = static_cast<std::int16_t>(s0);
    ph.p90[i] = static_cast<std::int16_t>(s90);
    ph.p180[i] = static_cast<std::int16_t>(s180);
    ph.p270[i] = static_cast<std::int16_t>(s270);
  }
  return ph;
}

// Runs one frame of kW x kH and returns depth (as float or i16 widened) and amplitude.
struct Result {
  std::vector<float> depth;
  std::vector<int> amp;
};
Result run(const tof_option& o, const toftest::Phases& ph, Entry e = Entry::kPlain,
           float scale = 1.0f, float offset = 0.0f, tof_context* reuse = nullptr) {
  toftest::Context owned;
  tof_context* ctx = reuse;
  if (ctx == nullptr) ctx = (owned = toftest::quiet_setup(o)).get();
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

::testing::AssertionResult all_equal(const std::vector<float>& v, float want) {
  for (std::size_t i = 0; i < v.size(); ++i)
    if (!pxtest::same_bits(v[i], want))
      return ::testing::AssertionFailure() << "element " << i << " is " << v[i] << ", want " << want;
  return ::testing::AssertionSuccess();
}
::testing::AssertionResult all_equal(const std::vector<int>& v, int want) {
  for (std::size_t i = 0; i < v.size(); ++i)
    if (v[i] != want) return ::testing::AssertionFailure() << "element " << i << " is " << v[i] << ", want " << want;
  return ::testing::AssertionSuccess();
}

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
    std::optional<pxtest::ScopedThreadStartFailure> no_threads;
    if (!pooled) no_threads.emplace(0);
    const auto ctx = toftest::quiet_setup(o);
    no_threads.reset();
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
      EXPECT_TRUE(all_equal(depth, -7.0f));
      EXPECT_EQ(amp, std::vector<std::uint8_t>(kPixels, 0xEE));
    }
  }
}

TEST(TofFrame, SixPixelsSplitIntoOneOneOneAndThree) {
  const auto ctx = toftest::quiet_setup(make_option(true, /*interleaved=*/true));
  const toftest::Phases ph = toftest::random_phases(6, true);
  float depth[6];
  ASSERT_EQ(toftest::call(ctx.get(), true, Entry::kPlain, 3, 2, ph, depth, nullptr, 1.0f), 0);
  const int counts[] = {1, 1, 1, 3};
  for (int k = 0; k < 4; ++k) {
    const pxkit::tof::tof_stripe& s = ctx->stripes[k];
    EXPECT_EQ(s.pixel_count, counts[k]);
    EXPECT_EQ(s.depth_out, depth + k);
    EXPECT_EQ(s.phase_90, ph.p90.data() + 2 * k);  // two samples per pixel
  }
}

// 33 x 5 with padded amplitude rows: rows 1, 1, 1, 2, pitch 64; depth packed,
// amplitude padding untouched.
TEST(TofFrame, RowModePadsAmplitudeRowsTo32Elements) {
  const tof_option o = make_option(false, false, 0, false, 0, 0, /*align=*/true, /*amp16=*/true);
  const auto ctx = toftest::quiet_setup(o);
  const toftest::Phases ph = toftest::random_phases(33 * 5, false);
  std::vector<std::int16_t> depth(33 * 5 + 8, 0x5A5A), want_depth = depth;
  std::vector<std::uint16_t> amp(64 * 5, 0x5A5A), want_amp = amp;
  ASSERT_EQ(toftest::call(ctx.get(), false, Entry::kPlain, 33, 5, ph, depth.data(), amp.data(), 0.5f), 0);
  const int rows[] = {1, 1, 1, 2};
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(ctx->stripes[k].rows, rows[k]);
    EXPECT_EQ(ctx->stripes[k].amplitude_pitch, 64);
    EXPECT_EQ(ctx->stripes[k].amplitude_out, amp.data() + 64 * k);
  }
  toftest::oracle_frame(o, 33, 5, ph.p0.data(), ph.p90.data(), ph.p180.data(), ph.p270.data(),
                        want_depth.data(), want_amp.data(), 0.5f, 0.0f);
  EXPECT_EQ(depth, want_depth);
  EXPECT_EQ(amp, want_amp);
  EXPECT_EQ(amp[33], 0x5A5A);  // the oracle itself leaves the padding alone
}

// Frames of fewer than 4 pixels leave stripes 0-2 empty; empty stripes write
// nothing even though the previous, row-mode frame left rows in their blocks.
TEST(TofFrame, EmptyFramesWriteNothing) {
  const tof_option o = make_option(true, false, 0, false, 0, 0, /*align=*/true);
  const auto ctx = toftest::quiet_setup(o);
  const toftest::Phases ph = toftest::random_phases(33 * 8, false);
  std::vector<float> depth(33 * 8);
  std::vector<std::uint8_t> amp(64 * 8);
  ASSERT_EQ(toftest::call(ctx.get(), true, Entry::kPlain, 33, 8, ph, depth.data(), amp.data(), 1.0f), 0);
  const struct {
    std::uint32_t w;
    std::int32_t h;
  } empty[] = {{64, 0}, {0, 5}, {33, 0}};
  for (const auto& size : empty) {
    std::vector<float> d(33 * 8, -7.0f);
    std::vector<std::uint8_t> a(64 * 8, 0xEE);
    EXPECT_EQ(toftest::call(ctx.get(), true, Entry::kV3, size.w, size.h, ph, d.data(), a.data(), 1.0f, 2.0f), 0);
    EXPECT_TRUE(all_equal(d, -7.0f)) << size.w << "x" << size.h;
    EXPECT_EQ(a, std::vector<std::uint8_t>(64 * 8, 0xEE)) << size.w << "x" << size.h;
  }
}

TEST(TofFrame, KnownPixels) {
  for_each_target([] {
    // All samples equal: y = x = 0, phase pi/2, amplitude 0 (also as equal pairs).
    for (bool il : {false, true}) {
      const Result r = run(make_option(true, il), uniform(1234, 1234, 1234, 1234, il));
      EXPECT_TRUE(all_equal(r.depth, 1.5707964f));
      EXPECT_TRUE(all_equal(r.amp, 0));
    }
    // Interleaved pairs are differences: x = (300 - 150) - (-50 - 0).
    toftest::Phases pairs = uniform(300, 0, -50, 0, true);
    for (std::size_t i = 1; i < pairs.p0.size(); i += 2) pairs.p0[i] = 150;
    EXPECT_TRUE(all_equal(run(make_option(true, true), pairs).amp, 200));
    // An amplitude of 300 wraps to 44 in u8; 40000 << 2 keeps its low 16 bits.
    EXPECT_TRUE(all_equal(run(make_option(true), uniform(300, 0, 0, 0)).amp, 44));
    EXPECT_TRUE(all_equal(run(make_option(false, false, 0, false, 2, 0, false, true),
                              uniform(20000, 0, -20000, 0)).amp, 28928));
    // (1, 1): table entry 16 exactly; 6.10 and 1.15 fixed point.
    EXPECT_TRUE(all_equal(run(make_option(true), uniform(1, 1, 0, 0)).depth, 0.785398f));
    EXPECT_TRUE(all_equal(run(make_option(false), uniform(1, 1, 0, 0)).depth, 804.0f));
    EXPECT_TRUE(all_equal(run(make_option(false, false, 0, false, 0, 15), uniform(1, 1, 0, 0)).depth, 25735.0f));
    EXPECT_TRUE(all_equal(run(make_option(false, false, 0, false, 0, 16), uniform(1, 1, 0, 0)).depth, 804.0f));
    // Low 16 bits of trunc(100 * 0.785398 * 1024) = 80424.
    EXPECT_TRUE(all_equal(run(make_option(false), uniform(1, 1, 0, 0), Entry::kPlain, 100.0f).depth,
                          static_cast<float>(static_cast<std::int16_t>(80424))));
  });
}

TEST(TofFrame, OffsetWrapsOnceAndStaysInForce) {
  for_each_target([] {
    const tof_option o = make_option(true);
    const auto ctx = toftest::quiet_setup(o);
    const toftest::Phases ph = uniform(1, 1, 0, 0);  // phase 0.785398
    const float twopi = 6.2831855f;
    // depth_scale 1: phase + 7 is above 2 pi and reduced once.
    EXPECT_TRUE(all_equal(run(o, ph, Entry::kV3, 1.0f, 7.0f, ctx.get()).depth, (0.785398f + 7.0f) - twopi));
    // Calls without an offset keep the last one.
    EXPECT_TRUE(all_equal(run(o, ph, Entry::kPlain, 1.0f, 0.0f, ctx.get()).depth, (0.785398f + 7.0f) - twopi));
    EXPECT_TRUE(all_equal(run(o, ph, Entry::kV2, 0.5f, 0.0f, ctx.get()).depth,
                          std::fma(0.5f, 0.785398f, 7.0f) - 0.5f * twopi));
    // Below zero: one period added, the result may stay negative.
    EXPECT_TRUE(all_equal(run(o, ph, Entry::kV3, 1.0f, -10.0f, ctx.get()).depth, (0.785398f - 10.0f) + twopi));
    // The period itself stays.
    EXPECT_TRUE(all_equal(run(o, uniform(5, 0, 0, 0), Entry::kV3, 1.0f, twopi, ctx.get()).depth, twopi));
  });
}

TEST(TofFrame, ReversedOrderMirrorsThePhase) {
  for_each_target([] {
    const toftest::Phases ph = toftest::random_phases(kPixels, false);
    const Result normal = run(make_option(true), ph);
    const Result reversed = run(make_option(true, false, 0, true), ph);
    for (std::size_t i = 0; i < kPixels; ++i) {
      const auto y = static_cast<float>(ph.p270[i] - ph.p90[i]);
      const auto x = static_cast<float>(ph.p0[i] - ph.p180[i]);
      ASSERT_TRUE(pxtest::same_bits(reversed.depth[i], fast_atan2(y, x))) << i;
      if (y != 0 && x != 0) {
        ASSERT_NEAR(normal.depth[i] + reversed.depth[i], 6.2831855f, 1e-5f) << i;
      }
      ASSERT_EQ(normal.amp[i], reversed.amp[i]);
    }
  });
}

TEST(TofFrame, AmplitudeShifts) {
  for_each_target([] {
    const toftest::Phases ph = uniform(300, 0, 0, 0);  // amplitude 300
    const auto amp = [&](int right, int cut) {
      return run(make_option(true, false, right, false, cut, 0, false, true), ph).amp;
    };
    EXPECT_TRUE(all_equal(amp(1, 0), 300 >> 4));
    EXPECT_TRUE(all_equal(amp(5, 0), 300 >> 4));  // only r != 0 counts
    EXPECT_TRUE(all_equal(amp(1, 1), 300 >> 3));
    EXPECT_TRUE(all_equal(amp(1, 4), 300));
    EXPECT_TRUE(all_equal(amp(1, 6), (300 << 2) & 0xFFFF));
    EXPECT_TRUE(all_equal(amp(0, 8), (300 << 8) & 0xFFFF));
    // 32 bits or more move every bit out (x86 would otherwise shift by 40 - 32).
    EXPECT_TRUE(all_equal(amp(0, 40), 0));
    EXPECT_TRUE(all_equal(amp(1, 36), 0));
  });
}

// Without a pool: planar, normal order, no shift, 6.10; only the amplitude
// type is honoured, and no depth type check is made.
TEST(TofSerial, IgnoresTheOptionsExceptTheAmplitudeType) {
  toftest::Context ctx;
  {
    pxtest::ScopedThreadStartFailure no_threads(0);
    ctx = toftest::quiet_setup(make_option(true, true, 1, true, 3, 0, true, true));
  }
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
