// The serial decode of a context whose pool could not be started. It is
// simpler than the stripe kernels and differs from them on purpose: no
// interleave, shift or amplitude; frequency 1's angle is the constant
// fast_atan2(0, 0) (its planes are never read); the phases are scaled by the
// call's `scale`, and only the whole-wrap count (not count x 2 pi) is taken
// off them.
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "common/diag.h"
#include "tof/dual_frame.h"
#include "tof/dual_pixel.h"
#include "tof/dual_unwrap.h"
#include "tof/fast_atan.h"

namespace pxkit {
namespace {

// offset + (3 - trunc(offset c)) w, the integer difference wrapping around.
float adjusted_offset(float offset, float c, float w) {
  const auto wraps = static_cast<std::int32_t>(3u - static_cast<std::uint32_t>(trunc_saturate_i32(offset * c)));
  return offset + static_cast<float>(wraps) * w;
}

// t minus its whole-wrap count trunc(t c).
float serial_phase(float angle, float scale, float b, float c) {
  const float t = std::fma(angle, scale, b);
  return t - static_cast<float>(trunc_saturate_i32(t * c));
}

}  // namespace

std::int32_t dual_decode_serial(const tof_dual_context& ctx, const DualFrame& f) {
  diag::line("null ctx, choose non-parallel version");
  diag::line("will always disable substract, shift and reverse");
  const float c = kInvTwoPi / f.scale;
  const float w = f.scale * kTwoPi;
  const float b0 = adjusted_offset(f.offset_0, c, w);
  const float b1 = adjusted_offset(f.offset_1, c, w);
  const float phi1 = serial_phase(fast_atan2_scalar(0.0f, 0.0f), f.scale, b1, c);
  const auto m0 = static_cast<std::uint32_t>(ctx.option.m0);
  const auto m1 = static_cast<std::uint32_t>(ctx.option.m1);
  const std::uint16_t* const* p = f.planes;
  const std::size_t total = std::size_t{f.width} * f.height;
  for (std::size_t i = 0; i < total; ++i) {
    const auto x0 = static_cast<float>(std::int32_t{p[0][i]} - std::int32_t{p[2][i]});
    const auto y0 = static_cast<float>(std::int32_t{p[1][i]} - std::int32_t{p[3][i]});
    const float phi0 = serial_phase(fast_atan2_scalar(y0, x0), f.scale, b0, c);
    if (f.distance_0 != nullptr) f.distance_0[i] = phi0;
    if (f.distance_1 != nullptr) f.distance_1[i] = phi1;
    f.depth[i] = dual_unwrap(phi0, phi1, m0, m1);
  }
  return 0;
}

}  // namespace pxkit
