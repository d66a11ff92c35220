// Synthetic ToF frames of the demo room with a known ground truth.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "args.h"

namespace pxcli {

inline constexpr double kSpeedOfLight = 299792458.0;  // m/s
inline constexpr double kPi = 3.14159265358979323846;

// Two modulation frequencies f0 = m0 g and f1 = m1 g with g = c / (2 R): over the
// unambiguous range R frequency 0 wraps m0 times and frequency 1 m1 times.
struct Modulation {
  double range_m = 7.5;
  std::uint32_t m0 = 3;
  std::uint32_t m1 = 2;
  double f0() const { return m0 * kSpeedOfLight / (2 * range_m); }
  double f1() const { return m1 * kSpeedOfLight / (2 * range_m); }
  double wrap0() const { return range_m / m0; }  // c / (2 f0)
  double wrap1() const { return range_m / m1; }
};

struct SceneOptions {
  Size size{640, 480};
  double noise = 1.0;  // shot and read noise scale; 0 gives exact (rounded) samples
  std::uint64_t seed = 1;
};

struct ToFScene {
  Size size;
  std::vector<float> truth_m;  // radial distance of each pixel, metres
  // p0..p3: samples at 0, 90, 180, 270 degrees for frequency 0; p4..p7 for frequency 1.
  std::array<std::vector<std::uint16_t>, 8> planes;
};

// Sample k of a pixel at distance d seen with amplitude A at frequency f is
// ambient + A (1 + cos(a - k pi/2)) with a = 4 pi f d / c, so that
// s0 - s180 = 2A cos a and s90 - s270 = 2A sin a; shot noise (variance equal to
// the sample, in electrons at one per count) and read noise are added, and the
// result is rounded. Every sample stays below 32768, so the planes also serve
// as signed 16-bit images.
ToFScene synthesise_scene(const SceneOptions& options, const Modulation& modulation);

}  // namespace pxcli
