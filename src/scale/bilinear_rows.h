// Row loops of the bilinear rules over destination samples [from, to), in
// ascending order. The scalar reference kernels are made of them; the vector
// kernels use them for row tails and for rows whose source and destination
// memory overlap (where ascending order defines the result).
#pragma once

#include <cstdint>

#include "scale/bilinear_rules.h"
#include "scale/bilinear_tables.h"

namespace pxkit::scale {

inline std::uint16_t lerp(std::uint16_t a, std::uint16_t b, weight_pair w) { return lerp_u16(a, b, w); }
inline float lerp(float a, float b, weight_pair w) { return lerp_f32(a, b, w); }
inline std::uint16_t mean(std::uint16_t a, std::uint16_t b) { return mean_u16(a, b); }
inline float mean(float a, float b) { return mean_f32(a, b); }

// One source row to one destination row through the column tables.
template <class T>
void h_row(const T* in, T* out, const bilinear_scale_tables& t, std::uint32_t from, std::uint32_t to) {
  for (std::uint32_t i = from; i < to; ++i) {
    const std::uint32_t x = t.column_index[i];
    const weight_pair w = t.column_weights[i];
    out[i] = w.w1 == 0 ? in[x] : lerp(in[x], in[x + 1], w);
  }
}

// Two source rows with one pair of row weights (w1 != 0).
template <class T>
void lerp_row(const T* a, const T* b, T* out, weight_pair w, std::uint32_t from, std::uint32_t to) {
  for (std::uint32_t i = from; i < to; ++i) out[i] = lerp(a[i], b[i], w);
}

template <class T>
void mean_row(const T* a, const T* b, T* out, std::uint32_t from, std::uint32_t to) {
  for (std::uint32_t i = from; i < to; ++i) out[i] = mean(a[i], b[i]);
}

template <class T>
void copy_row(const T* a, T* out, std::uint32_t from, std::uint32_t to) {
  for (std::uint32_t i = from; i < to; ++i) out[i] = a[i];
}

// First pass of the two-direction kernels: one source row to Q4 values.
template <class T>
void q4_row(const T* in, std::uint32_t* q4, const bilinear_scale_tables& t, std::uint32_t from,
            std::uint32_t to) {
  for (std::uint32_t i = from; i < to; ++i) {
    const std::uint32_t x = t.column_index[i];
    const weight_pair w = t.column_weights[i];
    q4[i] = horizontal_q4(in[x], w.w1 == 0 ? in[x] : in[x + 1], w);
  }
}

// Second pass: Q4 rows ta (and tb when w1 != 0) to one destination row; the
// value is stored as its low 16 bits (u16) or converted (f32).
template <class T>
void vertical_row(const std::uint32_t* ta, const std::uint32_t* tb, T* out, weight_pair w,
                  std::uint32_t from, std::uint32_t to) {
  if (w.w1 == 0) {
    for (std::uint32_t i = from; i < to; ++i) out[i] = static_cast<T>(vertical_from_q4(ta[i]));
  } else {
    for (std::uint32_t i = from; i < to; ++i) out[i] = static_cast<T>(vertical_from_q4(ta[i], tb[i], w));
  }
}

}  // namespace pxkit::scale
