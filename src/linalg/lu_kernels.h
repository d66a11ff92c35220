// Row updates of the LU decomposition. Every element keeps its own chain of
// fused multiply-adds in pivot order, so the updates vectorise across a row.
// The scalar reference and every vector target provide the same table.
#pragma once

#include <cstddef>

namespace pxkit::linalg {

// row[k] = fma(-m, pivot[k], row[k]) for k < count.
using eliminate1_fn = void (*)(float* row, const float* pivot, float m, std::size_t count);
// Two consecutive pivots in one pass over the row: first
// row[k] = fma(-m1, p1[k], row[k]), then row[k] = fma(-m2, p2[k], row[k]).
// Bit for bit what two eliminate1 passes give, with half the memory traffic.
using eliminate2_fn = void (*)(float* row, const float* p1, float m1, const float* p2, float m2,
                               std::size_t count);

struct lu_kernels {
  eliminate1_fn eliminate1;
  eliminate2_fn eliminate2;
};

const lu_kernels& scalar_lu_kernels();
// The best vector table this CPU may use now, else the scalar reference.
const lu_kernels& active_lu_kernels();

}  // namespace pxkit::linalg
