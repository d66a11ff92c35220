// Frames, options and calls shared by the dual-frequency ToF tests.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "pxkit.h"
#include "support/test_support.h"

namespace dualtest {

inline tof_dual_option make_option(bool interleave, bool amplitude_u16, unsigned right_shift,
                                   unsigned cut, int m0, int m1) {
  tof_dual_option o;
  std::memset(&o, 0, sizeof o);
  o.enable_substract_interleave = interleave;
  o.depth_out_use_float = 1;
  o.amplitude_out_use_16bit = amplitude_u16;
  o.right_shift_bits = right_shift & 15u;
  o.cut_higher_amplitude_bits = cut & 15u;
  o.m0 = m0;
  o.m1 = m1;
  return o;
}

// Setup with its option report kept out of the test log.
using Context = pxtest::Owned<tof_dual_context, destroy_tof_dual_context>;
inline Context setup(const tof_dual_option& o) {
  return pxtest::quiet_setup<setup_tof_dual_context, destroy_tof_dual_context>(o);
}

// Eight sample planes of width x height pixels (two samples a pixel when interleaved).
struct Frame {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool interleave = false;
  std::vector<std::uint16_t> planes[8];

  std::size_t pixels() const { return std::size_t{width} * height; }
  std::size_t samples() const { return pixels() * (interleave ? 2 : 1); }
};

inline Frame random_frame(std::uint32_t width, std::uint32_t height, bool interleave, long lo,
                          long hi) {
  Frame f{width, height, interleave, {}};
  for (auto& p : f.planes) p = pxtest::random_ints<std::uint16_t>(f.samples(), lo, hi);
  return f;
}

// Every pixel gets the same terms x0, y0, x1, y1 (each in [-30000, 30000]).
inline Frame uniform_frame(std::uint32_t width, std::uint32_t height, bool interleave, int x0,
                           int y0, int x1, int y1) {
  Frame f{width, height, interleave, {}};
  const int terms[4] = {x0, y0, x1, y1};
  for (int p = 0; p < 8; ++p) {
    // Plane pairs (0, 2), (1, 3), (4, 6), (5, 7) differ by the term.
    const int term = terms[(p / 4) * 2 + (p % 2)];
    const int value = (p % 4) < 2 ? 30000 + term : 30000;
    std::vector<std::uint16_t>& plane = f.planes[p];
    for (std::size_t i = 0; i < f.pixels(); ++i) {
      if (interleave) {  // even - odd = value - 5000 + 5000 ambient
        plane.push_back(static_cast<std::uint16_t>(value + 5000));
        plane.push_back(5000);
      } else {
        plane.push_back(static_cast<std::uint16_t>(value));
      }
    }
  }
  return f;
}

// A target at distance[i] (in units of the unambiguous range, 0 <= D < 1) seen
// at two frequencies that wrap m0 and m1 times over that range: plane k of a
// frequency with phase angle a holds B + A cos(a - k pi/2).
inline Frame physical_frame(std::uint32_t width, std::uint32_t height, bool interleave, int m0,
                            int m1, const std::vector<double>& distance, double a0, double a1) {
  constexpr double kBackground = 30000.0, kAmbient = 1200.0;
  Frame f{width, height, interleave, {}};
  for (std::size_t i = 0; i < f.pixels(); ++i) {
    const double d = distance[i];
    const double angle[2] = {2 * M_PI * (d * m0 - std::floor(d * m0)),
                             2 * M_PI * (d * m1 - std::floor(d * m1))};
    const double amplitude[2] = {a0, a1};
    for (int p = 0; p < 8; ++p) {
      const int freq = p / 4, step = p % 4;
      const double v = kBackground + amplitude[freq] * std::cos(angle[freq] - step * M_PI / 2);
      if (interleave) {  // the odd sample is ambient light that the even one also holds
        f.planes[p].push_back(static_cast<std::uint16_t>(std::lround(v + kAmbient)));
        f.planes[p].push_back(static_cast<std::uint16_t>(kAmbient));
      } else {
        f.planes[p].push_back(static_cast<std::uint16_t>(std::lround(v)));
      }
    }
  }
  return f;
}

// Outputs of one call, pre-filled with sentinels so that unwritten elements show.
struct Output {
  std::int32_t status = 0;
  std::vector<float> depth;
  std::vector<std::uint16_t> amplitude16;  // used when the option asks for u16
  std::vector<std::uint8_t> amplitude8;
};

struct CallArgs {
  bool amplitude_u16 = false;
  bool with_amplitude = true;
  std::uint32_t pitch = 0;  // 0: the frame width (run mode)
  float scale = 0.15915494f;
  float offset_0 = 0.0f;
  float offset_1 = 0.0f;
  float* distance_0 = nullptr;
  float* distance_1 = nullptr;
};

inline constexpr float kDepthSentinel = -777.0f;
inline constexpr std::uint16_t kAmplitudeSentinel = 0xA5A5;

inline Output decode(tof_dual_context* ctx, const Frame& f, const CallArgs& a) {
  Output out;
  const std::uint32_t pitch = a.pitch != 0 ? a.pitch : f.width;
  out.depth.assign(f.pixels(), kDepthSentinel);
  out.amplitude16.assign(std::size_t{pitch} * f.height, kAmplitudeSentinel);
  out.amplitude8.assign(std::size_t{pitch} * f.height, kAmplitudeSentinel & 0xFF);
  void* amplitude = nullptr;
  if (a.with_amplitude)
    amplitude = a.amplitude_u16 ? static_cast<void*>(out.amplitude16.data()) : out.amplitude8.data();
  const auto& p = f.planes;
  out.status = itof_dual_dec_float(ctx, f.width, f.height, p[0].data(), p[1].data(), p[2].data(),
                                   p[3].data(), p[4].data(), p[5].data(), p[6].data(), p[7].data(),
                                   nullptr, out.depth.data(), a.distance_0, a.distance_1, amplitude,
                                   pitch, a.scale, a.offset_0, a.offset_1);
  return out;
}

// Bitwise equality of two float arrays; reports the first difference.
inline ::testing::AssertionResult same_floats(const std::vector<float>& want,
                                              const std::vector<float>& got) {
  if (want.size() != got.size()) return ::testing::AssertionFailure() << "sizes differ";
  for (std::size_t i = 0; i < want.size(); ++i)
    if (!pxtest::same_bits(want[i], got[i]))
      return ::testing::AssertionFailure()
             << "element " << i << ": " << want[i] << " vs " << got[i];
  return ::testing::AssertionSuccess();
}

}  // namespace dualtest
