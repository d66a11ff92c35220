// atan_table rearranged as (entry, slope) pairs, so that a vector kernel can
// fetch both values of a segment with one 64-bit gather instead of two 32-bit
// ones. A copy of atan_table's values, made on first use.
#pragma once

#include "tof/atan_table.h"

namespace pxkit {

struct AtanPairs {
  alignas(64) float values[kAtanTableSize];  // values[2i] = table[i], values[2i + 1] = slope[i]
};

inline const float* atan_pairs() {
  static const AtanPairs pairs = [] {
    AtanPairs p{};
    for (int i = 0; i < kAtanGridPoints; ++i) {
      p.values[2 * i] = atan_table[i];
      p.values[2 * i + 1] = atan_table[kAtanGridPoints + i];
    }
    return p;
  }();
  return pairs.values;
}

}  // namespace pxkit
