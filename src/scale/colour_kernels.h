// Row kernels of the colour conversion with nearest-neighbour scaling. The
// scalar reference and every vector target fill the same table; a frame call
// takes the table once and the plane walkers apply its rows with strides.
#pragma once

#include <cstdint>

#include "scale/colour_rules.h"

namespace pxkit::scale {

// Equal size: dst[x] = luma of source pixel x, x < width.
using grey_row_fn = void (*)(const std::uint8_t* src, std::uint8_t* dst, std::uint32_t width);
// Scaled: dst[x] = luma (or, for grey, the byte) of the source pixel at byte
// offset x_table[x], x < count. Vector bodies read 4 bytes at each offset, and
// only for x < gather_count (the offsets whose 4 bytes lie inside the row).
using sampled_row_fn = void (*)(const std::uint8_t* src, const std::uint32_t* x_table,
                                std::uint8_t* dst, std::uint32_t count,
                                std::uint32_t gather_count);
// Equal size: u[c] = uv[2c], v[c] = uv[2c + 1], c < pairs.
using split_row_fn = void (*)(const std::uint8_t* uv, std::uint8_t* u, std::uint8_t* v,
                              std::uint32_t pairs);
// Scaled chroma: for c < pairs, with k0 = x_table[2c] & ~1 and
// k1 = x_table[2c + 1] & ~1, u[c] = mean of c0/c1 at k0 and k1, v[c] the same
// at k0 + 1 and k1 + 1. Vector bodies read 4 bytes at k0 and k1, for c < gather_count.
using chroma_row_fn = void (*)(const std::uint8_t* c0, const std::uint8_t* c1,
                               const std::uint32_t* x_table, std::uint8_t* u, std::uint8_t* v,
                               std::uint32_t pairs, std::uint32_t gather_count);

// Kernels of the four packed colour formats in the order RGB24 (7), BGR24 (8),
// RGBX (4), XBGR (5).
struct colour_kernels {
  grey_row_fn grey_row[4];
  sampled_row_fn grey_sampled_row[4];
  sampled_row_fn byte_sampled_row;  // grey -> grey and luma of 1 -> 2
  split_row_fn split_row;
  chroma_row_fn chroma_row;
};

// Builds the table from a family K with K::grey_row<L>, K::grey_sampled_row<L>,
// K::byte_sampled_row, K::split_row, K::chroma_row.
template <class K>
constexpr colour_kernels make_colour_kernels() {
  return {{&K::template grey_row<kRgb24>, &K::template grey_row<kBgr24>,
           &K::template grey_row<kRgbx>, &K::template grey_row<kXbgr>},
          {&K::template grey_sampled_row<kRgb24>, &K::template grey_sampled_row<kBgr24>,
           &K::template grey_sampled_row<kRgbx>, &K::template grey_sampled_row<kXbgr>},
          &K::byte_sampled_row,
          &K::split_row,
          &K::chroma_row};
}

const colour_kernels& scalar_colour_kernels();
// The best usable vector target's table, or the scalar reference.
const colour_kernels& active_colour_kernels();

}  // namespace pxkit::scale
