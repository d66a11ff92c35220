/* Data-code crop: a bar code of 25 modules, printed across a 1920x1080 picture,
 * is cut out upright at 200x200 through a known affine map (scale 2.5,
 * sheared), once on this thread and once pooled. The bars run the full height
 * because the pooled crop reads every sample from the first row. Build:
 * cc perspective_crop.c $(pkg-config --cflags --libs pxkit). Exits 0 when both
 * crops read every module right at its centre column, in every row. */
#include <pxkit.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kCode = 0x1B5A3C7 };  /* 25 modules, bit m = module m is dark */

static int modules_read(const uint8_t* upright) {  /* rows x modules read right */
  int right = 0;
  for (int j = 0; j < 200; ++j)
    for (int m = 0; m < 25; ++m) right += (upright[j * 200 + 8 * m + 4] < 128) == ((kCode >> m) & 1);
  return right;
}

int main(void) {
  uint8_t* picture = malloc(1920 * 1080), *upright = malloc(200 * 200);
  if (!picture || !upright) return 1;
  for (int x = 0; x < 1920; ++x) {  /* output column i = (x - 400) / 2.5 - 1 is module i / 8 */
    const double i = (x - 400) / 2.5 - 1;
    const int m = i >= 0 && i < 200 ? (int)i / 8 : -1;
    const uint8_t value = m < 0 ? 128 : (kCode >> m) & 1 ? 30 : 220;
    for (int y = 0; y < 1080; ++y) picture[y * 1920 + x] = value;
  }

  datacode_image src = {1920, 1080, 1920, picture};   /* width, height, stride (bytes), data */
  datacode_image dst = {200, 200, 200, upright};
  float h[9] = {2.5f, 0, 400, 0.4f, 2.5f, 200, 0, 0, 1};  /* row-major, see below */
  int32_t rc = datacode_bili_inter_crop_u8(&src, &dst, h, 0, 0);  /* one call on this thread */
  const int single = modules_read(upright);
  memset(upright, 128, 200 * 200);                     /* neither dark nor light */

  void* ctx = create_datacode_bili_inter_crop_ctx(4, &src, &dst, h, 0, 0);  /* pooled, fixed frame */
  if (ctx == NULL) return 1;
  rc |= datacode_bili_inter_crop_parallel_u8(ctx);     /* per frame: min(threads, 8) stripes */
  destroy_datacode_bili_inter_crop_ctx(ctx);
  const int pooled = modules_read(upright);

  printf("rc %d, modules read right: single call %d/5000, pooled %d/5000\n", rc, single, pooled);
  free(picture), free(upright);
  return rc == 0 && single == 5000 && pooled == 5000 ? 0 : 1;
}
