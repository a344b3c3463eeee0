#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// What running a program to its end took.
struct ProgramCost {
  double seconds = 0;
  double processor = 0;   ///< seconds, user and system
  std::int64_t peak = 0;  ///< bytes of memory
};

/// Runs a program, whose path is the first word, with its output thrown away. Throws when it fails.
ProgramCost costOf(std::vector<std::string> words);

}  // namespace bench
