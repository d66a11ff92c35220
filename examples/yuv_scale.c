/* NV12 -> I420 with scaling: a 1920x1080 NV12 frame (luma ramp across, one
 * constant colour) becomes a 1280x720 I420 frame by bilinear interpolation.
 * Build: cc yuv_scale.c $(pkg-config --cflags --libs pxkit). Exits 0 when the
 * luma is still the ramp (within one level) and both chroma planes keep their
 * constant value. */
#include <pxkit.h>

#include <stdio.h>
#include <stdlib.h>

int main(void) {
  const uint32_t y_stride = 1920, uv_stride = 1920;   /* NV12: chroma rows hold U, V pairs */
  uint8_t* y = malloc((size_t)y_stride * 1080);
  uint8_t* uv = malloc((size_t)uv_stride * 540);
  uint8_t* oy = malloc(1280 * 720);
  uint8_t* ou = malloc(640 * 360);
  uint8_t* ov = malloc(640 * 360);
  if (!y || !uv || !oy || !ou || !ov) return 1;
  for (uint32_t r = 0; r < 1080; ++r)
    for (uint32_t c = 0; c < 1920; ++c) y[r * y_stride + c] = (uint8_t)(c / 8);  /* 0 .. 239 */
  for (uint32_t i = 0; i < uv_stride * 540; i += 2) uv[i] = 90, uv[i + 1] = 200;  /* U, V */

  void* ctx = create_img_scale_ctx(1920, 1080, 1280, 720, PXKIT_FORMAT_YUV420SP,
                                   PXKIT_FORMAT_YUV420P, PXKIT_SCALE_BILINEAR, 0);
  if (ctx == NULL) return 1;
  img_planes src = {{y, uv}, {y_stride, uv_stride}};
  img_planes dst = {{oy, ou, ov}, {1280, 640, 640}};
  const int32_t rc = img_scale(ctx, &src, &dst);      /* 0; -1 null pointer, -2 bad context, -3 no driver */
  destroy_img_scale_ctx(ctx);

  /* Destination column i samples source column 1.5 i, where the ramp is 1.5 i / 8. */
  int ramp = 1, flat = 1;
  for (int r = 0; r < 720; ++r)
    for (int i = 0; i < 1280; ++i) {
      const double want = 1.5 * i / 8;
      if (oy[r * 1280 + i] < want - 1 || oy[r * 1280 + i] > want + 1) ramp = 0;
    }
  for (int i = 0; i < 640 * 360; ++i) flat &= ou[i] == 90 && ov[i] == 200;
  printf("rc %d, luma ramp %s, chroma %s, last luma %d\n", rc, ramp ? "kept" : "broken",
         flat ? "constant" : "changed", oy[1280 * 720 - 1]);
  free(y), free(uv), free(oy), free(ou), free(ov);
  return rc == 0 && ramp && flat ? 0 : 1;
}
