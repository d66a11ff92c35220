// Scalar reference row kernels of the colour conversion: the per-pixel rules.
#include "scale/colour_kernels.h"
#include "scale/colour_rules.h"

namespace pxkit::scale {
namespace {

struct ScalarColourKernels {
  template <PixelLayout L>
  static void grey_row(const std::uint8_t* src, std::uint8_t* dst, std::uint32_t width) {
    for (std::uint32_t x = 0; x < width; ++x) dst[x] = pixel_luma<L>(src + std::size_t{x} * L.bytes);
  }

  template <PixelLayout L>
  static void grey_sampled_row(const std::uint8_t* src, const std::uint32_t* x_table,
                               std::uint8_t* dst, std::uint32_t count, std::uint32_t) {
    for (std::uint32_t x = 0; x < count; ++x) dst[x] = pixel_luma<L>(src + x_table[x]);
  }

  static void byte_sampled_row(const std::uint8_t* src, const std::uint32_t* x_table,
                               std::uint8_t* dst, std::uint32_t count, std::uint32_t) {
    for (std::uint32_t x = 0; x < count; ++x) dst[x] = src[x_table[x]];
  }

  static void split_row(const std::uint8_t* uv, std::uint8_t* u, std::uint8_t* v,
                        std::uint32_t pairs) {
    for (std::uint32_t c = 0; c < pairs; ++c) {
      u[c] = uv[2 * std::size_t{c}];
      v[c] = uv[2 * std::size_t{c} + 1];
    }
  }

  static void chroma_row(const std::uint8_t* c0, const std::uint8_t* c1,
                         const std::uint32_t* x_table, std::uint8_t* u, std::uint8_t* v,
                         std::uint32_t pairs, std::uint32_t) {
    for (std::uint32_t c = 0; c < pairs; ++c) {
      const std::uint32_t k0 = x_table[2 * std::size_t{c}] & ~1u;
      const std::uint32_t k1 = x_table[2 * std::size_t{c} + 1] & ~1u;
      u[c] = mean4(c0, c1, k0, k1);
      v[c] = mean4(c0, c1, k0 + 1, k1 + 1);
    }
  }
};

constexpr colour_kernels kScalarColourKernels = make_colour_kernels<ScalarColourKernels>();

}  // namespace

const colour_kernels& scalar_colour_kernels() { return kScalarColourKernels; }

}  // namespace pxkit::scale
