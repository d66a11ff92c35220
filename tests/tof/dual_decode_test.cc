// itof_dual_dec_float through the public API: refusals, stripe splits, the
// unwrapping rules on exact phases, physically generated frames, the serial
// path and allocation-free frames.
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "support/test_support.h"
#include "tof/dual_context.h"
#include "tof/dual_test_util.h"

namespace {

using dualtest::CallArgs;
using dualtest::decode;
using dualtest::Frame;
using dualtest::make_option;
using dualtest::Output;

// Contexts on the scalar reference and on each vector target of this CPU.
std::vector<std::int64_t> all_targets() {
  std::vector<std::int64_t> targets{0};
  for (std::int64_t t : pxtest::vector_targets()) targets.push_back(t);
  return targets;
}

dualtest::Context setup_on(std::int64_t target, const tof_dual_option& o) {
  pxtest::ScopedTarget only(target);
  return dualtest::setup(o);
}

// ---- refusals -----------------------------------------------------------------

struct Refusal {
  const char* what;
  bool depth_float, want_distance_0, want_distance_1, give_distance_0, give_distance_1;
  std::int32_t status;
  const char* message;
};

TEST(DualDecode, RefusalsWriteAndQueueNothing) {
  const Refusal cases[] = {
      {"depth flag clear", false, false, false, true, true, -1,
       "error: should set 'distance_out_use_float' in option when setup_tof_context\n"},
      {"distance_0 missing", true, true, false, false, true, -2, "error: null p_distance_0\n"},
      {"distance_1 missing", true, false, true, true, false, -3, "error: null p_distance_1\n"},
      {"both missing", true, true, true, false, false, -2, "error: null p_distance_0\n"},
  };
  const Frame frame = dualtest::random_frame(13, 8, false, 0, 65535);
  for (const Refusal& c : cases) {
    tof_dual_option o = make_option(false, true, 0, 0, 3, 2);
    o.depth_out_use_float = c.depth_float;
    o.output_distance_0 = c.want_distance_0;
    o.output_distance_1 = c.want_distance_1;
    dualtest::Context ctx = dualtest::setup(o);
    ASSERT_NE(ctx, nullptr) << c.what;  // setup itself accepts every option
    std::vector<float> d0(frame.pixels(), 5.0f), d1(frame.pixels(), 6.0f);
    CallArgs args;
    args.amplitude_u16 = true;
    args.distance_0 = c.give_distance_0 ? d0.data() : nullptr;
    args.distance_1 = c.give_distance_1 ? d1.data() : nullptr;
    Output r;
    EXPECT_EQ(pxtest::capture_stdout([&] { r = decode(ctx.get(), frame, args); }), c.message)
        << c.what;
    EXPECT_EQ(r.status, c.status) << c.what;
    // Destroying joins the workers, so a stripe queued by mistake has run by now.
    ctx.reset();
    for (float v : r.depth) ASSERT_EQ(v, dualtest::kDepthSentinel) << c.what;
    for (std::uint16_t v : r.amplitude16) ASSERT_EQ(v, dualtest::kAmplitudeSentinel) << c.what;
    for (float v : d0) ASSERT_EQ(v, 5.0f) << c.what;
    for (float v : d1) ASSERT_EQ(v, 6.0f) << c.what;
  }
}

TEST(DualDecode, NullContextOrPlanesAreInvalidParams) {
  const Frame frame = dualtest::random_frame(5, 4, false, 0, 65535);
  Output r;
  EXPECT_EQ(pxtest::capture_stdout([&] { r = decode(nullptr, frame, CallArgs{}); }),
            "error: invalid params\n");
  EXPECT_EQ(r.status, -4);
  for (float v : r.depth) ASSERT_EQ(v, dualtest::kDepthSentinel);

  const dualtest::Context ctx = dualtest::setup(make_option(false, false, 0, 0, 3, 2));
  const auto& p = frame.planes;
  std::vector<float> depth(frame.pixels(), dualtest::kDepthSentinel);
  for (int missing = 0; missing <= 8; ++missing) {  // 8: the depth plane
    const std::uint16_t* planes[8];
    for (int i = 0; i < 8; ++i) planes[i] = i == missing ? nullptr : p[i].data();
    float* out = missing == 8 ? nullptr : depth.data();
    std::int32_t status = 0;
    EXPECT_EQ(pxtest::capture_stdout([&] {
                status = itof_dual_dec_float(ctx.get(), 5, 4, planes[0], planes[1], planes[2],
                                             planes[3], planes[4], planes[5], planes[6], planes[7],
                                             nullptr, out, nullptr, nullptr, nullptr, 5,
                                             0.15915494f, 0, 0);
              }),
              "error: invalid params\n");
    EXPECT_EQ(status, -4) << missing;
  }
  for (float v : depth) ASSERT_EQ(v, dualtest::kDepthSentinel);
  // An empty frame needs no planes.
  EXPECT_EQ(itof_dual_dec_float(ctx.get(), 0, 4, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, 0, 1, 0, 0),
            0);
}

// Requested distance planes are kept but not written by the stripe kernels;
// the channel plane is kept but never read (this one is not readable).
TEST(DualDecode, DistanceAndChannelPlanesAreNotTouched) {
  tof_dual_option o = make_option(false, false, 0, 0, 3, 2);
  o.output_distance_0 = o.output_distance_1 = o.enable_substract_channel = 1;
  const dualtest::Context ctx = dualtest::setup(o);
  const Frame f = dualtest::random_frame(11, 3, false, 0, 65535);
  std::vector<float> d0(f.pixels(), 5.0f), d1(f.pixels(), 6.0f), depth(f.pixels(), -1.0f);
  const auto& p = f.planes;
  const auto* unreadable = reinterpret_cast<const void*>(std::uintptr_t{16});
  EXPECT_EQ(itof_dual_dec_float(ctx.get(), 11, 3, p[0].data(), p[1].data(), p[2].data(),
                                p[3].data(), p[4].data(), p[5].data(), p[6].data(), p[7].data(),
                                unreadable, depth.data(), d0.data(), d1.data(), nullptr, 11,
                                0.15915494f, 0, 0),
            0);
  for (std::size_t i = 0; i < f.pixels(); ++i) {
    EXPECT_EQ(d0[i], 5.0f);
    EXPECT_EQ(d1[i], 6.0f);
    EXPECT_GE(depth[i], 0.0f);
  }
  EXPECT_EQ(ctx->stripes[0].channel_plane, unreadable);
}

// ---- stripe splits ------------------------------------------------------------

// Row mode (amplitude rows padded) gives what run mode gives, row for row,
// with the padding untouched, whatever remainder of rows stripe 3 takes.
TEST(DualDecode, RowModeMatchesRunModeAndKeepsThePadding) {
  for (std::int64_t target : all_targets()) {
    for (bool interleave : {false, true}) {
      const dualtest::Context ctx = setup_on(target, make_option(interleave, true, 0, 2, 3, 2));
      for (std::uint32_t height : {1u, 3u, 4u, 7u, 10u}) {
        const Frame f = dualtest::random_frame(19, height, interleave, 0, 65535);
        CallArgs args;
        args.amplitude_u16 = true;
        const Output run = decode(ctx.get(), f, args);
        args.pitch = 19 + 5;
        const Output rows = decode(ctx.get(), f, args);
        ASSERT_EQ(run.status, 0);
        ASSERT_EQ(rows.status, 0);
        EXPECT_TRUE(dualtest::same_floats(run.depth, rows.depth)) << height;
        for (std::uint32_t y = 0; y < height; ++y) {
          for (std::uint32_t x = 0; x < 24; ++x) {
            const std::uint16_t got = rows.amplitude16[y * 24 + x];
            if (x < 19) {
              ASSERT_EQ(got, run.amplitude16[y * 19 + x]) << height << " " << y << " " << x;
            } else {
              ASSERT_EQ(got, dualtest::kAmplitudeSentinel) << height << " " << y << " " << x;
            }
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
    const dualtest::Context ctx = setup_on(target, make_option(true, false, 0, 0, 3, 2));
    CallArgs padded;
    padded.pitch = 40;
    ASSERT_EQ(decode(ctx.get(), dualtest::random_frame(33, 12, true, 0, 65535), padded).status, 0);
    for (std::uint32_t pixels : {0u, 1u, 2u, 3u}) {
      const Frame f = dualtest::random_frame(pixels, 1, true, 0, 65535);
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

// ---- unwrapping on exact phases ----------------------------------------------

// With x > 0 and y = 0 at both frequencies the angles are 0, so each wrapped
// phase is exactly its offset (offset + 3 - 3): the search sees chosen phases.
struct UnwrapCase {
  const char* what;
  int m0, m1;
  float phi0, phi1, depth;
};

TEST(DualDecode, UnwrapRulesOnExactPhases) {
  const UnwrapCase cases[] = {
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
      const Frame f = dualtest::uniform_frame(21, 2, interleave, 1000, 0, 2000, 0);
      for (const UnwrapCase& c : cases) {
        const dualtest::Context ctx =
            setup_on(target, make_option(interleave, false, 0, 0, c.m0, c.m1));
        CallArgs args;
        args.offset_0 = c.phi0;
        args.offset_1 = c.phi1;
        const Output r = decode(ctx.get(), f, args);
        ASSERT_EQ(r.status, 0);
        for (float d : r.depth)
          ASSERT_EQ(d, c.depth) << c.what << " on " << pxtest::target_label(target);
      }
    }
  }
}

// ---- physically generated frames ---------------------------------------------

struct Physical {
  int m0, m1;
};

TEST(DualDecode, PhysicalFramesUnwrapToTheTrueDistance) {
  constexpr std::uint32_t kWidth = 37, kHeight = 11;
  constexpr double kA0 = 6000, kA1 = 9000;
  for (const Physical& ph : {Physical{3, 2}, Physical{7, 5}, Physical{5, 3}}) {
    std::vector<double> distance(kWidth * kHeight);
    for (std::size_t i = 0; i < distance.size(); ++i)
      distance[i] = (static_cast<double>(i) + 0.5) / static_cast<double>(distance.size());
    for (bool interleave : {false, true}) {
      const Frame f =
          dualtest::physical_frame(kWidth, kHeight, interleave, ph.m0, ph.m1, distance, kA0, kA1);
      for (std::int64_t target : all_targets()) {
        const dualtest::Context ctx =
            setup_on(target, make_option(interleave, true, 0, 0, ph.m0, ph.m1));
        for (std::uint32_t pitch : {kWidth, kWidth + 3}) {
          CallArgs args;
          args.amplitude_u16 = true;
          args.pitch = pitch;
          const Output r = decode(ctx.get(), f, args);
          ASSERT_EQ(r.status, 0);
          std::size_t checked = 0;
          for (std::size_t i = 0; i < distance.size(); ++i) {
            // Frequency 1 alone gives amplitude 2 A1 (the two differences are 2 A cos, 2 A sin).
            const std::uint16_t a = r.amplitude16[(i / kWidth) * pitch + i % kWidth];
            ASSERT_NEAR(a, 2 * kA1, 3) << i;
            // Right at a wrap of either frequency the phase may land on either side.
            const double w0 = distance[i] * ph.m0, w1 = distance[i] * ph.m1;
            if (std::abs(w0 - std::round(w0)) < 2e-3 || std::abs(w1 - std::round(w1)) < 2e-3)
              continue;
            ++checked;
            ASSERT_NEAR(r.depth[i], w1, 1e-3)
                << "pixel " << i << " m0 " << ph.m0 << " m1 " << ph.m1 << " on "
                << pxtest::target_label(target);
          }
          EXPECT_GT(checked, distance.size() * 9 / 10);
        }
      }
    }
  }
}

// ---- serial path ---------------------------------------------------------------

dualtest::Context setup_without_pool(const tof_dual_option& o) {
  pxtest::ScopedThreadStartFailure no_threads(0);
  return dualtest::setup(o);
}

// Without a pool: no checks, frequency 0 only (its planes 4-7 are not read),
// frequency 1's angle is fast_atan2(0, 0), both distances written, no amplitude.
TEST(DualSerial, FrequencyZeroOnlyAndNoChecks) {
  tof_dual_option o = make_option(true, true, 0, 3, 3, 0);
  o.depth_out_use_float = 0;
  o.output_distance_0 = o.output_distance_1 = 1;
  const dualtest::Context ctx = setup_without_pool(o);
  ASSERT_NE(ctx, nullptr);
  ASSERT_EQ(ctx->thread_pool, nullptr);

  // Angles of the four axes and four diagonals of frequency 0; plain samples.
  const int xs[] = {400, 400, 0, -400, -400, -400, 0, 400};
  const int ys[] = {0, 400, 400, 400, 0, -400, -400, -400};
  std::vector<std::uint16_t> p[4];
  for (int i = 0; i < 8; ++i) {
    p[0].push_back(static_cast<std::uint16_t>(1000 + xs[i]));
    p[1].push_back(static_cast<std::uint16_t>(1000 + ys[i]));
    p[2].push_back(1000);
    p[3].push_back(1000);
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
  // The second call prints the two lines again.
  EXPECT_EQ(pxtest::capture_stdout([&] {
              itof_dual_dec_float(ctx.get(), 4, 2, p[0].data(), p[1].data(), p[2].data(),
                                  p[3].data(), nullptr, nullptr, nullptr, nullptr, nullptr,
                                  depth.data(), nullptr, nullptr, nullptr, 4, 0.15915494f, 0, 0);
            }),
            out);
}

// The offsets are moved by whole turns of scale x 2 pi, but only the turn
// count (not count x 2 pi) is taken off each phase: with scale 1 the result
// stays in radians plus whole counts.
TEST(DualSerial, ScaleAndOffsetArithmetic) {
  const dualtest::Context ctx = setup_without_pool(make_option(false, false, 0, 0, 3, 0));
  const std::uint16_t x_pos[1] = {900}, zero[1] = {0};
  float depth = 0, d0 = 0, d1 = 0;
  pxtest::capture_stdout([&] {
    itof_dual_dec_float(ctx.get(), 1, 1, x_pos, zero, zero, zero, nullptr, nullptr, nullptr,
                        nullptr, nullptr, &depth, &d0, &d1, nullptr, 1, 1.0f, 0.5f, 0.0f);
  });
  // c = 0.15915494 / 1, w = 6.2831855. b0 = 0.5 + (3 - trunc(0.5 c)) w; angle 0:
  // t0 = b0 = 19.349556, trunc(t0 c) = 3, phase 16.349556.
  const float b0 = 0.5f + 3.0f * 6.2831855f;
  EXPECT_EQ(d0, b0 - 3.0f);
  // b1 = 3 w; t1 = pi/2 + b1 = 20.420353, trunc(t1 c) = 3.
  const float t1 = 1.5707964f + 3.0f * 6.2831855f;
  EXPECT_EQ(d1, t1 - 3.0f);
  EXPECT_EQ(depth, d1);
}

// ---- allocation ----------------------------------------------------------------

TEST(DualDecode, SteadyStateCallsAllocateNothing) {
  const Frame f = dualtest::random_frame(29, 9, false, 0, 65535);
  const dualtest::Context pooled = dualtest::setup(make_option(false, true, 2, 1, 5, 3));
  const dualtest::Context serial = setup_without_pool(make_option(false, true, 2, 1, 5, 3));
  CallArgs run, rows;
  run.amplitude_u16 = rows.amplitude_u16 = true;
  rows.pitch = 32;
  ASSERT_EQ(decode(pooled.get(), f, run).status, 0);  // warm-up
  // Outputs are made before counting; the calls alone must not allocate.
  Output a = decode(pooled.get(), f, rows);
  const auto& p = f.planes;
  const std::uint64_t before = pxtest::library_allocations();
  for (int n = 0; n < 5; ++n) {
    for (const tof_dual_context* c : {pooled.get(), serial.get()}) {
      pxtest::capture_stdout([&] {
        itof_dual_dec_float(const_cast<tof_dual_context*>(c), 29, 9, p[0].data(), p[1].data(),
                            p[2].data(), p[3].data(), p[4].data(), p[5].data(), p[6].data(),
                            p[7].data(), nullptr, a.depth.data(), nullptr, nullptr,
                            a.amplitude16.data(), n % 2 ? 29 : 32, 0.15915494f, 0, 0);
      });
    }
  }
  EXPECT_EQ(pxtest::library_allocations(), before);
}

}  // namespace
