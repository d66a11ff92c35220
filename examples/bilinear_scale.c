/* Bilinear scaling of a 16-bit depth image: a 640x480 map of a tilted plane in
 * millimetres (a ramp in both directions) is scaled to 1280x960. Build:
 * cc bilinear_scale.c $(pkg-config --cflags --libs pxkit). Exits 0 when the
 * result is the same plane (within 1 mm) sampled at each destination pixel's
 * source position. */
#include <pxkit.h>

#include <stdio.h>
#include <stdlib.h>

static double plane(double x, double y) { return 1000 + 4 * x + 8 * y; }  /* millimetres */

int main(void) {
  uint16_t* depth_mm = malloc(640 * 480 * sizeof *depth_mm);
  uint16_t* depth_mm_1280x960 = malloc(1280 * 960 * sizeof *depth_mm_1280x960);
  if (!depth_mm || !depth_mm_1280x960) return 1;
  for (int i = 0; i < 640 * 480; ++i) depth_mm[i] = (uint16_t)plane(i % 640, i / 640);

  void* ctx = create_common_img_scale_ctx(640, 640 * 2, 480,      /* source: width, stride (bytes), height */
                                          1280, 1280 * 2, 960,    /* destination */
                                          PXKIT_SCALE_METHOD_BILINEAR, PXKIT_SCALE_DATA_U16);
  if (ctx == NULL) return 1;
  const int32_t rc = common_img_scale(ctx, depth_mm, depth_mm_1280x960);  /* per frame, caller's thread */
  destroy_common_img_scale_ctx(ctx);

  /* Destination pixel (i, j) samples the source at (i / 2, j / 2); positions past the last
   * column or row stay on it. */
  int right = 0;
  for (int j = 0; j < 960; ++j)
    for (int i = 0; i < 1280; ++i) {
      const double want = plane(i < 1278 ? i / 2.0 : 639, j < 958 ? j / 2.0 : 479);
      const double got = depth_mm_1280x960[j * 1280 + i];
      right += got >= want - 1 && got <= want + 1;
    }
  printf("rc %d, %d of %d pixels on the plane, corner %u mm -> %u mm\n", rc, right, 1280 * 960,
         depth_mm[640 * 480 - 1], depth_mm_1280x960[1280 * 960 - 1]);
  free(depth_mm), free(depth_mm_1280x960);
  return rc == 0 && right == 1280 * 960 ? 0 : 1;
}
