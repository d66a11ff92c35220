// Helpers for the ToF tests: options, contexts on a chosen target, frames,
// calls of the entry points by name, and an oracle of the single-frequency
// results written straight from the definition (independent of the kernels).
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "pxkit.h"
#include "support/test_support.h"

namespace toftest {

using Context = pxtest::Owned<tof_context, destroy_tof_context>;
using DualContext = pxtest::Owned<tof_dual_context, destroy_tof_dual_context>;

// Setup with its option report kept out of the test log.
inline Context quiet_setup(const tof_option& o) {
  return pxtest::quiet_setup<setup_tof_context, destroy_tof_context>(o);
}
inline DualContext quiet_setup(const tof_dual_option& o) {
  return pxtest::quiet_setup<setup_tof_dual_context, destroy_tof_dual_context>(o);
}

// Setup that may only choose `target` (0 = scalar reference).
template <class Option>
auto setup_on(std::int64_t target, const Option& o) {
  pxtest::ScopedTarget only(target);
  return quiet_setup(o);
}

// Setup whose pool cannot start: every call takes the serial path.
template <class Option>
auto setup_without_pool(const Option& o) {
  pxtest::ScopedThreadStartFailure no_threads(0);
  return quiet_setup(o);
}

// The scalar reference and every vector target of this CPU.
inline std::vector<std::int64_t> all_targets() {
  std::vector<std::int64_t> targets{0};
  for (std::int64_t t : pxtest::vector_targets()) targets.push_back(t);
  return targets;
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

enum class Entry { kPlain, kV2, kV3 };

inline tof_option make_option(bool float_depth, bool interleaved = false, int right = 0,
                              bool reversed = false, int cut = 0, int mantissa = 0,
                              bool align = false, bool amp16 = false) {
  tof_option o{};
  o.enable_substract_interleave = interleaved;
  o.right_shift_bits = static_cast<std::uint8_t>(right);
  o.reverse_90_270 = reversed;
  o.cut_higher_amplitude_bits = static_cast<std::uint8_t>(cut);
  o.mantissa_bits = static_cast<std::uint8_t>(mantissa);
  o.depth_out_use_float = float_depth;
  o.amplitude_output_32bytes_align = align;
  o.amplitude_out_use_16bit = amp16;
  return o;
}

// The four phase images of a frame (samples per pixel: 1, or 2 interleaved).
struct Phases {
  std::vector<std::int16_t> p0, p90, p180, p270;
};

// Random samples with a share of awkward pixels: all samples equal (x = y = 0),
// x = 0, y = 0, |y / x| beyond the table's 128, tiny differences.
Phases random_phases(std::size_t pixels, bool interleaved);

// Calls the entry point for the given depth type; offset is used by kV3 only.
inline std::int32_t call(tof_context* ctx, bool float_depth, Entry e, std::uint32_t w,
                         std::int32_t h, const std::int16_t* p0, const std::int16_t* p90,
                         const std::int16_t* p180, const std::int16_t* p270, void* depth, void* amp,
                         float scale, float offset = 0.0f) {
  if (float_depth) {
    auto* d = static_cast<float*>(depth);
    switch (e) {
      case Entry::kPlain: return cal_tof_depth_amplitude_float(ctx, w, h, p0, p90, p180, p270, d, amp, scale);
      case Entry::kV2: return cal_tof_depth_amplitude_float_v2(ctx, w, h, p0, p90, p180, p270, d, amp, scale);
      case Entry::kV3: return cal_tof_depth_amplitude_float_v3(ctx, w, h, p0, p90, p180, p270, d, amp, scale, offset);
    }
  }
  auto* d = static_cast<std::int16_t*>(depth);
  switch (e) {
    case Entry::kPlain: return cal_tof_depth_amplitude_fixed16(ctx, w, h, p0, p90, p180, p270, d, amp, scale);
    case Entry::kV2: return cal_tof_depth_amplitude_fixed16_v2(ctx, w, h, p0, p90, p180, p270, d, amp, scale);
    case Entry::kV3: return cal_tof_depth_amplitude_fixed16_v3(ctx, w, h, p0, p90, p180, p270, d, amp, scale, offset);
  }
  return -100;
}

inline std::int32_t call(tof_context* ctx, bool float_depth, Entry e, std::uint32_t w,
                         std::int32_t h, const Phases& ph, void* depth, void* amp, float scale,
                         float offset = 0.0f) {
  return call(ctx, float_depth, e, w, h, ph.p0.data(), ph.p90.data(), ph.p180.data(),
              ph.p270.data(), depth, amp, scale, offset);
}

// Pooled results of one frame as the definition gives them, written into
// `depth` and `amp` (null = none) in the caller's layout; other bytes untouched.
// `offset` is the context's offset in force.
void oracle_frame(const tof_option& o, std::uint32_t w, std::int32_t h, const std::int16_t* p0,
                  const std::int16_t* p90, const std::int16_t* p180, const std::int16_t* p270,
                  void* depth, void* amp, float scale, float offset);

// Amplitude row pitch in elements: width, or width rounded up to 32 in row mode.
inline std::size_t amplitude_pitch(const tof_option& o, std::uint32_t w) {
  return o.amplitude_output_32bytes_align != 0 && w % 32 != 0 ? (w + 31) / 32 * 32 : w;
}

inline tof_dual_option make_dual_option(bool interleave, bool amplitude_u16, unsigned right_shift,
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

// Plane pairs (0, 2), (1, 3), (4, 6), (5, 7) of every pixel differ by `terms`
// x0, y0, x1, y1, or, on the generated frame below, hold B + A cos(a - k pi/2)
// for a target at distance[i] (in units of the unambiguous range, 0 <= D < 1)
// seen at two frequencies that wrap m0 and m1 times over that range.
// Interleaved planes add an ambient sample that the even sample also holds.
inline Frame uniform_frame(std::uint32_t width, std::uint32_t height, bool interleave, int x0,
                           int y0, int x1, int y1) {
  Frame f{width, height, interleave, {}};
  const int terms[4] = {x0, y0, x1, y1};
  for (int p = 0; p < 8; ++p) {
    const int value = (p % 4) < 2 ? 30000 + terms[(p / 4) * 2 + (p % 2)] : 30000;
    for (std::size_t i = 0; i < f.pixels(); ++i) {
      f.planes[p].push_back(static_cast<std::uint16_t>(value + (interleave ? 5000 : 0)));
      if (interleave) f.planes[p].push_back(5000);
    }
  }
  return f;
}

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
      const double v = kBackground + amplitude[p / 4] * std::cos(angle[p / 4] - (p % 4) * M_PI / 2);
      f.planes[p].push_back(static_cast<std::uint16_t>(std::lround(v + (interleave ? kAmbient : 0))));
      if (interleave) f.planes[p].push_back(static_cast<std::uint16_t>(kAmbient));
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

}  // namespace toftest
