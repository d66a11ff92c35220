// Bilinear index and weight tables in 11-bit fixed point (a weight of 2048 is
// 1.0): for each destination column and row, the left / upper source sample and
// the pair of weights (w0, w1) with w0 + w1 = 2048. Destination pixel i maps to
// source position i x src / dst (no half-pixel offset).
#pragma once

#include <cstdint>

namespace pxkit::scale {

inline constexpr std::uint32_t kWeightBits = 11;
inline constexpr std::uint32_t kWeightOne = 1u << kWeightBits;  // 2048

struct weight_pair {
  std::uint16_t w0;  // weight of the sample at the index
  std::uint16_t w1;  // weight of the next sample; 0: the sample is copied
};

struct bilinear_scale_tables {
  std::uint32_t src_width, src_height, dst_width, dst_height;
  std::uint32_t* column_index;  // dst_width entries, then the row index (one allocation)
  std::uint32_t* row_index;     // dst_height entries, directly after the column index
  weight_pair* column_weights;  // dst_width pairs, then the row weights (one allocation)
  weight_pair* row_weights;     // dst_height pairs
};

// Whether indices that reach the last source sample are clamped to it with
// weights (2048, 0), so that nothing beyond the last column or row is read.
enum class BorderClamp : bool { kNo = false, kYes = true };

// Index and weights of destination position i out of dst positions over src
// source positions: p = (src x (i x 2048 in 32 bits)) / dst in 64 bits.
struct table_entry {
  std::uint32_t index;
  weight_pair weights;
};
table_entry bilinear_entry(std::uint32_t i, std::uint32_t src, std::uint32_t dst, BorderClamp clamp);

// Fills `tables` (sizes and both allocations). Returns 0, or -1 after printing
// "[error]: no memory" when an allocation fails (nothing is left allocated).
std::int32_t build_bilinear_scale_tables(bilinear_scale_tables* tables, std::uint32_t src_width,
                                         std::uint32_t src_height, std::uint32_t dst_width,
                                         std::uint32_t dst_height, BorderClamp clamp);

// Frees both allocations (each only if present) and clears the pointers.
void free_bilinear_scale_tables(bilinear_scale_tables* tables);

}  // namespace pxkit::scale
