// Scalar reference kernels of the sparse Scharr gradient: loops over the rules.
#include "analysis/sparse_scharr_kernels.h"

namespace pxkit::analysis {
namespace {

void step2_row(const std::uint8_t* t, const std::uint8_t* m, const std::uint8_t* b,
               const GridColumns& g, const std::uint8_t* table, std::uint8_t* magnitude,
               std::uint8_t* code) {
  for (std::int64_t j = 0; j < g.count; ++j) {
    const std::int64_t c = 2 * j;
    const bool interior = j != 0 && !(g.mirror_right && j == g.count - 1);
    std::int32_t gx, gy;
    if (interior) {
      // The three rows' sums written out directly, as the step-2 path is defined.
      gy = ((3 * (b[c - 1] + b[c + 1]) + 10 * b[c]) - (3 * (t[c - 1] + t[c + 1]) + 10 * t[c])) >> 4;
      gx = (3 * ((t[c + 1] - t[c - 1]) + (b[c + 1] - b[c - 1])) + 10 * (m[c + 1] - m[c - 1])) >> 4;
    } else {
      const SmoothDiff st = smooth_diff_at(t, g, j), sm = smooth_diff_at(m, g, j),
                       sb = smooth_diff_at(b, g, j);
      gx = gradient_x(st.d, sm.d, sb.d);
      gy = gradient_y(st.s, sb.s);
    }
    finish_point(gx, gy, table, magnitude + j, code + j);
  }
}

void combine(const std::int16_t* const s[3], const std::int16_t* const d[3], std::int64_t count,
             const std::uint8_t* table, std::uint8_t* magnitude, std::uint8_t* code) {
  for (std::int64_t j = 0; j < count; ++j)
    finish_point(gradient_x(d[0][j], d[1][j], d[2][j]), gradient_y(s[0][j], s[2][j]), table,
                 magnitude + j, code + j);
}

constexpr sparse_scharr_kernels kScalar{step2_row, sparse_row_pass_scalar, sparse_row_pass_scalar,
                                        sparse_row_pass_scalar, combine};

}  // namespace

void sparse_row_pass_scalar(const std::uint8_t* row, const GridColumns& g, std::int16_t* smooth,
                            std::int16_t* diff) {
  for (std::int64_t j = 0; j < g.count; ++j) {
    const SmoothDiff v = smooth_diff_at(row, g, j);
    smooth[j] = static_cast<std::int16_t>(v.s);
    diff[j] = static_cast<std::int16_t>(v.d);
  }
}

const sparse_scharr_kernels& sparse_scharr_scalar_kernels() { return kScalar; }

}  // namespace pxkit::analysis
