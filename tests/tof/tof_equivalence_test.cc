// Every kernel of the family through the public API: the scalar reference
// against the oracle, and every vector target against the scalar reference,
// byte for byte over whole output buffers (unwritten bytes included).
#include <array>
#include <cstring>

#include "tof/tof_test_util.h"

namespace {

using toftest::Entry;

// (right_shift_bits, cut_higher_amplitude_bits, mantissa_bits, align): every
// shift direction, the r != 0 forms that share kernels, a shift beyond 31.
struct Variant {
  int right, cut, mantissa;
  bool align;
};
constexpr std::array<Variant, 7> kVariants = {{{0, 0, 0, false},  // no shift
                                               {1, 4, 3, true},   // no shift through r
                                               {0, 3, 15, true},  // left 3
                                               {0, 40, 16, false},  // left 40: all bits out
                                               {1, 6, 1, false},  // left 2 through r
                                               {5, 0, 10, false},  // right 4
                                               {1, 1, 0, true}}};  // right 3

struct Size {
  std::uint32_t w;
  std::int32_t h;
};
constexpr std::array<Size, 6> kFlatSizes = {{{1, 1}, {3, 1}, {6, 1}, {37, 5}, {127, 3}, {1031, 1}}};
// Row mode except 64 (a multiple of 32 stays flat).
constexpr std::array<Size, 6> kRowSizes = {{{33, 5}, {31, 3}, {65, 7}, {97, 9}, {64, 3}, {1, 2}}};

// One frame call per case; the call kind, scale and amplitude rotate so that
// every kernel sees each loop (depth_scale 1, null amplitude) and the _v3
// offset carries into the next calls.
struct Call {
  Entry entry;
  float scale, offset;
  bool amplitude;
};
constexpr std::array<Call, 6> kCalls = {{{Entry::kPlain, 1.0f, 0, true},
                                         {Entry::kV3, 0.37f, 7.0f, true},
                                         {Entry::kV2, 1.0f, 0, false},  // offset 7 in force
                                         {Entry::kV3, -2.5f, 1.5f, true},
                                         {Entry::kPlain, 1500.0f, 0, true},
                                         {Entry::kV3, 1.0f, -3.0f, false}}};

// A frame's inputs at the ends of their pages (over-reads fault).
struct Frame {
  Frame(const toftest::Phases& ph)
      : p0(bytes(ph.p0)), p90(bytes(ph.p90)), p180(bytes(ph.p180)), p270(bytes(ph.p270)) {
    copy(p0, ph.p0), copy(p90, ph.p90), copy(p180, ph.p180), copy(p270, ph.p270);
  }
  static std::size_t bytes(const std::vector<std::int16_t>& v) { return v.size() * 2; }
  static void copy(pxtest::PageEndBuffer& b, const std::vector<std::int16_t>& v) {
    std::memcpy(b.data(), v.data(), bytes(v));
  }
  pxtest::PageEndBuffer p0, p90, p180, p270;
};

// Outputs at the ends of their pages, pre-filled with a sentinel.
struct Outputs {
  Outputs(std::size_t depth_bytes, std::size_t amp_bytes)
      : depth(depth_bytes, 0x5A), amp(amp_bytes, 0x5A) {}
  pxtest::PageEndBuffer depth, amp;
  bool operator==(const Outputs& o) const {
    return std::memcmp(depth.data(), o.depth.data(), depth.size()) == 0 &&
           std::memcmp(amp.data(), o.amp.data(), amp.size()) == 0;
  }
};

// Runs every case on a context set up for `target` and on the expectation:
// the oracle when target is 0, else a scalar-reference context.
void check_option(const tof_option& o, std::int64_t target) {
  const bool fl = o.depth_out_use_float != 0;
  const toftest::Context ctx = toftest::setup_on(target, o), reference = toftest::setup_on(0, o);
  ASSERT_NE(ctx, nullptr);
  float offset = 0.0f;  // the offset in force in both contexts
  std::size_t call_index = 0;
  for (const Size& size : o.amplitude_output_32bytes_align ? kRowSizes : kFlatSizes) {
    const std::size_t pixels = size.w * static_cast<std::size_t>(size.h);
    const Frame frame(toftest::random_phases(pixels, o.enable_substract_interleave != 0));
    const Call& c = kCalls[call_index++ % kCalls.size()];
    if (c.entry == Entry::kV3) offset = c.offset;
    const std::size_t depth_bytes = pixels * (fl ? 4 : 2);
    const std::size_t amp_bytes = toftest::amplitude_pitch(o, size.w) * size.h *
                                  (o.amplitude_out_use_16bit ? 2 : 1);
    Outputs got(depth_bytes, amp_bytes), want(depth_bytes, amp_bytes);
    const auto* in = &frame;
    auto run = [&](tof_context* context, Outputs& out) {
      return toftest::call(context, fl, c.entry, size.w, size.h, in->p0.as<std::int16_t>(),
                           in->p90.as<std::int16_t>(), in->p180.as<std::int16_t>(),
                           in->p270.as<std::int16_t>(), out.depth.data(),
                           c.amplitude ? out.amp.data() : nullptr, c.scale, c.offset);
    };
    ASSERT_EQ(run(ctx.get(), got), 0);
    if (target == 0) {
      toftest::oracle_frame(o, size.w, size.h, in->p0.as<std::int16_t>(),
                            in->p90.as<std::int16_t>(), in->p180.as<std::int16_t>(),
                            in->p270.as<std::int16_t>(), want.depth.data(),
                            c.amplitude ? want.amp.data() : nullptr, c.scale, offset);
    } else {
      ASSERT_EQ(run(reference.get(), want), 0);
    }
    ASSERT_TRUE(got == want) << "frame " << size.w << "x" << size.h << " scale " << c.scale;
  }
}

// All 48 kernels (16 base combinations x 3 shift directions), each direction
// reached in several ways, in flat and in row mode.
void check_every_combination(std::int64_t target) {
  for (int base = 0; base < 16; ++base) {
    for (const Variant& v : kVariants) {
      const tof_option o = toftest::make_option(base & 1, base & 2, v.right, base & 4, v.cut,
                                                v.mantissa, v.align, base & 8);
      SCOPED_TRACE(testing::Message()
                   << "float " << (base & 1) << " interleave " << (base & 2) << " reverse "
                   << (base & 4) << " u16 " << (base & 8) << " r " << v.right << " c " << v.cut
                   << " align " << v.align);
      check_option(o, target);
      if (testing::Test::HasFatalFailure()) return;
    }
  }
}

TEST(TofScalarKernels, EveryCombinationFollowsTheDefinition) { check_every_combination(0); }

class TofVectorKernels : public testing::TestWithParam<std::int64_t> {};

TEST_P(TofVectorKernels, EveryCombinationEqualsTheScalarReference) {
  check_every_combination(GetParam());
}

// Scales and offsets that push the fixed-point product past the i32 range or
// make it NaN: the saturating conversion must agree with the definition and
// between targets.
void check_extremes(std::int64_t target) {
  const float inf = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const toftest::Phases ph = toftest::random_phases(517, false);
  for (bool fl : {false, true}) {
    const tof_option o = toftest::make_option(fl, false, 0, false, 0, 15);
    const toftest::Context ctx = toftest::setup_on(target, o), ref = toftest::setup_on(0, o);
    for (float scale : {nan, inf, -inf, 1e6f, -1e6f, 3e38f})
      for (float offset : {0.0f, -1e9f, 1e9f, nan}) {
        std::vector<std::int32_t> got(517, 0x5A5A5A5A), want(517, 0x5A5A5A5A);
        toftest::call(ctx.get(), fl, Entry::kV3, 47, 11, ph, got.data(), nullptr, scale, offset);
        if (target == 0) {
          toftest::oracle_frame(o, 47, 11, ph.p0.data(), ph.p90.data(), ph.p180.data(),
                                ph.p270.data(), want.data(), nullptr, scale, offset);
        } else {
          toftest::call(ref.get(), fl, Entry::kV3, 47, 11, ph, want.data(), nullptr, scale, offset);
        }
        ASSERT_EQ(std::memcmp(got.data(), want.data(), got.size() * 4), 0)
            << "float " << fl << " scale " << scale << " offset " << offset;
      }
  }
}

TEST(TofScalarKernels, ExtremeScalesFollowTheDefinition) { check_extremes(0); }
TEST_P(TofVectorKernels, ExtremeScalesEqualTheScalarReference) { check_extremes(GetParam()); }

INSTANTIATE_TEST_SUITE_P(Targets, TofVectorKernels, testing::ValuesIn(pxtest::vector_targets()),
                         [](const auto& p) { return pxtest::target_label(p.param); });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(TofVectorKernels);

}  // namespace
