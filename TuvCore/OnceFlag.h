#pragma once

#include "TuvCore/Locked.h"

namespace tuv {

/// A run-once flag. Any thread may call.
class OnceFlag {
 public:
  /// True for the first caller only.
  bool claim() {
    return claimed_.withLock([](bool& claimed) { return !std::exchange(claimed, true); });
  }

 private:
  Locked<bool> claimed_{false};
};

}  // namespace tuv
