/* Colour to grey with scaling, then a bicubic rotation: a 1920x1080 RGB24
 * picture of a grey disk becomes 960x540 grey (nearest neighbour), which is
 * rotated by 30 degrees about the disk's centre one output row per call.
 * Build: cc grey_rotate.c $(pkg-config --cflags --libs pxkit). Exits 0 when
 * the grey frame is the disk drawn at 960x540 and the rotated disk is still
 * there (within one level away from its rim). */
#include <pxkit.h>

#include <stdio.h>
#include <stdlib.h>

static int disk(int x, int y) {  /* the picture at 960x540: 180 inside radius 200, 40 outside */
  return (x - 480) * (x - 480) + (y - 270) * (y - 270) < 200 * 200 ? 180 : 40;
}

int main(void) {
  uint8_t* rgb = malloc(1920 * 1080 * 3), *grey = malloc(960 * 540), *rotated = malloc(960 * 540);
  if (!rgb || !grey || !rotated) return 1;
  for (int i = 0; i < 1920 * 1080 * 3; ++i) rgb[i] = (uint8_t)disk(i / 3 % 1920 / 2, i / 3 / 1920 / 2);

  scale_color_conversion_ctx ctx = {0};              /* yours; zero it before the first setup */
  int rc = setup_scale_color_conversion(&ctx, 1920, 1080, 960, 540, PXKIT_FORMAT_RGB24, PXKIT_FORMAT_GREY);
  img_planes in = {{rgb}, {1920 * 3}}, out = {{grey}, {960}};
  rc |= do_scale_color_conversion(&ctx, &in, &out);  /* any number of frames, any thread */
  destroy_scale_color_conversion(&ctx);              /* frees the tables, zero-fills ctx */

  /* Output (k, j) samples the source at the centre plus (k - 480, j - 270) rotated by 30 degrees. */
  const float cos_t = 0.8660254f, sin_t = 0.5f;
  float x0[540], y0[540];
  for (int j = 0; j < 540; ++j) {
    x0[j] = 480 - cos_t * 480 - sin_t * (float)(j - 270);
    y0[j] = 270 - sin_t * 480 + cos_t * (float)(j - 270);
  }
  for (int j = 0; j < 540; ++j)                      /* one rotated output row per call */
    scanline_bicubic_f32(grey, rotated + j * 960, 960, 540, 960, -1, x0[j], y0[j], cos_t, sin_t);

  int same = 0, wrong = 0;
  for (int i = 0; i < 960 * 540; ++i) {
    const int x = i % 960, y = i / 960, d2 = (x - 480) * (x - 480) + (y - 270) * (y - 270);
    same += grey[i] == disk(x, y);
    if (d2 < 195 * 195 || (d2 > 205 * 205 && d2 < 250 * 250))  /* 2 pixels (the kernel) off the rim */
      wrong += abs(rotated[i] - disk(x, y)) > 1;
  }
  printf("rc %d, %d of %d grey pixels on the disk picture, %d rotated pixels wrong\n", rc, same,
         960 * 540, wrong);
  free(rgb), free(grey), free(rotated);
  return rc == 0 && same == 960 * 540 && wrong == 0 ? 0 : 1;
}
