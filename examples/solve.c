/* Dense linear solver: an 8 x 8 system with a known solution, solved in place
 * by LU decomposition with partial pivoting. Build: cc solve.c $(pkg-config
 * --cflags --libs pxkit) -lm. Exits 0 when the solution satisfies A x = b (and
 * equals the known one) to single-precision accuracy. */
#include <pxkit.h>

#include <math.h>
#include <stdio.h>

int main(void) {
  float a[64], x[8], b[8];                  /* A row-major, n = 8 */
  float a0[64], truth[8];                   /* A before the call, the x that made b */
  for (int i = 0; i < 8; ++i) {
    truth[i] = (float)i - 3.5f;
    for (int j = 0; j < 8; ++j) a0[i * 8 + j] = 1.0f / (float)(i + j + 1) + (i == j ? 2.0f : 0.0f);
  }
  for (int i = 0; i < 8; ++i) {
    double sum = 0;
    for (int j = 0; j < 8; ++j) sum += (double)a0[i * 8 + j] * truth[j], a[i * 8 + j] = a0[i * 8 + j];
    b[i] = (float)sum;
  }

  int32_t r = solve_f32(a, x, b, 8, 1);     /* bit 0: decompose a in place, no allocation for n <= 512 */

  /* Largest |(A x - b)_i| and |x_i - truth_i|, by plain comparisons: GCC 12 for aarch64 stops
   * with an internal error when it vectorises an fmax reduction here. */
  double residual = 0, error = 0;
  for (int i = 0; i < 8; ++i) {
    double sum = -(double)b[i];
    for (int j = 0; j < 8; ++j) sum += (double)a0[i * 8 + j] * x[j];
    if (fabs(sum) > residual) residual = fabs(sum);
    if (fabs((double)x[i] - truth[i]) > error) error = fabs((double)x[i] - truth[i]);
  }
  printf("r %d, x[0] %.6f (want -3.5), largest residual %.2g, largest error %.2g\n", r, x[0],
         residual, error);
  return r == 0 && residual < 1e-4 && error < 1e-4 ? 0 : 1;
}
