/* Single-frequency ToF: four phase images of a tilted wall become depth in
 * metres and an amplitude image. Build: cc tof_depth.c $(pkg-config --cflags
 * --libs pxkit) -lm. Exits 0 when every pixel is within 1 mm of the truth. */
#include <pxkit.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { kWidth = 64, kHeight = 48 };

int main(void) {
  const double pi = 3.14159265358979;
  const double freq = 60e6;                           /* modulation frequency, Hz */
  const float metres_per_radian = (float)(299792458.0 / (4 * pi * freq));
  const size_t n = (size_t)kWidth * kHeight;
  int16_t* p0 = malloc(n * sizeof *p0);
  int16_t* p90 = malloc(n * sizeof *p90);
  int16_t* p180 = malloc(n * sizeof *p180);
  int16_t* p270 = malloc(n * sizeof *p270);
  float* truth = malloc(n * sizeof *truth);
  float* depth = malloc(n * sizeof *depth);           /* width x height f32 */
  uint16_t* amplitude = malloc(n * sizeof *amplitude); /* u16: amplitude_out_use_16bit */
  if (!p0 || !p90 || !p180 || !p270 || !truth || !depth || !amplitude) return 1;

  /* A wall from 0.4 m (left) to 2.2 m (right): phase = depth / metres_per_radian. */
  for (size_t i = 0; i < n; ++i) {
    const double d = 0.4 + 1.8 * (double)(i % kWidth) / (kWidth - 1);
    const double phase = d / metres_per_radian, a = 3000.0;
    truth[i] = (float)d;
    p0[i] = (int16_t)lround(a * cos(phase));
    p180[i] = (int16_t)lround(-a * cos(phase));
    p90[i] = (int16_t)lround(a * sin(phase));
    p270[i] = (int16_t)lround(-a * sin(phase));
  }

  tof_option opt = {0};
  opt.depth_out_use_float = 1;                 /* f32 depth: the _float calls */
  opt.amplitude_out_use_16bit = 1;             /* u16 amplitude */
  tof_context* ctx = setup_tof_context(&opt);  /* prints the options; 4 workers */
  if (ctx == NULL) return 1;
  const int32_t rc = cal_tof_depth_amplitude_float(ctx, kWidth, kHeight, p0, p90, p180, p270, depth,
                                                   amplitude, metres_per_radian);
  destroy_tof_context(ctx);

  double worst = 0;
  for (size_t i = 0; i < n; ++i) worst = fmax(worst, fabs(depth[i] - truth[i]));
  printf("rc %d, depth at the left %.4f m, right %.4f m, worst error %.2f mm, amplitude %u\n", rc, depth[0],
         depth[kWidth - 1], worst * 1e3, amplitude[0]);
  free(p0), free(p90), free(p180), free(p270), free(truth), free(depth), free(amplitude);
  return rc == 0 && worst < 1e-3 ? 0 : 1;
}
