#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace bench {

/// Seconds that `work` takes.
template <class Work>
double secondsOf(Work&& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

inline double median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

}  // namespace bench
