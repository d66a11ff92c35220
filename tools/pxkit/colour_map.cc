#include "colour_map.h"

#include <algorithm>
#include <cmath>

namespace pxcli {
namespace {

std::uint8_t to_byte(double v) {
  return static_cast<std::uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0));
}

}  // namespace

Rgb turbo(double t) {
  // Polynomial fit of the Turbo colour map (Google, 2019; Apache-2.0).
  t = std::clamp(t, 0.0, 1.0);
  const double t2 = t * t, t3 = t2 * t, t4 = t3 * t, t5 = t4 * t;
  const double r = 0.13572138 + 4.61539260 * t - 42.66032258 * t2 + 132.13108234 * t3 -
                   152.94239396 * t4 + 59.28637943 * t5;
  const double g = 0.09140261 + 2.19418839 * t + 4.84296658 * t2 - 14.18503333 * t3 +
                   4.27729857 * t4 + 2.82956604 * t5;
  const double b = 0.10667330 + 12.64194608 * t - 60.58204836 * t2 + 110.36276771 * t3 -
                   89.90310912 * t4 + 27.34824973 * t5;
  return {to_byte(r), to_byte(g), to_byte(b)};
}

std::vector<std::uint8_t> colourise(const std::vector<float>& values, double lo, double hi) {
  // A 1024-entry table: the polynomial per pixel is needlessly slow for big frames.
  Rgb table[1024];
  for (int i = 0; i < 1024; ++i) table[i] = turbo(i / 1023.0);
  std::vector<std::uint8_t> rgb(values.size() * 3, 0);
  const double k = 1023.0 / (hi - lo);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double v = values[i];
    if (!std::isfinite(v)) continue;
    const Rgb c = table[std::clamp(std::lround((v - lo) * k), 0L, 1023L)];
    rgb[3 * i] = c.r;
    rgb[3 * i + 1] = c.g;
    rgb[3 * i + 2] = c.b;
  }
  return rgb;
}

std::vector<std::uint8_t> amplitude_to_grey(const std::vector<std::uint16_t>& amplitude) {
  std::vector<std::uint8_t> grey(amplitude.size(), 0);
  if (amplitude.empty()) return grey;
  std::vector<std::uint16_t> sorted(amplitude);
  const std::size_t p99 = sorted.size() * 99 / 100;
  std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(p99), sorted.end());
  const double white = std::max<double>(sorted[p99], 1.0);
  for (std::size_t i = 0; i < amplitude.size(); ++i) grey[i] = to_byte(std::sqrt(amplitude[i] / white));
  return grey;
}

}  // namespace pxcli
