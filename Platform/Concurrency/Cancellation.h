#pragma once

#include <chrono>
#include <exception>
#include <stop_token>

namespace platform {

/// The monotonic clock that every wait and every duration is measured with.
using MonotonicClock = std::chrono::steady_clock;
using MonotonicTime = MonotonicClock::time_point;

/// The work was cancelled by its owner. Deliberately no `Error`: what turns failures into a message can
/// never swallow a cancellation.
class CancellationError : public std::exception {
 public:
  const char* what() const noexcept override { return "cancelled"; }
};

/// Throws `CancellationError` when a stop was requested.
void throwIfCancelled(const std::stop_token& stop);

/// Waits until `time`, or until a stop is requested. Returns false when the stop ended it.
[[nodiscard]] bool waitUntil(MonotonicTime time, const std::stop_token& stop);

/// Sleeps for `duration`: not at all when it is negative or no number, and until the stop when it is longer
/// than the clock's range. Throws `CancellationError` when a stop was requested before or meanwhile.
void sleep(std::chrono::duration<double> duration, const std::stop_token& stop);

}  // namespace platform
