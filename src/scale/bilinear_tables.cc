#include "scale/bilinear_tables.h"

#include <cstddef>

#include "common/diag.h"
#include "common/memory.h"

namespace pxkit::scale {

table_entry bilinear_entry(std::uint32_t i, std::uint32_t src, std::uint32_t dst, BorderClamp clamp) {
  // i x 2048 wraps in 32 bits for i >= 2^21, as the fixed-point design defines.
  const std::uint32_t position = i * kWeightOne;
  const std::uint64_t p = std::uint64_t{src} * position / dst;
  const std::uint64_t left = p >> kWeightBits;
  if (clamp == BorderClamp::kYes && left >= std::uint64_t{src} - 1) {
    return {src - 1, {static_cast<std::uint16_t>(kWeightOne), 0}};
  }
  const auto f = static_cast<std::uint16_t>(p & (kWeightOne - 1));
  return {static_cast<std::uint32_t>(left), {static_cast<std::uint16_t>(kWeightOne - f), f}};
}

std::int32_t build_bilinear_scale_tables(bilinear_scale_tables* tables, std::uint32_t src_width,
                                         std::uint32_t src_height, std::uint32_t dst_width,
                                         std::uint32_t dst_height, BorderClamp clamp) {
  tables->src_width = src_width;
  tables->src_height = src_height;
  tables->dst_width = dst_width;
  tables->dst_height = dst_height;
  // Both allocations hold dst_width + dst_height four-byte units (64-bit count).
  const std::size_t units = std::size_t{dst_width} + dst_height;
  static_assert(sizeof(weight_pair) == sizeof(std::uint32_t));
  tables->column_index = static_cast<std::uint32_t*>(mem::allocate(units * sizeof(std::uint32_t)));
  tables->column_weights = tables->column_index == nullptr
                               ? nullptr
                               : static_cast<weight_pair*>(mem::allocate(units * sizeof(weight_pair)));
  if (tables->column_weights == nullptr) {
    free_bilinear_scale_tables(tables);
    diag::line("[error]: no memory");
    return -1;
  }
  tables->row_index = tables->column_index + dst_width;
  tables->row_weights = tables->column_weights + dst_width;
  for (std::uint32_t i = 0; i < dst_width; ++i) {
    const table_entry e = bilinear_entry(i, src_width, dst_width, clamp);
    tables->column_index[i] = e.index;
    tables->column_weights[i] = e.weights;
  }
  for (std::uint32_t j = 0; j < dst_height; ++j) {
    const table_entry e = bilinear_entry(j, src_height, dst_height, clamp);
    tables->row_index[j] = e.index;
    tables->row_weights[j] = e.weights;
  }
  return 0;
}

void free_bilinear_scale_tables(bilinear_scale_tables* tables) {
  mem::release(tables->column_index);
  mem::release(tables->column_weights);
  tables->column_index = tables->row_index = nullptr;
  tables->column_weights = tables->row_weights = nullptr;
}

}  // namespace pxkit::scale
