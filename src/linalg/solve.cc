// solve_f32: LU decomposition with partial pivoting (row exchanges through
// row references), then forward and back substitution.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "common/diag.h"
#include "common/memory.h"
#include "linalg/lu_kernels.h"
#include "pxkit.h"

namespace pxkit::linalg {
namespace {

constexpr float kTolerance = 0.0001f;
// In-place solves up to this size keep their row references and permutation
// on the stack and allocate nothing.
constexpr std::int32_t kFixedStorageLimit = 512;

// Pivot search in column i over rows i..n-1; the first of equal maxima wins.
// Exchanges row references and permutation entries when the pivot moves.
bool choose_pivot(float** rows, std::int32_t* perm, std::size_t n, std::size_t i) {
  float largest = 0.0f;
  std::size_t p = i;
  for (std::size_t r = i; r < n; ++r) {
    const float v = std::fabs(rows[r][i]);
    if (v > largest) {
      largest = v;
      p = r;
    }
  }
  if (largest < kTolerance) {
    diag::line("degenerate matrix");
    return false;
  }
  if (p != i) {
    std::swap(perm[i], perm[p]);
    std::swap(rows[i], rows[p]);
  }
  return true;
}

// In-place LU of the rows. Pivots are taken two at a time where possible:
// the first pivot's update of the next column comes first (the next pivot
// search needs it), then one pass per row applies both pivots, each element
// getting exactly the updates, in the same order, of one pivot at a time.
bool decompose(float** rows, std::int32_t* perm, std::size_t n, const lu_kernels& k) {
  std::size_t i = 0;
  for (;;) {
    if (!choose_pivot(rows, perm, n, i)) return false;
    if (i + 1 == n) return true;
    const float* pi = rows[i];
    const float di = pi[i];
    if (i + 2 == n) {
      float* r = rows[i + 1];
      r[i] = r[i] / di;
      k.eliminate1(r + i + 1, pi + i + 1, r[i], 1);
      i += 1;
      continue;
    }
    for (std::size_t j = i + 1; j < n; ++j) {
      float* r = rows[j];
      r[i] = r[i] / di;
      r[i + 1] = std::fma(-r[i], pi[i + 1], r[i + 1]);
    }
    const std::size_t rest = n - i - 2;
    if (!choose_pivot(rows, perm, n, i + 1)) {
      // Leave the matrix as a one-pivot-at-a-time decomposition would.
      for (std::size_t j = i + 1; j < n; ++j) k.eliminate1(rows[j] + i + 2, pi + i + 2, rows[j][i], rest);
      return false;
    }
    float* pn = rows[i + 1];
    k.eliminate1(pn + i + 2, pi + i + 2, pn[i], rest);
    const float dn = pn[i + 1];
    for (std::size_t j = i + 2; j < n; ++j) {
      float* r = rows[j];
      r[i + 1] = r[i + 1] / dn;
      k.eliminate2(r + i + 2, pi + i + 2, r[i], pn + i + 2, r[i + 1], rest);
    }
    i += 2;
  }
}

void substitute(float* const* rows, const std::int32_t* perm, std::size_t n, float* x,
                const float* b) {
  for (std::size_t i = 0; i < n; ++i) {
    const float* r = rows[i];
    float s = b[perm[i]];
    for (std::size_t k = 0; k < i; ++k) s = std::fma(-r[k], x[k], s);
    x[i] = s;
  }
  for (std::size_t i = n; i-- > 0;) {
    const float* r = rows[i];
    float s = x[i];
    for (std::size_t k = i + 1; k < n; ++k) s = std::fma(-r[k], x[k], s);
    x[i] = s / r[i];
  }
}

std::int32_t solve(float* a, float* x, const float* b, std::size_t n, bool in_place) {
  float* fixed_rows[kFixedStorageLimit];
  std::int32_t fixed_perm[kFixedStorageLimit + 1];
  float** rows = fixed_rows;
  std::int32_t* perm = fixed_perm;
  float* copy = nullptr;
  const bool fixed = in_place && n <= static_cast<std::size_t>(kFixedStorageLimit);
  if (!fixed) {
    rows = static_cast<float**>(mem::allocate(n * sizeof(float*)));
    perm = static_cast<std::int32_t*>(mem::allocate((n + 1) * sizeof(std::int32_t)));
    if (!in_place) copy = static_cast<float*>(mem::allocate(n * n * sizeof(float)));
    if (rows == nullptr || perm == nullptr || (!in_place && copy == nullptr)) {
      // Out of memory: nothing is solved and nothing printed; the result stays 0.
      mem::release(rows);
      mem::release(perm);
      mem::release(copy);
      return 0;
    }
    if (copy != nullptr) {
      std::memcpy(copy, a, n * n * sizeof(float));
      a = copy;
    }
  }
  for (std::size_t i = 0; i < n; ++i) {
    rows[i] = a + i * n;
    perm[i] = static_cast<std::int32_t>(i);
  }
  perm[n] = static_cast<std::int32_t>(n);

  const bool ok = decompose(rows, perm, n, active_lu_kernels());
  if (ok) {
    substitute(rows, perm, n, x, b);
  } else {
    diag::format("degenerate matrix(%dx%d)\n", static_cast<int>(n), static_cast<int>(n));
  }
  if (!fixed) {
    mem::release(rows);
    mem::release(perm);
    mem::release(copy);
  }
  return ok ? 0 : -1;
}

}  // namespace
}  // namespace pxkit::linalg

extern "C" PXKIT_API int32_t solve_f32(float* matrix_a, float* x, const float* b,
                                       int32_t matrix_dimension, uint8_t flags) {
  if (matrix_a == nullptr || x == nullptr || b == nullptr || matrix_dimension == 0) {
    pxkit::diag::format("bad parameters matrix_a %p, x %p, b %p, matrix_dimension %d\n",
                        static_cast<void*>(matrix_a), static_cast<void*>(x),
                        static_cast<const void*>(b), matrix_dimension);
    return -3;
  }
  // A negative dimension has no rows: nothing is decomposed or written.
  if (matrix_dimension < 0) return 0;
  if (matrix_dimension == 1) {
    // Any non-zero coefficient is accepted here, however small.
    if (matrix_a[0] != 0.0f) {
      x[0] = b[0] / matrix_a[0];
      return 0;
    }
    pxkit::diag::line("degenerate matrix(1x1)");
    return -1;
  }
  return pxkit::linalg::solve(matrix_a, x, b, static_cast<std::size_t>(matrix_dimension),
                              (flags & 1u) != 0);
}
