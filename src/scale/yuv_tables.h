// Interpolation tables of the 8-bit YUV bilinear scaler. Built like the
// single-channel bilinear tables but without the border clamp: when
// up-scaling, the last destination columns (rows) read one sample beyond the
// last source one with a non-zero weight.
#pragma once

#include <cstdint>

namespace pxkit::scale {

struct yuv_bilinear_tables {
  std::uint32_t src_width, src_height, dst_width, dst_height;
  std::uint32_t* column_index;   // dst_width entries; row_index follows in the same allocation
  std::uint32_t* row_index;      // dst_height entries
  std::uint16_t* column_weights; // (w0, w1) pairs, w0 + w1 = 2048; row_weights follow
  std::uint16_t* row_weights;
  // Leading destination columns whose 4 source bytes from the column's first
  // byte lie inside the source row (luma: index + 4 <= src_width; chroma
  // pairs: index + 2 <= src_width): vector kernels read whole words there.
  std::uint32_t word_safe_columns;
};

// Fills `t` for the given sizes. Returns 0, or -1 after "[error]: no memory".
// `pairs`: the source rows hold interleaved pairs (for word_safe_columns).
int setup_yuv_bilinear_tables(yuv_bilinear_tables& t, std::uint32_t src_width,
                              std::uint32_t src_height, std::uint32_t dst_width,
                              std::uint32_t dst_height, bool pairs);
void free_yuv_bilinear_tables(yuv_bilinear_tables& t);

// Last source row (or column) the table reads for destination entry i: the
// index, plus one when the second weight is non-zero.
inline std::uint32_t last_read(const std::uint32_t* index, const std::uint16_t* weights,
                               std::uint32_t i) {
  return index[i] + (weights[2 * i + 1] != 0 ? 1u : 0u);
}

}  // namespace pxkit::scale
