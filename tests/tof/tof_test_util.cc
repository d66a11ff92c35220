#include "tof/tof_test_util.h"

namespace toftest {
namespace {

int sample(const std::int16_t* p, std::size_t i, bool interleaved) {
  return interleaved ? p[2 * i] - p[2 * i + 1] : p[i];
}

// trunc toward zero, saturating at the i32 limits, NaN -> 0 (computed in double).
std::int32_t to_i32(float v) {
  if (v != v) return 0;
  const double t = std::trunc(static_cast<double>(v));
  if (t >= 2147483647.0) return std::numeric_limits<std::int32_t>::max();
  if (t <= -2147483648.0) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(t);
}

}  // namespace

Phases random_phases(std::size_t pixels, bool interleaved) {
  const std::size_t n = pixels * (interleaved ? 2 : 1);
  Phases ph{pxtest::random_ints<std::int16_t>(n, -32768, 32767),
            pxtest::random_ints<std::int16_t>(n, -32768, 32767),
            pxtest::random_ints<std::int16_t>(n, -32768, 32767),
            pxtest::random_ints<std::int16_t>(n, -32768, 32767)};
  std::uniform_int_distribution<int> kind(0, 9), tiny(-3, 3);
  for (std::size_t e = 0; e < n; ++e) {
    switch (kind(pxtest::rng())) {
      case 0: ph.p90[e] = ph.p270[e] = ph.p180[e] = ph.p0[e]; break;       // x = y = 0
      case 1: ph.p180[e] = ph.p0[e]; break;                                 // x = 0
      case 2: ph.p270[e] = ph.p90[e]; break;                                // y = 0
      case 3: ph.p180[e] = static_cast<std::int16_t>(ph.p0[e] / 2 + tiny(pxtest::rng())); break;
      case 4: ph.p0[e] = static_cast<std::int16_t>(tiny(pxtest::rng()));  // small everything
              ph.p90[e] = static_cast<std::int16_t>(tiny(pxtest::rng()));
              ph.p180[e] = static_cast<std::int16_t>(tiny(pxtest::rng()));
              ph.p270[e] = static_cast<std::int16_t>(tiny(pxtest::rng())); break;
      default: break;
    }
  }
  return ph;
}

void oracle_frame(const tof_option& o, std::uint32_t w, std::int32_t h, const std::int16_t* p0,
                  const std::int16_t* p90, const std::int16_t* p180, const std::int16_t* p270,
                  void* depth, void* amp, float scale, float offset) {
  const bool il = o.enable_substract_interleave != 0;
  const int net_shift = o.cut_higher_amplitude_bits - (o.right_shift_bits != 0 ? 4 : 0);
  const float mantissa = o.mantissa_bits == 0 || o.mantissa_bits > 15
                             ? 1024.0f : static_cast<float>(1 << o.mantissa_bits);
  const float period = scale == 1.0f ? 6.2831855f : scale * 6.2831855f;
  const std::size_t pitch = amplitude_pitch(o, w);
  for (std::int32_t row = 0; row < h; ++row) {
    for (std::uint32_t col = 0; col < w; ++col) {
      const std::size_t i = static_cast<std::size_t>(row) * w + col;
      const int s90 = sample(p90, i, il), s270 = sample(p270, i, il);
      const auto y = static_cast<float>(o.reverse_90_270 ? s270 - s90 : s90 - s270);
      const auto x = static_cast<float>(sample(p0, i, il) - sample(p180, i, il));
      const float phase = fast_atan2(y, x);
      float d = scale == 1.0f ? phase + offset : std::fma(scale, phase, offset);
      if (d > period) {
        d -= period;
      } else if (d < 0.0f) {
        d += period;
      }
      if (o.depth_out_use_float != 0) {
        static_cast<float*>(depth)[i] = d;
      } else {
        static_cast<std::int16_t*>(depth)[i] = static_cast<std::int16_t>(to_i32(d * mantissa));
      }
      if (amp == nullptr) continue;
      const float q = std::fma(y, y, x * x);
      const auto root = static_cast<std::uint64_t>(std::sqrt(static_cast<double>(q)));
      const std::uint64_t a = net_shift >= 0 ? (net_shift < 64 ? root << net_shift : 0)
                                             : root >> -net_shift;
      const std::size_t ai = static_cast<std::size_t>(row) * pitch + col;
      if (o.amplitude_out_use_16bit != 0) {
        static_cast<std::uint16_t*>(amp)[ai] = static_cast<std::uint16_t>(a);
      } else {
        static_cast<std::uint8_t*>(amp)[ai] = static_cast<std::uint8_t>(a);
      }
    }
  }
}

}  // namespace toftest
