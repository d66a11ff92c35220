// The single-threaded path of the frame calls, taken when the context's pool
// could not be started. Only amplitude_out_use_16bit is honoured; the offset
// and the period fold apply to the _v3 calls alone.
#include <cmath>
#include <type_traits>

#include "common/diag.h"
#include "tof/amplitude.h"
#include "tof/fast_atan.h"
#include "tof/tof_frame.h"
#include "tof/tof_pixel.h"

namespace pxkit::tof {
namespace {

constexpr float kFixedScale = 1024.0f;  // 6.10 fixed point

// Amp is void when no amplitude is wanted.
template <class Depth, bool kOffset, class Amp>
void serial_loop(const FrameArgs& a, std::int32_t count) {
  auto* depth = static_cast<Depth*>(a.depth_out);
  auto* amp = static_cast<Amp*>(a.amplitude_out);
  const float period = a.depth_scale * kTwoPi;
  const float folded_scale = a.depth_scale * kFixedScale;  // the no-offset fixed call
  for (std::int32_t i = 0; i < count; ++i) {
    const auto y = static_cast<float>(std::int32_t{a.phase_90[i]} - a.phase_270[i]);
    const auto x = static_cast<float>(std::int32_t{a.phase_0[i]} - a.phase_180[i]);
    const float phase = fast_atan2_scalar(y, x);
    if constexpr (kOffset) {
      const float d = wrap_depth(std::fma(a.depth_scale, phase, a.depth_offset), period);
      if constexpr (std::is_same_v<Depth, float>) {
        depth[i] = d;
      } else {
        depth[i] = fixed_depth(d, kFixedScale);
      }
    } else if constexpr (std::is_same_v<Depth, float>) {
      depth[i] = a.depth_scale * phase;
    } else {
      depth[i] = fixed_depth(phase, folded_scale);
    }
    if constexpr (!std::is_void_v<Amp>) amp[i] = static_cast<Amp>(amplitude_scalar(x, y));
  }
}

template <class Depth, bool kOffset>
void serial_depth(const FrameArgs& a, bool amp16, std::int32_t count) {
  if (a.amplitude_out == nullptr) {
    serial_loop<Depth, kOffset, void>(a, count);
  } else if (amp16) {
    serial_loop<Depth, kOffset, std::uint16_t>(a, count);
  } else {
    serial_loop<Depth, kOffset, std::uint8_t>(a, count);
  }
}

}  // namespace

std::int32_t serial_frame(const tof_context& ctx, const FrameArgs& a) {
  const bool fixed = a.type == DepthType::kFixed16;
  if (fixed) {
    diag::line("null ctx, choose non-parallel version, does not support options");
    diag::line("will always disable substract, shift and reverse, and always use 6.10 fixed format");
  } else {
    diag::line("null ctx, choose non-parallel version");
    diag::line("will always disable substract, shift and reverse");
  }
  // The frame call refused frames whose pixel count does not fit 32 bits.
  const auto count = static_cast<std::int32_t>(std::int64_t{a.width} * a.height);
  const bool amp16 = ctx.option.amplitude_out_use_16bit != 0;
  if (fixed) {
    a.has_offset ? serial_depth<std::int16_t, true>(a, amp16, count)
                 : serial_depth<std::int16_t, false>(a, amp16, count);
  } else {
    a.has_offset ? serial_depth<float, true>(a, amp16, count)
                 : serial_depth<float, false>(a, amp16, count);
  }
  return 0;
}

}  // namespace pxkit::tof
