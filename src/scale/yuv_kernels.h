// Row kernels of the 8-bit YUV scalers. The scalar reference and every vector
// target provide the same table; a context keeps the one chosen at creation.
#pragma once

#include <cstdint>

#include "scale/area_tables.h"
#include "scale/yuv_tables.h"

namespace pxkit::scale {

struct yuv_kernels {
  // Bilinear horizontal pass of one source row into dst_width Q7 values.
  void (*h_luma)(const std::uint8_t* src, const yuv_bilinear_tables& t, std::uint16_t* dst);
  // The same on a row of interleaved chroma pairs, into two channel rows.
  void (*h_chroma)(const std::uint8_t* src, const yuv_bilinear_tables& t, std::uint16_t* dst0,
                   std::uint16_t* dst1);
  // Vertical pass of `count` samples from intermediate rows a and b.
  void (*v_blend)(const std::uint16_t* a, const std::uint16_t* b, std::uint32_t w0,
                  std::uint32_t w1, std::uint8_t* dst, std::uint32_t count);
  // Vertical pass of a row whose second weight is 0.
  void (*v_single)(const std::uint16_t* a, std::uint8_t* dst, std::uint32_t count);

  // Area: horizontal sums of one source row (luma, or both chroma channels).
  void (*area_h_luma)(const std::uint8_t* src, const area_scale_tables& t, float* h);
  void (*area_h_chroma)(const std::uint8_t* src, const area_scale_tables& t, float* h0,
                        float* h1);
  // Area row combination: acc = w x h; acc = acc + h; dst = trunc((acc + w x h)
  // x factor); dst = trunc(h x factor) for a one-row span.
  void (*area_first)(const float* h, float w, float* acc, std::uint32_t count);
  void (*area_middle)(const float* h, float* acc, std::uint32_t count);
  void (*area_last)(const float* acc, const float* h, float w, float factor, std::uint8_t* dst,
                    std::uint32_t count);
  void (*area_single)(const float* h, float factor, std::uint8_t* dst, std::uint32_t count);
};

const yuv_kernels& scalar_yuv_kernels();
// The table of the best usable vector target, or the scalar reference.
const yuv_kernels& active_yuv_kernels();

}  // namespace pxkit::scale
