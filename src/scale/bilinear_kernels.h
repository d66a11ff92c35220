// The eight bilinear line kernels (u16 and f32 x horizontal, vertical,
// vertical 2x, both directions). The scalar reference and every vector target
// provide the same table; creation picks one kernel from it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "scale/common_scale_context.h"

namespace pxkit::scale {

struct bilinear_kernels {
  scale_kernel h_u16, v_u16, v2x_u16, hv_u16;
  scale_kernel h_f32, v_f32, v2x_f32, hv_f32;
};

// Builds the table from a family K with static member templates K::h<T>,
// K::v<T>, K::v2x<T> and K::hv<T> over std::uint16_t and float.
template <class K>
constexpr bilinear_kernels make_bilinear_kernels() {
  return {&K::template h<std::uint16_t>, &K::template v<std::uint16_t>,
          &K::template v2x<std::uint16_t>, &K::template hv<std::uint16_t>,
          &K::template h<float>, &K::template v<float>,
          &K::template v2x<float>, &K::template hv<float>};
}

const bilinear_kernels& scalar_bilinear_kernels();
// The table of the best usable vector target, or the scalar reference.
const bilinear_kernels& active_bilinear_kernels();

// Row r of an image at `base` with rows `stride` bytes apart (64-bit offsets).
template <class T>
inline T* row_at(void* base, std::uint32_t stride, std::uint32_t r) {
  return reinterpret_cast<T*>(static_cast<unsigned char*>(base) + std::size_t{stride} * r);
}
template <class T>
inline const T* row_at(const void* base, std::uint32_t stride, std::uint32_t r) {
  return reinterpret_cast<const T*>(static_cast<const unsigned char*>(base) + std::size_t{stride} * r);
}

// Whether the byte ranges [a, a + a_bytes) and [b, b + b_bytes) share a byte.
inline bool overlaps(const void* a, std::size_t a_bytes, const void* b, std::size_t b_bytes) {
  const auto x = reinterpret_cast<std::uintptr_t>(a);
  const auto y = reinterpret_cast<std::uintptr_t>(b);
  return x < y + b_bytes && y < x + a_bytes;
}

}  // namespace pxkit::scale
