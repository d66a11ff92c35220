#include "scale/yuv_tables.h"

#include <cstddef>
#include <cstdint>

#include "common/diag.h"
#include "common/memory.h"

namespace pxkit::scale {
namespace {

// Index and weights of destination entry i (64-bit products: no wrap-around).
void fill_entry(std::uint32_t s, std::uint32_t d, std::uint32_t i, std::uint32_t* index,
                std::uint16_t* weights) {
  const std::uint64_t p = std::uint64_t{s} * (std::uint64_t{i} * 2048u) / d;
  const auto f = static_cast<std::uint16_t>(p & 2047u);
  index[i] = static_cast<std::uint32_t>(p >> 11);
  weights[2 * i] = static_cast<std::uint16_t>(2048u - f);
  weights[2 * i + 1] = f;
}

}  // namespace

int setup_yuv_bilinear_tables(yuv_bilinear_tables& t, std::uint32_t src_width,
                              std::uint32_t src_height, std::uint32_t dst_width,
                              std::uint32_t dst_height, bool pairs) {
  t = {};
  t.src_width = src_width;
  t.src_height = src_height;
  t.dst_width = dst_width;
  t.dst_height = dst_height;
  // Both allocations hold dst_width + dst_height four-byte units (at least one).
  const std::size_t units = std::size_t{dst_width} + dst_height + 1;
  t.column_index = static_cast<std::uint32_t*>(mem::allocate(units * 4));
  if (t.column_index == nullptr) {
    diag::line("[error]: no memory");
    return -1;
  }
  t.column_weights = static_cast<std::uint16_t*>(mem::allocate(units * 4));
  if (t.column_weights == nullptr) {
    diag::line("[error]: no memory");
    free_yuv_bilinear_tables(t);
    return -1;
  }
  t.row_index = t.column_index + dst_width;
  t.row_weights = t.column_weights + 2 * std::size_t{dst_width};
  for (std::uint32_t i = 0; i < dst_width; ++i) {
    fill_entry(src_width, dst_width, i, t.column_index, t.column_weights);
  }
  for (std::uint32_t j = 0; j < dst_height; ++j) {
    fill_entry(src_height, dst_height, j, t.row_index, t.row_weights);
  }
  // Indices grow with i: count the columns from the left whose word stays inside.
  const std::uint64_t words_end = pairs ? std::uint64_t{src_width} * 2 : src_width;
  std::uint32_t safe = 0;
  while (safe < dst_width &&
         std::uint64_t{t.column_index[safe]} * (pairs ? 2 : 1) + 4 <= words_end) {
    ++safe;
  }
  t.word_safe_columns = safe;
  return 0;
}

void free_yuv_bilinear_tables(yuv_bilinear_tables& t) {
  mem::release(t.column_index);
  mem::release(t.column_weights);
  t.column_index = t.row_index = nullptr;
  t.column_weights = t.row_weights = nullptr;
}

}  // namespace pxkit::scale
