#include "OrvikCore/Jamf/RequestLimiter.h"

#include <algorithm>

namespace orvik {

using platform::MonotonicClock;
using platform::MonotonicTime;

namespace {

std::chrono::milliseconds intervalFor(double maxPerSecond) {
  // A rate so low that the interval would overflow stands for "once a year".
  constexpr double longest = 365.0 * 86'400 * 1'000;
  if (!(maxPerSecond > 0)) return {};
  return std::chrono::milliseconds(static_cast<std::int64_t>(std::min(1'000 / maxPerSecond, longest)));
}

}  // namespace

RequestLimiter::RequestLimiter(int maxConcurrent, double maxPerSecond)
    : maxConcurrent_(std::max(maxConcurrent, 1)), minInterval_(intervalFor(maxPerSecond)) {}

MonotonicTime RequestLimiter::takeSlot() {
  std::unique_lock lock(mutex_);
  if (running_ < maxConcurrent_) {
    ++running_;
  } else {
    Waiter self;
    waiters_.push_back(&self);
    self.woken.wait(lock, [&] { return self.holdsSlot; });
  }
  const auto start = std::max(MonotonicClock::now(), nextStart_);
  nextStart_ = start + minInterval_;
  return start;
}

void RequestLimiter::acquire(const std::stop_token& stop) {
  const auto start = takeSlot();
  if (start > MonotonicClock::now()) (void)platform::waitUntil(start, stop);
}

void RequestLimiter::release() noexcept {
  std::lock_guard lock(mutex_);
  if (waiters_.empty()) {
    --running_;
    return;
  }
  Waiter* first = waiters_.front();
  waiters_.pop_front();
  first->holdsSlot = true;
  first->woken.notify_one();  // under the lock: the waiter may be gone as soon as it is let go
}

std::size_t RequestLimiter::waiting() const {
  std::lock_guard lock(mutex_);
  return waiters_.size();
}

}  // namespace orvik
