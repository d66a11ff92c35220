/* Dual-frequency ToF: two frequencies that wrap 3 and 2 times over the range
 * give one unambiguous distance. Build: cc dual_depth.c $(pkg-config --cflags
 * --libs pxkit) -lm. Exits 0 when every pixel finds the right wrap. */
#include <pxkit.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { kWidth = 64, kHeight = 32, kM0 = 3, kM1 = 2 };

/* The four phase steps of one frequency at `turns` of its wrap, around 2000. */
static void phase_steps(double turns, uint16_t* s[4], size_t i) {
  const double a = 1500.0, angle = 2 * 3.14159265358979 * turns;
  s[0][i] = (uint16_t)lround(2000 + a * cos(angle));
  s[1][i] = (uint16_t)lround(2000 + a * sin(angle));
  s[2][i] = (uint16_t)lround(2000 - a * cos(angle));
  s[3][i] = (uint16_t)lround(2000 - a * sin(angle));
}

int main(void) {
  const size_t n = (size_t)kWidth * kHeight;
  uint16_t* planes[8];
  for (int k = 0; k < 8; ++k) planes[k] = malloc(n * sizeof(uint16_t));
  float* depth = malloc(n * sizeof *depth);            /* in wraps of frequency 1 */
  uint16_t* amplitude = malloc(n * sizeof *amplitude); /* rows `width` elements apart */
  for (int k = 0; k < 8; ++k) if (!planes[k]) return 1;
  if (!depth || !amplitude) return 1;

  /* Positions t in [0, 1) of the whole range; frequency 0 is at 3t wraps, frequency 1 at 2t. */
  for (size_t i = 0; i < n; ++i) {
    const double t = 0.02 + 0.96 * (double)i / (double)n;
    phase_steps(kM0 * t, planes, i);
    phase_steps(kM1 * t, planes + 4, i);
  }

  tof_dual_option opt = {0};
  opt.depth_out_use_float = 1;      /* required by the decoder */
  opt.amplitude_out_use_16bit = 1;  /* u16 amplitude */
  opt.m0 = kM0;                     /* wraps of frequency 0 over the range */
  opt.m1 = kM1;                     /* wraps of frequency 1 */
  tof_dual_context* ctx = setup_tof_dual_context(&opt);  /* prints the options */
  if (ctx == NULL) return 1;
  const int32_t rc = itof_dual_dec_float(ctx, kWidth, kHeight, planes[0], planes[1], planes[2], planes[3],
                                         planes[4], planes[5], planes[6], planes[7], NULL, depth, NULL, NULL,
                                         amplitude, kWidth, 1.0f / 6.2831855f, 0.0f, 0.0f);
  destroy_tof_dual_context(ctx);

  size_t right = 0;
  for (size_t i = 0; i < n; ++i) {
    const double t = 0.02 + 0.96 * (double)i / (double)n;
    if (fabs(depth[i] - kM1 * t) < 0.05) ++right;
  }
  printf("rc %d, %zu of %zu pixels within 0.05 wraps, last %.3f wraps of frequency 1\n", rc, right, n,
         depth[n - 1]);
  for (int k = 0; k < 8; ++k) free(planes[k]);
  free(depth), free(amplitude);
  return rc == 0 && right == n ? 0 : 1;
}
