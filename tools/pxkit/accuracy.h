// Depth accuracy against a ground truth, as the demo reports it.
#pragma once

#include <cstdint>
#include <vector>

namespace pxcli {

struct SingleAccuracy {
  double mean_abs_error_m = 0;  // over the pixels inside the wrap distance
  std::uint64_t pixels = 0;     // how many pixels were inside it
};

// Single-frequency depth (metres) against the truth, over pixels whose true
// distance is below `wrap_m`. The error is taken around the circle of one wrap:
// 2.499 m decoded as 0.001 m is 2 mm off, not 2.5 m.
SingleAccuracy single_accuracy(const std::vector<float>& depth_m, const std::vector<float>& truth_m,
                               double wrap_m);

struct DualAccuracy {
  std::uint64_t correct_wraps = 0;  // pixels decoded within half a wrap of the truth
  std::uint64_t pixels = 0;
  double mean_abs_error_m = 0;      // over the pixels with the right wrap count
};

// Dual-frequency depth in wraps of frequency 1 (metres = depth * wrap1_m). A
// pixel's wrap count is right when the decoded depth lies within half a
// frequency-1 wrap of the truth: a wrong count is off by a whole wrap.
DualAccuracy dual_accuracy(const std::vector<float>& depth_wraps, const std::vector<float>& truth_m,
                           double wrap1_m);

}  // namespace pxcli
