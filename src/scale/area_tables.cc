#include "scale/area_tables.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "common/diag.h"
#include "common/memory.h"

namespace pxkit::scale {

area_span make_area_span(std::uint32_t s, std::uint32_t d, std::uint32_t i) {
  const std::uint64_t start = std::uint64_t{i} * s;
  const std::uint64_t end = start + s;
  const float reciprocal = 1.0f / static_cast<float>(d);
  area_span span{};
  span.first = static_cast<std::uint32_t>(start / d);
  span.first_weight = std::fma(-reciprocal, static_cast<float>(start % d), 1.0f);
  if (end % d != 0) {
    span.last = static_cast<std::uint32_t>(end / d);
    span.last_weight = static_cast<float>(end % d) * reciprocal;
  } else {
    span.last = static_cast<std::uint32_t>(end / d - 1);
    span.last_weight = 1.0f;
  }
  return span;
}

namespace {

int setup_vector_columns(area_scale_tables& t, bool pairs) {
  area_vector_columns& v = t.vector;
  const std::size_t n = std::size_t{t.dst_width} + 1;
  v.first = static_cast<std::int32_t*>(mem::allocate(n * 20));
  if (v.first == nullptr) return -1;
  v.last = v.first + n;
  v.middle = v.last + n;
  v.first_weight = reinterpret_cast<float*>(v.middle + n);
  v.last_weight = v.first_weight + n;
  v.max_middle = 0;
  const std::uint64_t step = pairs ? 2 : 1;
  const std::uint64_t row_bytes = std::uint64_t{t.src_width} * step;
  std::uint32_t safe = 0;
  bool still_safe = true;
  for (std::uint32_t i = 0; i < t.dst_width; ++i) {
    const area_span& s = t.column_spans[i];
    v.first[i] = static_cast<std::int32_t>(s.first);
    v.last[i] = static_cast<std::int32_t>(s.last);
    const std::uint32_t middle = s.last > s.first ? s.last - s.first - 1 : 0;
    v.middle[i] = static_cast<std::int32_t>(middle);
    if (middle > v.max_middle) v.max_middle = middle;
    v.first_weight[i] = s.first_weight;
    v.last_weight[i] = s.first == s.last ? 0.0f : s.last_weight;
    still_safe = still_safe && std::uint64_t{s.last} * step + 4 <= row_bytes;
    if (still_safe) safe = i + 1;
  }
  v.word_safe_columns = safe;
  return 0;
}

}  // namespace

int setup_area_tables(area_scale_tables& t, std::uint32_t src_width, std::uint32_t src_height,
                      std::uint32_t dst_width, std::uint32_t dst_height, bool pairs) {
  t = {};
  t.src_width = src_width;
  t.src_height = src_height;
  t.dst_width = dst_width;
  t.dst_height = dst_height;
  const std::size_t spans = std::size_t{dst_width} + dst_height + 1;
  t.column_spans = static_cast<area_span*>(mem::allocate(spans * sizeof(area_span)));
  if (t.column_spans == nullptr) {
    diag::line("[error]: no memory");
    return -1;
  }
  t.row_spans = t.column_spans + dst_width;
  for (std::uint32_t i = 0; i < dst_width; ++i) t.column_spans[i] = make_area_span(src_width, dst_width, i);
  for (std::uint32_t j = 0; j < dst_height; ++j) t.row_spans[j] = make_area_span(src_height, dst_height, j);
  if (setup_vector_columns(t, pairs) != 0) {
    diag::line("[error]: no memory");
    free_area_tables(t);
    return -1;
  }
  const float dst_area = static_cast<float>(dst_width) * static_cast<float>(dst_height);
  const float src_area = static_cast<float>(src_width) * static_cast<float>(src_height);
  t.factor = dst_area / src_area;
  diag::format("down_sample_area_factor %f\n", static_cast<double>(t.factor));
  return 0;
}

void free_area_tables(area_scale_tables& t) {
  mem::release(t.column_spans);
  mem::release(t.vector.first);
  t.column_spans = t.row_spans = nullptr;
  t.vector = {};
}

}  // namespace pxkit::scale
