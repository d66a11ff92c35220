// Rotation of a grey picture about its centre with the bicubic scanline
// sampler: one library call per output row.
#pragma once

#include <cstdint>
#include <vector>

#include "args.h"

namespace pxcli {

// Rotates `grey` (size, rows packed) by `degrees` counter-clockwise as seen on
// screen; corners that come from outside the picture are black. `a` is the
// cubic parameter.
std::vector<std::uint8_t> rotate_grey(const std::vector<std::uint8_t>& grey, Size size, double degrees,
                                      std::int32_t a);

}  // namespace pxcli
