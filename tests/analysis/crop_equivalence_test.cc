// Vector crop kernels against the scalar reference, bit for bit, on every
// vector target: random sources (the last row ending at an unreadable page),
// destination widths across several vector lengths with padded rows and
// guard bytes, plausible perspective matrices and extreme ones.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "analysis/crop_context.h"
#include "scale/image_test_util.h"

namespace {

using Image = imgtest::Plane;
using Matrix = std::vector<float>;

// A perspective map of the destination into a source of about src_w x src_h,
// last row near (0, 0, 1); kind 1: entries anywhere in the Q19 range and
// beyond (saturation, den 0 and -1, huge quotients); kind 2: num_x = 3 den - 1
// and num_y = 5 den exactly (quotients at or just below an integer, where one
// through a reciprocal is most likely to need correcting; every entry a
// multiple of 2^-19 exact in f32); kind 3: see below.
Matrix random_matrix(int kind, float src_w, float src_h, float dst_w, float dst_h) {
  std::mt19937& g = pxtest::rng();
  auto u = [&](float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(g); };
  if (kind == 3) {
    // num_x climbs by 2^28 a column and passes INT32_MAX; den and num_y are
    // 2^30, so a saturated num_x still samples column 1 while a wrapped one
    // gives 0: the single call's saturating lane steps show.
    return {512, 0, 0, 0, 0, 2048, 0, 0, 2048};
  }
  if (kind == 2) {
    Matrix m(9);
    for (int k = 6; k < 9; ++k) {
      const int e = std::uniform_int_distribution<int>(0, 22)(g);
      m[k] = static_cast<float>(std::uniform_int_distribution<int>(-(1 << e), 1 << e)(g)) / 524288.0f;
      m[k - 6] = 3 * m[k];
      m[k - 3] = 5 * m[k];
    }
    m[2] -= 1.0f / 524288.0f;
    return m;
  }
  if (kind == 1) {
    Matrix m(9);
    for (float& v : m) {
      const int pick = std::uniform_int_distribution<int>(0, 5)(g);
      v = pick == 0 ? 0.0f : pick == 1 ? u(-5000.0f, 5000.0f) : pick == 2 ? -1.0f / 524288.0f : u(-2.0f, 2.0f);
    }
    return m;
  }
  const float sx = src_w / dst_w, sy = src_h / dst_h;
  return {u(0.3f, 1.3f) * sx, u(-0.3f, 0.3f) * sx, u(-4.0f, src_w / 4),
          u(-0.3f, 0.3f) * sy, u(0.3f, 1.3f) * sy, u(-4.0f, src_h / 4),
          u(-0.002f, 0.002f), u(-0.002f, 0.002f), u(0.8f, 1.2f)};
}

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

// The single call (threads 0) or the pooled crop, its stripe kernel optionally
// given the source pitch (create always leaves it 0).
Image run(const Source& src, const Config& c, const Matrix& m, std::int64_t target, std::int32_t threads,
          bool with_pitch) {
  pxtest::ScopedTarget only(target);
  Image dst(c.dst_w, c.dst_h, c.dst_pad);
  const datacode_image s = src.record(), d = dst.record();
  if (threads == 0) {
    EXPECT_EQ(datacode_bili_inter_crop_u8(&s, &d, m.data(), c.xo, c.yo), 0);
    return dst;
  }
  auto* ctx = static_cast<pxkit::analysis::datacode_crop_ctx*>(
      create_datacode_bili_inter_crop_ctx(threads, &s, &d, m.data(), c.xo, c.yo));
  if (with_pitch)
    for (auto& b : ctx->stripes) b.src_pitch = src.stride;
  EXPECT_EQ(datacode_bili_inter_crop_parallel_u8(ctx), 0);
  destroy_datacode_bili_inter_crop_ctx(ctx);
  return dst;
}

TEST(CropEquivalence, SingleCallAndStripeKernelVectorEqualsScalar) {
  for (const Config& c : configs(3 * 16 + 1)) {
    const Source src(c.src_w, c.src_h, c.src_pad);
    const Matrix m = random_matrix(c.kind, float(c.src_w), float(c.src_h), float(c.dst_w), float(c.dst_h));
    const std::int32_t threads = static_cast<std::int32_t>(c.dst_w % 4 + 1);
    for (const auto& [t, pitch] : {std::pair{0, false}, {threads, false}, {threads, true}}) {
      SCOPED_TRACE("dst width " + std::to_string(c.dst_w) + " kind " + std::to_string(c.kind) + " threads " +
                   std::to_string(t) + " pitch " + std::to_string(pitch));
      const Image want = run(src, c, m, 0, t, pitch);
      ASSERT_TRUE(want.guards_intact());
      if (t == 0 && c.kind == 3 && c.dst_w >= 9 && c.src_w >= 4 && c.src_h >= 4) {
        // Saturated lanes (columns 7 on, within the groups) still sample the source.
        EXPECT_NE(std::count(want.bytes.begin(), want.bytes.begin() + 8, 0), 8);
      }
      for (std::int64_t target : pxtest::vector_targets())
        ASSERT_EQ(run(src, c, m, target, t, pitch).bytes, want.bytes) << pxtest::target_label(target);
    }
  }
}

}  // namespace
