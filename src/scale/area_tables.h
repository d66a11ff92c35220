// Area down-sampling tables: for every destination column and row, the span
// of source pixels it covers with the weights of its two border pixels.
#pragma once

#include <cstdint>

namespace pxkit::scale {

struct area_span {
  float first_weight;
  float last_weight;
  std::uint32_t first;
  std::uint32_t last;
};

// Column spans rearranged for vector kernels (one array per field). A span
// whose first and last index coincide has last_weight 0 here, so that the
// general formula counts its sample once with weight 1.0.
struct area_vector_columns {
  std::int32_t* first;       // source column of the first sample
  std::int32_t* last;        // source column of the last sample
  std::int32_t* middle;      // number of samples strictly between
  float* first_weight;
  float* last_weight;
  std::uint32_t max_middle;  // largest `middle` of all columns
  std::uint32_t word_safe_columns;  // leading columns whose word reads stay in the row
};

struct area_scale_tables {
  std::uint32_t src_width, src_height, dst_width, dst_height;
  area_span* column_spans;  // dst_width spans; row_spans follow in the same allocation
  area_span* row_spans;     // dst_height spans
  float factor;             // (dst_width x dst_height) / (src_width x src_height) in float
  area_vector_columns vector;  // separate allocation
};

// Builds the spans and prints "down_sample_area_factor %f\n". Returns 0, or -1
// after "[error]: no memory". `pairs`: source rows hold interleaved pairs.
int setup_area_tables(area_scale_tables& t, std::uint32_t src_width, std::uint32_t src_height,
                      std::uint32_t dst_width, std::uint32_t dst_height, bool pairs);
void free_area_tables(area_scale_tables& t);

// The span of destination entry i for source length s and destination length
// d (s >= d), positions in units of 1/d source pixel.
area_span make_area_span(std::uint32_t s, std::uint32_t d, std::uint32_t i);

}  // namespace pxkit::scale
