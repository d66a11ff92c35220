// Scalar reference row kernels: the per-sample rules applied one by one.
#include <cstdint>

#include "scale/yuv_kernels.h"
#include "scale/yuv_sample_rules.h"

namespace pxkit::scale {
namespace {

void h_luma(const std::uint8_t* src, const yuv_bilinear_tables& t, std::uint16_t* dst) {
  for (std::uint32_t i = 0; i < t.dst_width; ++i) {
    dst[i] = bilinear_h_sample(src + t.column_index[i], t.column_weights[2 * i],
                               t.column_weights[2 * i + 1], 1);
  }
}

void h_chroma(const std::uint8_t* src, const yuv_bilinear_tables& t, std::uint16_t* dst0,
              std::uint16_t* dst1) {
  for (std::uint32_t i = 0; i < t.dst_width; ++i) {
    const std::uint8_t* pair = src + std::size_t{t.column_index[i]} * 2;
    const std::uint32_t w0 = t.column_weights[2 * i], w1 = t.column_weights[2 * i + 1];
    dst0[i] = bilinear_h_sample(pair, w0, w1, 2);
    dst1[i] = bilinear_h_sample(pair + 1, w0, w1, 2);
  }
}

void v_blend(const std::uint16_t* a, const std::uint16_t* b, std::uint32_t w0, std::uint32_t w1,
             std::uint8_t* dst, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) dst[i] = bilinear_v_sample(a[i], b[i], w0, w1);
}

void v_single(const std::uint16_t* a, std::uint8_t* dst, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) dst[i] = bilinear_v_single(a[i]);
}

void area_h_luma(const std::uint8_t* src, const area_scale_tables& t, float* h) {
  for (std::uint32_t i = 0; i < t.dst_width; ++i) h[i] = area_h_sum(src, t.column_spans[i], 1);
}

void area_h_chroma(const std::uint8_t* src, const area_scale_tables& t, float* h0, float* h1) {
  for (std::uint32_t i = 0; i < t.dst_width; ++i) {
    h0[i] = area_h_sum(src, t.column_spans[i], 2);
    h1[i] = area_h_sum(src + 1, t.column_spans[i], 2);
  }
}

void area_first(const float* h, float w, float* acc, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) acc[i] = w * h[i];
}

void area_middle(const float* h, float* acc, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) acc[i] = acc[i] + h[i];
}

void area_last(const float* acc, const float* h, float w, float factor, std::uint8_t* dst,
               std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) dst[i] = area_result(acc[i] + w * h[i], factor);
}

void area_single(const float* h, float factor, std::uint8_t* dst, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) dst[i] = area_result(h[i], factor);
}

constexpr yuv_kernels kScalar = {h_luma,     h_chroma,    v_blend,     v_single,
                                 area_h_luma, area_h_chroma, area_first, area_middle,
                                 area_last,  area_single};

}  // namespace

const yuv_kernels& scalar_yuv_kernels() { return kScalar; }

}  // namespace pxkit::scale
