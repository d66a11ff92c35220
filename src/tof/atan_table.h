// Arctangent lookup table: entries 0..2047 hold atan(i/16) and entries
// 2048..4095 the slope of the segment that starts at i/16, so that for a ratio
// q in [0, 128) with i = trunc(16 q) and f = q - i/16:
//   atan(q) ~ atan_table[i] + f * atan_table[2048 + i].
#pragma once

namespace pxkit {

inline constexpr int kAtanGridPoints = 2048;
inline constexpr int kAtanTableSize = 2 * kAtanGridPoints;

extern const float atan_table[kAtanTableSize];

}  // namespace pxkit
