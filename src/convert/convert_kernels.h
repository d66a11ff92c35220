// The twelve conversion stripe kernels (six element types, two directions) in
// one table per target: the scalar reference and every vector target provide
// the same table; setup picks one kernel from it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/stripes.h"
#include "convert/convert_context.h"

namespace pxkit::convert {

inline constexpr std::size_t kConvertKernelCount = 12;
using ConvertKernelTable = stripes::KernelTable<kConvertKernelCount>;

// Position in the table: fixed2float kernels first, then float2fixed, each as
// s8, s16, s32, u8, u16, u32. -1 for an unsupported width.
constexpr int convert_kernel_index(bool to_float, bool is_signed, unsigned fixed_bits) {
  const int width = fixed_bits == 8 ? 0 : fixed_bits == 16 ? 1 : fixed_bits == 32 ? 2 : -1;
  if (width < 0) return -1;
  return (to_float ? 0 : 6) + (is_signed ? 0 : 3) + width;
}

// An element loop: converts `count` elements from `src` to `dst` (count <= 0:
// nothing). fixed2float divides each element by `factor`; float2fixed
// multiplies by it and truncates.
using element_loop = void (*)(const void* src, void* dst, std::int32_t count, float factor);

// The stripe kernel that runs Loop over its block.
template <element_loop Loop>
std::int32_t convert_stripe(std::uint64_t arg0, std::uint64_t /*arg1*/) {
  const fixed_float_stripe& s = stripes::block_of<fixed_float_stripe>(arg0);
  Loop(s.src, s.dst, s.count, s.factor);
  return 0;
}

// The table of a loop family K with static member templates K::to_float<T>
// and K::to_fixed<T> over the six element types.
template <class K>
constexpr ConvertKernelTable make_convert_kernels() {
  return {&convert_stripe<&K::template to_float<std::int8_t>>,
          &convert_stripe<&K::template to_float<std::int16_t>>,
          &convert_stripe<&K::template to_float<std::int32_t>>,
          &convert_stripe<&K::template to_float<std::uint8_t>>,
          &convert_stripe<&K::template to_float<std::uint16_t>>,
          &convert_stripe<&K::template to_float<std::uint32_t>>,
          &convert_stripe<&K::template to_fixed<std::int8_t>>,
          &convert_stripe<&K::template to_fixed<std::int16_t>>,
          &convert_stripe<&K::template to_fixed<std::int32_t>>,
          &convert_stripe<&K::template to_fixed<std::uint8_t>>,
          &convert_stripe<&K::template to_fixed<std::uint16_t>>,
          &convert_stripe<&K::template to_fixed<std::uint32_t>>};
}

// Vector kernel calls that read plus write at least this many bytes (so per
// stripe) use streaming stores: such outputs cannot stay in the caches anyway,
// and streaming saves reading each destination line before writing it.
inline constexpr std::size_t kDefaultStreamBytes = std::size_t{16} << 20;
std::size_t stream_bytes();
// Test seam: sets the streaming threshold (0 streams every call).
void set_stream_bytes(std::size_t bytes);

// The table of the best usable vector target, or the scalar reference.
const ConvertKernelTable& active_convert_kernels();
const ConvertKernelTable& scalar_convert_kernels();

}  // namespace pxkit::convert
