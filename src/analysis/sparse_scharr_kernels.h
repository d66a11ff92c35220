// Row kernels of the sparse Scharr gradient. The scalar reference and every
// vector target provide the same table; a frame picks one table and walks the
// grid rows with it (sparse_scharr.cc).
#pragma once

#include <cstdint>

#include "analysis/sparse_scharr_rules.h"

namespace pxkit::analysis {

// Step 2: one grid row straight from the three source rows around it.
using sparse_step2_row = void (*)(const std::uint8_t* top, const std::uint8_t* mid,
                                  const std::uint8_t* bottom, const GridColumns& g,
                                  const std::uint8_t* table, std::uint8_t* magnitude,
                                  std::uint8_t* code);
// Other steps: smoothing and difference of one source row at the grid columns...
using sparse_row_pass = void (*)(const std::uint8_t* row, const GridColumns& g,
                                 std::int16_t* smooth, std::int16_t* diff);
// ...and the combination of three such rows into one grid row of output.
using sparse_combine = void (*)(const std::int16_t* const smooth[3],
                                const std::int16_t* const diff[3], std::int64_t count,
                                const std::uint8_t* table, std::uint8_t* magnitude,
                                std::uint8_t* code);

struct sparse_scharr_kernels {
  sparse_step2_row step2_row;
  sparse_row_pass row_pass_step1;  // grid columns are contiguous
  sparse_row_pass row_pass_step4;
  sparse_row_pass row_pass_any;    // any step
  sparse_combine combine;
};

// The reference row pass (any step).
void sparse_row_pass_scalar(const std::uint8_t* row, const GridColumns& g, std::int16_t* smooth,
                            std::int16_t* diff);

const sparse_scharr_kernels& sparse_scharr_scalar_kernels();
// The best usable vector target's table, or the scalar one.
const sparse_scharr_kernels& sparse_scharr_active_kernels();

}  // namespace pxkit::analysis
