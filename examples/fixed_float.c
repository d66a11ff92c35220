/* Fixed-point <-> float conversion of whole arrays: Q8.8 samples to floats and
 * back. Build: cc fixed_float.c $(pkg-config --cflags --libs pxkit). Exits 0
 * when the round trip gives every sample back. */
#include <pxkit.h>

#include <stdio.h>
#include <stdlib.h>

enum { kCount = 100000 };

int main(void) {
  int16_t* samples = malloc(kCount * sizeof *samples);
  int16_t* back = malloc(kCount * sizeof *back);
  float* floats = malloc(kCount * sizeof *floats);
  if (!samples || !back || !floats) return 1;
  for (int i = 0; i < kCount; ++i) samples[i] = (int16_t)(i * 7 - 32768);

  fixed_float_option q8 = {1, 16, 8};                       /* signed 16-bit, 8 fraction bits */
  fixed_float_context* to_f = setup_fixed2float_context(&q8);
  fixed_float_context* to_q = setup_float2fixed_context(&q8);
  if (to_f == NULL || to_q == NULL) return 1;
  int32_t rc = fixed2float(to_f, kCount, samples, floats);  /* floats[i] = samples[i] / 256 */
  rc |= float2fixed(to_q, kCount, floats, back);            /* back[i] = trunc(floats[i] * 256) */
  destroy_fixed2float_context(to_f);                        /* one destroy for both directions */
  destroy_fixed2float_context(to_q);

  int same = 0;
  for (int i = 0; i < kCount; ++i) same += back[i] == samples[i];
  printf("rc %d, %d of %d samples back, samples[1] = %d -> %g\n", rc, same, kCount, samples[1], floats[1]);
  free(samples), free(back), free(floats);
  return rc == 0 && same == kCount ? 0 : 1;
}
