// Milliseconds per call of a frame stage, as a median of short repeated runs.
#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace pxcli {

template <class Body>
double median_ms(Body&& body, int max_runs = 25, double budget_ms = 300) {
  using clock = std::chrono::steady_clock;
  std::vector<double> runs;
  const auto start = clock::now();
  do {
    const auto t0 = clock::now();
    body();
    runs.push_back(std::chrono::duration<double, std::milli>(clock::now() - t0).count());
  } while (static_cast<int>(runs.size()) < max_runs &&
           (runs.size() < 3 || std::chrono::duration<double, std::milli>(clock::now() - start).count() < budget_ms));
  std::nth_element(runs.begin(), runs.begin() + static_cast<std::ptrdiff_t>(runs.size() / 2), runs.end());
  return runs[runs.size() / 2];
}

}  // namespace pxcli
