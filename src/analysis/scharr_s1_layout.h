// How the interior rows 1..height - 2 are shared out among T stripes.
#pragma once

#include <algorithm>
#include <cstdint>

namespace pxkit::analysis {

struct S1Split {
  std::uint32_t rows_per;  // rows of each stripe but the last; stripe k starts at row 1 + k x rows_per
  std::uint32_t rows[8];   // rows of each stripe (0 for an empty one)
};

// Every stripe but the last gets rows_per = ceil(n / T) rows and the last the
// rest (n = height - 2). When that would hand stripes rows past the interior
// (height 7, T 4: rows_per 2, last -1), the counts are clamped:
// min(rows_per, max(0, n - k rows_per)) for k < T - 1, max(0, n - rows_per
// (T - 1)) for the last. Equal to the plain rule whenever it is valid; never
// reaches row 0, row height - 1 or beyond.
inline S1Split s1_split(std::uint32_t height, std::uint32_t stripes) {
  S1Split split{};
  const std::int64_t n = std::max<std::int64_t>(0, std::int64_t{height} - 2);
  const std::int64_t t = std::clamp<std::int64_t>(stripes, 1, 8);
  const std::int64_t per = (n + t - 1) / t;
  split.rows_per = static_cast<std::uint32_t>(per);
  for (std::int64_t k = 0; k < t; ++k) {
    const std::int64_t left = std::max<std::int64_t>(0, n - k * per);
    split.rows[k] = static_cast<std::uint32_t>(k + 1 < t ? std::min(per, left)
                                                         : std::max<std::int64_t>(0, n - per * (t - 1)));
  }
  return split;
}

}  // namespace pxkit::analysis
