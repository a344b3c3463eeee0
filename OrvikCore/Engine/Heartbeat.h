#pragma once

#include <chrono>
#include <stop_token>
#include <thread>

#include "OrvikCore/Store/BackupLock.h"

namespace orvik {

/// Keeps a lock alive from a thread of its own until it goes. The lock must outlive it.
class Heartbeat {
 public:
  /// Far below the 900 seconds after which a lock is void.
  static constexpr std::chrono::seconds interval{60};

  explicit Heartbeat(BackupLock::Holder& lock, std::chrono::milliseconds every = interval);

 private:
  std::jthread thread_;
};

}  // namespace orvik
