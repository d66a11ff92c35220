// Combining the two wrapped phases into one distance, scalar form.
#pragma once

#include <cstdint>

namespace pxkit {

// Depth in wraps of frequency 1: phi1 plus the number k of whole frequency-1
// wraps for which some j (k <= j < m0) makes (j + phi0) m1 and (k + phi1) m0
// agree. Pairs are tried k ascending, then j ascending; the first one closer
// than 0.5 wins, else the first k that reached the smallest difference if that
// is below 1.0, else phi1 alone. (j + phi0) m1 and (k + phi1) m0 are built by
// repeated f32 addition, so every implementation must add in this order.
inline float dual_unwrap(float phi0, float phi1, std::uint32_t m0, std::uint32_t m1) {
  if (m1 == 0) return phi1;
  const auto m0f = static_cast<float>(m0);
  const auto m1f = static_cast<float>(m1);
  float best = 100.0f;
  std::uint32_t best_k = 0;
  float t = phi1 * m0f;
  for (std::uint32_t k = 0; k < m1; ++k) {
    float u = (static_cast<float>(k) + phi0) * m1f;
    for (std::uint32_t j = k; j < m0; ++j) {
      const float d = t > u ? t - u : u - t;
      u = u + m1f;
      if (d < 0.5f) return phi1 + static_cast<float>(k);
      if (d < best) best_k = k;
      best = d < best ? d : best;
    }
    t = t + m0f;
  }
  return best < 1.0f ? phi1 + static_cast<float>(best_k) : phi1;
}

}  // namespace pxkit
