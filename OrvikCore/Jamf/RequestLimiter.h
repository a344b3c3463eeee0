#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <stop_token>

#include "Platform/Concurrency/Cancellation.h"

namespace orvik {

/// Caps the requests in flight and spaces their starts: two separate limits. Any thread may call.
///
/// Slots go first come, first served: a slot that is given back passes straight to the first that waits.
/// Start times are booked in the order in which callers hold a slot; an idle spell earns no burst.
class RequestLimiter {
 public:
  /// A cap below 1 counts as 1. `maxPerSecond` of 0 or less, or above 1000, spaces nothing.
  RequestLimiter(int maxConcurrent, double maxPerSecond);

  /// Waits until a slot is held and the start is due. Never fails: a stop only ends the wait for the start
  /// time, and the caller holds its slot all the same.
  void acquire(const std::stop_token& stop);
  void release() noexcept;

  std::chrono::milliseconds minInterval() const noexcept { return minInterval_; }
  /// How many callers wait for a slot at the moment.
  std::size_t waiting() const;

 private:
  struct Waiter {
    std::condition_variable woken;
    bool holdsSlot = false;
  };

  platform::MonotonicTime takeSlot();

  // Constant after construction.
  const int maxConcurrent_;
  const std::chrono::milliseconds minInterval_;

  mutable std::mutex mutex_;  // guards what follows
  int running_ = 0;
  std::deque<Waiter*> waiters_;
  platform::MonotonicTime nextStart_ = platform::MonotonicClock::now();
};

}  // namespace orvik
