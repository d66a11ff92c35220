#include "accuracy.h"

#include <cmath>

namespace pxcli {

SingleAccuracy single_accuracy(const std::vector<float>& depth_m, const std::vector<float>& truth_m,
                               double wrap_m) {
  SingleAccuracy a;
  double sum = 0;
  for (std::size_t i = 0; i < truth_m.size(); ++i) {
    if (!(truth_m[i] < wrap_m)) continue;
    sum += std::fabs(std::remainder(double{depth_m[i]} - truth_m[i], wrap_m));
    ++a.pixels;
  }
  if (a.pixels) a.mean_abs_error_m = sum / static_cast<double>(a.pixels);
  return a;
}

DualAccuracy dual_accuracy(const std::vector<float>& depth_wraps, const std::vector<float>& truth_m,
                           double wrap1_m) {
  DualAccuracy a;
  a.pixels = truth_m.size();
  double sum = 0;
  for (std::size_t i = 0; i < truth_m.size(); ++i) {
    const double error = std::fabs(double{depth_wraps[i]} * wrap1_m - truth_m[i]);
    if (error < wrap1_m / 2) {
      sum += error;
      ++a.correct_wraps;
    }
  }
  if (a.correct_wraps) a.mean_abs_error_m = sum / static_cast<double>(a.correct_wraps);
  return a;
}

}  // namespace pxcli
