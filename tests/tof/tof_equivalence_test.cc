// Every kernel through the public API. Single frequency: the scalar reference
// against the oracle, and every vector target against the scalar reference,
// byte for byte over whole output buffers (unwritten bytes included). Dual
// frequency: every vector stripe kernel against the scalar reference, bit for
// bit: all twelve kernels, run and row mode, sizes that do not fill whole
// vectors, every m0/m1 pair of {0, 1, 2, 3, 5, 7}, offsets near -3, zero,
// positive, huge and NaN.
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "tof/dual_context.h"
#include "tof/dual_kernels.h"
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

// A copy of `v` at the end of its page (over-reads fault).
struct PageEnd : pxtest::PageEndBuffer {
  explicit PageEnd(const std::vector<std::int16_t>& v) : PageEndBuffer(v.size() * 2) {
    std::memcpy(data(), v.data(), v.size() * 2);
  }
  const std::int16_t* p() const { return as<std::int16_t>(); }
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
    const toftest::Phases ph = toftest::random_phases(pixels, o.enable_substract_interleave != 0);
    const PageEnd p0(ph.p0), p90(ph.p90), p180(ph.p180), p270(ph.p270);
    const Call& c = kCalls[call_index++ % kCalls.size()];
    if (c.entry == Entry::kV3) offset = c.offset;
    const std::size_t depth_bytes = pixels * (fl ? 4 : 2);
    const std::size_t amp_bytes = toftest::amplitude_pitch(o, size.w) * size.h *
                                  (o.amplitude_out_use_16bit ? 2 : 1);
    // Outputs at the ends of their pages, pre-filled with a sentinel.
    pxtest::PageEndBuffer got_depth(depth_bytes, 0x5A), got_amp(amp_bytes, 0x5A);
    pxtest::PageEndBuffer want_depth(depth_bytes, 0x5A), want_amp(amp_bytes, 0x5A);
    void* const got_a = c.amplitude ? got_amp.data() : nullptr;
    void* const want_a = c.amplitude ? want_amp.data() : nullptr;
    ASSERT_EQ(toftest::call(ctx.get(), fl, c.entry, size.w, size.h, p0.p(), p90.p(), p180.p(),
                            p270.p(), got_depth.data(), got_a, c.scale, c.offset), 0);
    if (target == 0) {
      toftest::oracle_frame(o, size.w, size.h, p0.p(), p90.p(), p180.p(), p270.p(),
                            want_depth.data(), want_a, c.scale, offset);
    } else {
      ASSERT_EQ(toftest::call(reference.get(), fl, c.entry, size.w, size.h, p0.p(), p90.p(),
                              p180.p(), p270.p(), want_depth.data(), want_a, c.scale, c.offset), 0);
    }
    SCOPED_TRACE(testing::Message() << "frame " << size.w << "x" << size.h << " scale " << c.scale);
    ASSERT_EQ(std::memcmp(got_depth.data(), want_depth.data(), depth_bytes), 0);
    ASSERT_EQ(std::memcmp(got_amp.data(), want_amp.data(), amp_bytes), 0);
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
// make it NaN, and depths at the wrap edges (below zero by more than a period,
// so one period added leaves them negative; exactly the period, which stays):
// the conversion and the wrap must agree with the definition and between targets.
void check_extremes(std::int64_t target) {
  const float inf = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const toftest::Phases ph = toftest::random_phases(517, false);
  for (bool fl : {false, true}) {
    const tof_option o = toftest::make_option(fl, false, 0, false, 0, 15);
    const toftest::Context ctx = toftest::setup_on(target, o), ref = toftest::setup_on(0, o);
    for (float scale : {nan, inf, -inf, 1e6f, -1e6f, 3e38f, 1.0f})
      for (float offset : {0.0f, -1e9f, 1e9f, nan, -10.0f, 6.2831855f}) {
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

using toftest::CallArgs;
using toftest::Frame;
using toftest::Output;

struct KernelOption {
  const char* name;
  bool interleave, u16;
  unsigned right, cut;
};

// One option per kernel, in the order of the kernel table.
const KernelOption kKernels[] = {
    {"plain_u8", false, false, 0, 0},           {"plain_u8_shl", false, false, 0, 5},
    {"plain_u8_shr", false, false, 3, 1},       {"plain_u16", false, true, 1, 4},
    {"plain_u16_shl", false, true, 2, 9},       {"plain_u16_shr", false, true, 9, 0},
    {"interleave_u8", true, false, 0, 0},       {"interleave_u8_shl", true, false, 0, 5},
    {"interleave_u8_shr", true, false, 3, 1},   {"interleave_u16", true, true, 1, 4},
    {"interleave_u16_shl", true, true, 2, 9},   {"interleave_u16_shr", true, true, 9, 0},
};

const int kMultiples[] = {0, 1, 2, 3, 5, 7};
const float kOffsets[] = {-3.0f, -2.9999f, -3.25f, 0.0f, 0.37f, 5.5f, -1.0e-7f, 3.0e9f,
                          std::numeric_limits<float>::quiet_NaN()};
const struct {
  std::uint32_t width, height;
} kDualSizes[] = {{1, 1}, {3, 1}, {7, 3}, {17, 5}, {37, 6}, {70, 9}};

TEST(DualEquivalence, AllKernelsVectorEqualsScalar) {
  if (pxtest::vector_targets().empty()) GTEST_SKIP() << "no vector target on this CPU";
  std::size_t call = 0;
  for (std::size_t kernel = 0; kernel < std::size(kKernels); ++kernel) {
    const KernelOption& k = kKernels[kernel];
    // Three m0/m1 pairs per kernel: the twelve kernels cover all 36 pairs.
    for (std::size_t pair = kernel * 3; pair < kernel * 3 + 3; ++pair) {
      const int m0 = kMultiples[pair / 6], m1 = kMultiples[pair % 6];
      const tof_dual_option o = toftest::make_dual_option(k.interleave, k.u16, k.right, k.cut, m0, m1);
      const toftest::DualContext scalar = toftest::setup_on(0, o);
      for (std::int64_t target : pxtest::vector_targets()) {
        const toftest::DualContext vector = toftest::setup_on(target, o);
        for (const auto& size : kDualSizes) {
          for (long hi : {65535L, 3L}) {  // 3: zero terms, axes and ties are frequent
            const Frame f = toftest::random_frame(size.width, size.height, k.interleave, 0, hi);
            for (std::uint32_t extra_pitch : {0u, 3u}) {
              CallArgs args;
              args.amplitude_u16 = k.u16;
              args.pitch = size.width + extra_pitch;
              args.offset_0 = kOffsets[call % std::size(kOffsets)];
              args.offset_1 = kOffsets[(call / 3 + 1) % std::size(kOffsets)];
              args.with_amplitude = call % 5 != 4;
              ++call;
              SCOPED_TRACE(testing::Message()
                           << k.name << " m0 " << m0 << " m1 " << m1 << " " << size.width << "x"
                           << size.height << " pitch " << args.pitch << " on "
                           << pxtest::target_label(target));
              const Output want = toftest::decode(scalar.get(), f, args);
              const Output got = toftest::decode(vector.get(), f, args);
              ASSERT_EQ(want.status, 0);
              ASSERT_EQ(got.status, 0);
              EXPECT_TRUE(toftest::same_floats(want.depth, got.depth));
              EXPECT_EQ(want.amplitude16, got.amplitude16);
              EXPECT_EQ(want.amplitude8, got.amplitude8);
            }
          }
        }
      }
    }
  }
}

// Amplitude shifts of 32 bits or more store 0. Setup never makes one (the
// nibbles allow at most 15), so the kernels are run on a block directly.
TEST(DualKernels, ShiftsOf32OrMoreStoreZero) {
  const Frame f = toftest::uniform_frame(19, 1, false, 10, 20, 300, 400);  // amplitude 500
  std::vector<const pxkit::DualKernelTable*> tables{&pxkit::dual_scalar_kernels()};
  for (std::int64_t target : pxtest::vector_targets()) {
    pxtest::ScopedTarget only(target);
    tables.push_back(&pxkit::dual_active_kernels());
  }
  for (const pxkit::DualKernelTable* table : tables) {
    ASSERT_NE(table, nullptr);
    for (pxkit::AmplitudeShift dir : {pxkit::AmplitudeShift::kLeft, pxkit::AmplitudeShift::kRight}) {
      for (std::uint32_t shift : {31u, 32u, 40u}) {
        std::vector<std::uint16_t> amplitude(19, 0xA5A5);
        std::vector<float> depth(19);
        pxkit::tof_dual_stripe block{};
        block.pixel_count = 19;
        for (int p = 0; p < 8; ++p) block.planes[p] = f.planes[p].data();
        block.depth = depth.data();
        block.amplitude = amplitude.data();
        block.m0 = 3;
        block.m1 = 2;
        block.amplitude_shift = shift;
        const auto kernel = (*table)[pxkit::dual_kernel_index(false, true, dir)];
        kernel(reinterpret_cast<std::uintptr_t>(&block), 0);
        const std::uint32_t want =
            shift >= 32 ? 0 : (dir == pxkit::AmplitudeShift::kLeft ? 500u << shift : 500u >> shift);
        for (std::uint16_t a : amplitude) ASSERT_EQ(a, want & 0xFFFF) << shift;
      }
    }
  }
}

}  // namespace
