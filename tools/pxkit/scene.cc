#include "scene.h"

#include <algorithm>
#include <cmath>

#include "scene_geometry.h"

namespace pxcli {
namespace {

constexpr double kHalfFovTan = 0.7;   // tan(35 degrees): 70 degrees across the width
constexpr double kIllumination = 23000;  // amplitude of a white, head-on surface at 1 m
constexpr double kMaxAmplitude = 15000;  // the sensor's full well, in amplitude terms
constexpr double kAmbient = 400;
constexpr double kReadNoise = 4;

// Deterministic normal deviates (splitmix64 + Box-Muller), identical on every platform.
class Gaussian {
 public:
  explicit Gaussian(std::uint64_t seed) : state_(seed) {}
  double next() {
    if (has_spare_) {
      has_spare_ = false;
      return spare_;
    }
    const double u1 = (static_cast<double>(bits() >> 11) + 1.0) * 0x1.0p-53;  // (0, 1]
    const double u2 = static_cast<double>(bits() >> 11) * 0x1.0p-53;
    const double r = std::sqrt(-2.0 * std::log(u1));
    spare_ = r * std::sin(2 * kPi * u2);
    has_spare_ = true;
    return r * std::cos(2 * kPi * u2);
  }

 private:
  std::uint64_t bits() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  std::uint64_t state_;
  double spare_ = 0;
  bool has_spare_ = false;
};

std::uint16_t to_sample(double v) {
  return static_cast<std::uint16_t>(std::lround(std::clamp(v, 0.0, 32767.0)));
}

}  // namespace

ToFScene synthesise_scene(const SceneOptions& options, const Modulation& modulation) {
  const Size size = options.size;
  ToFScene scene{size, std::vector<float>(size.pixels()), {}};
  for (auto& plane : scene.planes) plane.resize(size.pixels());
  Gaussian gauss(options.seed);
  const double focal = (size.width / 2.0) / kHalfFovTan;  // pixels
  const double freqs[2] = {modulation.f0(), modulation.f1()};

  for (std::uint32_t v = 0; v < size.height; ++v) {
    for (std::uint32_t u = 0; u < size.width; ++u) {
      const double x = (u + 0.5 - size.width / 2.0) / focal;
      const double y = (size.height / 2.0 - (v + 0.5)) / focal;
      const double norm = std::sqrt(x * x + y * y + 1.0);
      const Hit hit = trace_room(x / norm, y / norm, 1.0 / norm);
      const std::size_t i = std::size_t{v} * size.width + u;
      scene.truth_m[i] = static_cast<float>(hit.distance);
      const double amplitude = std::min(
          kIllumination * hit.albedo * hit.cosine / (hit.distance * hit.distance), kMaxAmplitude);
      for (int f = 0; f < 2; ++f) {
        const double angle = 4 * kPi * freqs[f] * hit.distance / kSpeedOfLight;
        for (int k = 0; k < 4; ++k) {
          const double mean = kAmbient + amplitude * (1 + std::cos(angle - k * kPi / 2));
          const double sigma = std::sqrt(mean + kReadNoise * kReadNoise);
          scene.planes[4 * f + k][i] = to_sample(mean + options.noise * sigma * gauss.next());
        }
      }
    }
  }
  return scene;
}

}  // namespace pxcli
