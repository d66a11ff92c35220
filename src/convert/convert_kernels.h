// Kernel signature and kernel table of the fixed-point <-> float conversions.
// The scalar reference and every vector target provide the same table; setup
// picks one kernel from it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace pxkit::convert {

// Converts `count` elements from `src` to `dst` (count <= 0: nothing).
// fixed2float: src holds fixed-point elements, dst floats, and each element is
// divided by `factor`; float2fixed: the reverse, multiplying by `factor`.
using convert_kernel = void (*)(const void* src, void* dst, std::int32_t count, float factor);

struct convert_kernels {
  convert_kernel s8_to_f32_kernel, s16_to_f32_kernel, s32_to_f32_kernel;
  convert_kernel u8_to_f32_kernel, u16_to_f32_kernel, u32_to_f32_kernel;
  convert_kernel f32_to_s8_kernel, f32_to_s16_kernel, f32_to_s32_kernel;
  convert_kernel f32_to_u8_kernel, f32_to_u16_kernel, f32_to_u32_kernel;
};

// Builds the table from a kernel family K with static member templates
// K::to_float<T> and K::to_fixed<T> over the six element types.
template <class K>
constexpr convert_kernels make_convert_kernels() {
  return {&K::template to_float<std::int8_t>,   &K::template to_float<std::int16_t>,
          &K::template to_float<std::int32_t>,  &K::template to_float<std::uint8_t>,
          &K::template to_float<std::uint16_t>, &K::template to_float<std::uint32_t>,
          &K::template to_fixed<std::int8_t>,   &K::template to_fixed<std::int16_t>,
          &K::template to_fixed<std::int32_t>,  &K::template to_fixed<std::uint8_t>,
          &K::template to_fixed<std::uint16_t>, &K::template to_fixed<std::uint32_t>};
}

// Vector kernel calls that read plus write at least this many bytes (so per
// stripe) use streaming stores: such outputs cannot stay in the caches anyway,
// and streaming saves reading each destination line before writing it.
inline constexpr std::size_t kDefaultStreamBytes = std::size_t{16} << 20;
std::size_t stream_bytes();
// Test seam: sets the streaming threshold (0 streams every call).
void set_stream_bytes(std::size_t bytes);

// The table of the best usable vector target, or the scalar reference.
const convert_kernels& active_convert_kernels();
const convert_kernels& scalar_convert_kernels();

}  // namespace pxkit::convert
