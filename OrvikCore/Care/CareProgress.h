#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace orvik {

/// Who watches work that may take long. Called on the thread that does it; either may be empty.
struct CareProgress {
  std::function<void(const std::string& what)> onStep;
  std::function<void(std::size_t done, std::size_t total)> onCount;  ///< of the step

  void step(const std::string& what) const {
    if (onStep) onStep(what);
  }
  void count(std::size_t done, std::size_t total) const {
    if (onCount) onCount(done, total);
  }
};

}  // namespace orvik
