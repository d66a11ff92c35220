// datacode_bili_inter_crop_u8: the perspective crop in one call on the
// calling thread, through the source's own stride.
#include <cstdint>

#include "analysis/crop_context.h"
#include "common/diag.h"
#include "pxkit.h"

extern "C" PXKIT_API int32_t datacode_bili_inter_crop_u8(const datacode_image* src,
                                                         const datacode_image* dst,
                                                         const float* matrix, uint32_t x_offset,
                                                         uint32_t y_offset) {
  namespace pa = pxkit::analysis;
  // A null record, matrix or image pointer has nothing to read or write.
  if (src == nullptr || dst == nullptr || matrix == nullptr ||
      (dst->width != 0 && dst->height != 0 && (dst->data == nullptr || src->data == nullptr))) {
    pxkit::diag::line("[error]: params not valid");
    return -1;
  }
  const pa::CropFrame frame{src->data, src->width,  src->height,      src->stride,
                            dst->data, dst->width,  dst->height,      dst->stride,
                            pa::to_q19(matrix),     x_offset,         y_offset};
  pa::active_crop_kernels().single(frame);
  return 0;
}
