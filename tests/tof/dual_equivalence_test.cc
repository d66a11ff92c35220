// Every vector stripe kernel against the scalar reference through the public
// API, bit for bit: all twelve kernels, run and row mode, sizes that do not
// fill whole vectors, every m0/m1 pair of {0, 1, 2, 3, 5, 7}, offsets near -3,
// zero, positive, huge and NaN.
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "tof/dual_context.h"
#include "tof/dual_kernels.h"
#include "tof/tof_test_util.h"

namespace {

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
struct Size {
  std::uint32_t width, height;
};
const Size kSizes[] = {{1, 1}, {3, 1}, {7, 3}, {17, 5}, {37, 6}, {70, 9}};

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
        for (const Size& size : kSizes) {
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
