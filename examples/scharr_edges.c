/* Scharr analysis: sparse gradients of a grey image with one vertical edge, and
 * edge suppression of a depth map (u16 millimetres, f32 metres) with one step.
 * Build: cc scharr_edges.c $(pkg-config --cflags --libs pxkit). Exits 0 when
 * the gradient is found on the edge's grid column only, and suppression
 * removes exactly the two columns beside the step (and the one-pixel frame). */
#include <pxkit.h>

#include <stdio.h>
#include <stdlib.h>

enum { kEdge = 641, kStep = 320 };  /* first bright column; first far column */

int main(void) {
  uint8_t* table = malloc(512 * 512), *image = malloc(1280 * 720);
  uint8_t* magnitude = malloc(320 * 180), *code = malloc(320 * 180);
  uint16_t* depth = malloc(640 * 480 * 2), *cleaned = malloc(640 * 480 * 2);
  float* depth_m = malloc(640 * 480 * 4), *cleaned_m = malloc(640 * 480 * 4);
  if (!table || !image || !magnitude || !code || !depth || !cleaned || !depth_m || !cleaned_m) return 1;
  for (int gy = -256; gy < 256; ++gy)  /* code 1: mostly across (a vertical edge), 2: along */
    for (int gx = -256; gx < 256; ++gx)
      table[(gy + 256) * 512 + gx + 256] = (uint8_t)(gx || gy ? 1 + (abs(gy) > abs(gx)) : 0);
  for (int i = 0; i < 1280 * 720; ++i) image[i] = i % 1280 < kEdge ? 50 : 150;
  for (int i = 0; i < 640 * 480; ++i) depth[i] = i % 640 < kStep ? 1000 : 3000;
  for (int i = 0; i < 640 * 480; ++i) depth_m[i] = depth[i] / 1000.0f;

  sparse_scharr_ctx g;
  if (init_sparse_scharr_ctx(&g, 1280, 720, 4) != 0) return 1;  /* 0, -1 "bad params", -2 "no memory" */
  do_sparse_scharr(&g, table, image, magnitude, code);  /* outputs: grid rows x g.sparse_width bytes */
  deinit_sparse_scharr_ctx(&g);

  void* s1 = init_sparse_scharr_s1_ctx(2, 640, 480);   /* 2 workers, 2 stripes; 0 or 1: caller's thread */
  if (s1 == NULL) return 1;
  do_sparse_scharr_s1(s1, depth, cleaned, SPARSE_SCHARR_S1_U16, 400.0f);
  do_sparse_scharr_s1_v2(s1, depth_m, cleaned_m, 1, SPARSE_SCHARR_S1_F32, 1.2f, 0.0f); /* relative */
  deinit_sparse_scharr_s1_ctx(s1);                      /* frees the context, NOT the workers */

  /* Grid column 160 (image column 640) straddles the edge; grid rows: 720 / 4 = 180. */
  int found = 0, stray = 0, kept = 0, removed = 0;
  for (int i = 0; i < 180 * 320; ++i) {
    if (i % 320 == kEdge / 4) found += magnitude[i] > 0 && code[i] == 1;
    else stray += magnitude[i] != 0;
  }
  for (int i = 0; i < 640 * 480; ++i) {
    const int c = i % 640, r = i / 640, frame = c == 0 || c == 639 || r == 0 || r == 479;
    const int cut = frame || c == kStep - 1 || c == kStep;  /* the step lies in its 3 x 3 window */
    kept += !cut && cleaned[i] == depth[i] && cleaned_m[i] == depth_m[i];
    removed += cut && cleaned[i] == 0 && cleaned_m[i] == 0.0f;
  }
  printf("edge found on %d of 180 grid rows (%d stray), depth: %d kept, %d removed\n", found, stray,
         kept, removed);
  free(table), free(image), free(magnitude), free(code);
  free(depth), free(cleaned), free(depth_m), free(cleaned_m);
  return found == 180 && stray == 0 && kept + removed == 640 * 480 ? 0 : 1;
}
