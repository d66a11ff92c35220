// Vector crop kernels against the scalar reference, bit for bit, on every
// vector target: random sources (the last row ending at an unreadable page),
// destination widths across several vector lengths with padded rows and
// guard bytes, plausible perspective matrices and extreme ones.
#include <cstdint>
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "analysis/crop_context.h"
#include "analysis/crop_test_util.h"

namespace {

using crop_test::Image;
using crop_test::Matrix;

struct Source {
  std::uint32_t width, height, stride;
  pxtest::PageEndBuffer buffer;
  Source(std::uint32_t w, std::uint32_t h, std::uint32_t pad)
      : width(w), height(h), stride(w + pad), buffer(std::size_t{w + pad} * (h - 1) + w) {
    const auto v = pxtest::random_ints<std::uint8_t>(buffer.size(), 0, 255);
    std::memcpy(buffer.data(), v.data(), v.size());
  }
  datacode_image record() const { return {width, height, stride, buffer.as<std::uint8_t>()}; }
};

struct Config {
  std::uint32_t src_w, src_h, src_pad, dst_w, dst_h, dst_pad, xo, yo;
  int kind;
};

std::vector<Config> configs(std::uint32_t max_width) {
  std::vector<Config> out;
  auto r = [](std::uint32_t lo, std::uint32_t hi) { return pxtest::random_ints<std::uint32_t>(1, lo, hi)[0]; };
  for (std::uint32_t w = 1; w <= max_width; ++w) {
    const bool tiny = w % 7 == 0;  // sources too small for any valid point, or the vector loads
    out.push_back({tiny ? r(1, 5) : r(20, 90), tiny ? r(1, 5) : r(8, 60), r(0, 9), w, r(1, 7), r(0, 5),
                   r(0, 3), r(0, 3), w % 5 == 4 ? 3 : static_cast<int>(w % 3)});
  }
  return out;
}

std::vector<std::int64_t> targets_to_compare() {
  std::vector<std::int64_t> t = pxtest::vector_targets();
  return t;
}

Image run_single(const Source& src, const Config& c, const Matrix& m, std::int64_t target) {
  pxtest::ScopedTarget only(target);
  Image dst = crop_test::make_image(c.dst_w, c.dst_h, c.dst_pad);
  const datacode_image s = src.record(), d = dst.record();
  EXPECT_EQ(datacode_bili_inter_crop_u8(&s, &d, m.data(), c.xo, c.yo), 0);
  return dst;
}

Image run_pooled(const Source& src, const Config& c, const Matrix& m, std::int64_t target,
                 bool with_pitch, std::int32_t threads) {
  pxtest::ScopedTarget only(target);
  Image dst = crop_test::make_image(c.dst_w, c.dst_h, c.dst_pad);
  const datacode_image s = src.record(), d = dst.record();
  auto* ctx = static_cast<pxkit::analysis::datacode_crop_ctx*>(
      create_datacode_bili_inter_crop_ctx(threads, &s, &d, m.data(), c.xo, c.yo));
  // The stripe kernel also takes a real pitch (create always leaves it 0).
  if (with_pitch)
    for (auto& b : ctx->stripes) b.src_pitch = src.stride;
  EXPECT_EQ(datacode_bili_inter_crop_parallel_u8(ctx), 0);
  destroy_datacode_bili_inter_crop_ctx(ctx);
  return dst;
}

TEST(CropEquivalence, SingleCallVectorEqualsScalar) {
  for (const Config& c : configs(41)) {
    const Source src(c.src_w, c.src_h, c.src_pad);
    const Matrix m = crop_test::random_matrix(c.kind, float(c.src_w), float(c.src_h), float(c.dst_w), float(c.dst_h));
    const Image want = run_single(src, c, m, 0);
    ASSERT_TRUE(crop_test::guards_intact(want));
    if (c.kind == 3 && c.dst_w >= 9 && c.src_w >= 4 && c.src_h >= 4) {
      // Saturated lanes (columns 7 on, within the groups) still sample the source.
      EXPECT_NE(std::count(want.bytes.begin(), want.bytes.begin() + 8, 0), 8) << c.dst_w;
    }
    for (std::int64_t target : targets_to_compare()) {
      const Image got = run_single(src, c, m, target);
      ASSERT_EQ(got.bytes, want.bytes) << pxtest::target_label(target) << " dst width " << c.dst_w
                                       << " kind " << c.kind;
    }
  }
}

TEST(CropEquivalence, StripeKernelVectorEqualsScalar) {
  for (const Config& c : configs(3 * 16 + 1)) {
    const Source src(c.src_w, c.src_h, c.src_pad);
    const Matrix m = crop_test::random_matrix(c.kind, float(c.src_w), float(c.src_h), float(c.dst_w), float(c.dst_h));
    for (bool with_pitch : {false, true}) {
      const std::int32_t threads = static_cast<std::int32_t>(c.dst_w % 4 + 1);
      const Image want = run_pooled(src, c, m, 0, with_pitch, threads);
      ASSERT_TRUE(crop_test::guards_intact(want));
      for (std::int64_t target : targets_to_compare()) {
        const Image got = run_pooled(src, c, m, target, with_pitch, threads);
        ASSERT_EQ(got.bytes, want.bytes) << pxtest::target_label(target) << " dst width " << c.dst_w
                                         << " kind " << c.kind << " pitch " << with_pitch;
      }
    }
  }
}

}  // namespace
