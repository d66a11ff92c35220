// Internals of the colour conversion with nearest-neighbour scaling.
#pragma once

#include <cstdint>

namespace pxkit::scale {

inline constexpr std::uint8_t kColourMagic = 0x5d;  // ']'

// Nearest-neighbour index table: entry i is step x the source index of
// destination index i, from an unsigned 32-bit accumulator starting at
// src_size >> 1 (entry 0 is always 0).
void fill_index_table(std::uint32_t* table, std::uint32_t src_size, std::uint32_t dst_size,
                      std::uint32_t step);

}  // namespace pxkit::scale
