// How the interior rows 1..height - 2 are shared out among T stripes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "common/stripes.h"

namespace pxkit::analysis {

// Interior rows of an image (none below height 3).
inline std::int64_t s1_interior_rows(std::uint32_t height) {
  return std::max<std::int64_t>(0, std::int64_t{height} - 2);
}

// Every stripe but the last gets ceil(n / T) rows and the last the rest, as
// stripes::split clamps it: when that would hand stripes rows past the
// interior (height 7, T 4: 2, 2, 1 and 0 instead of 2, 2, 2, -1) the trailing
// stripes get fewer or none, so no stripe reaches row 0, row height - 1 or
// beyond. Span units are interior rows: stripe k starts at row 1 + first.
inline void s1_split(std::uint32_t height, std::span<stripes::Span> spans) {
  const std::int64_t n = s1_interior_rows(height);
  const auto t = static_cast<std::int64_t>(spans.size());
  stripes::split(n, (n + t - 1) / t, spans);
}

}  // namespace pxkit::analysis
