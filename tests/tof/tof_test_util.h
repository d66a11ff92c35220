// Helpers for the single-frequency ToF tests: frames of phase images, calls
// of the six entry points by name, and an oracle written straight from the
// definition of depth and amplitude (independent of the library's kernels).
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

// Context with its setup report swallowed; destroyed with the holder.
using Context = pxtest::Owned<tof_context, destroy_tof_context>;
inline Context quiet_setup(const tof_option& o) {
  return pxtest::quiet_setup<setup_tof_context, destroy_tof_context>(o);
}

// The four phase images of a frame (samples per pixel: 1, or 2 interleaved).
struct Phases {
  std::vector<std::int16_t> p0, p90, p180, p270;
};

// Sets pixel i of `ph` so that x = s0 - s180 and y = s90 - s270 (planar).
inline void set_pixel(Phases& ph, std::size_t i, int x, int y) {
  ph.p0[i] = static_cast<std::int16_t>(x);
  ph.p180[i] = 0;
  ph.p90[i] = static_cast<std::int16_t>(y);
  ph.p270[i] = 0;
}

inline Phases zero_phases(std::size_t elements) {
  return {std::vector<std::int16_t>(elements), std::vector<std::int16_t>(elements),
          std::vector<std::int16_t>(elements), std::vector<std::int16_t>(elements)};
}

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

}  // namespace toftest
