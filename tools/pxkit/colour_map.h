// Turning measurements into pictures for eyes.
#pragma once

#include <cstdint>
#include <vector>

namespace pxcli {

struct Rgb {
  std::uint8_t r, g, b;
};

// Turbo, a perceptual rainbow: t = 0 dark blue, 0.5 green, 1 dark red
// (t clamped to [0, 1]).
Rgb turbo(double t);

// Values mapped linearly from [lo, hi] onto turbo; NaN and infinities are black.
std::vector<std::uint8_t> colourise(const std::vector<float>& values, double lo, double hi);

// Amplitude as 8-bit grey: square-root tone curve (it spans a wide range from
// near to far objects), white at the 99th percentile, so a few specular pixels
// do not darken the rest.
std::vector<std::uint8_t> amplitude_to_grey(const std::vector<std::uint16_t>& amplitude);

}  // namespace pxcli
