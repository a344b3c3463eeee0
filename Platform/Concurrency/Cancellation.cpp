#include "Platform/Concurrency/Cancellation.h"

#include <condition_variable>
#include <mutex>

namespace platform {

namespace {

/// `duration` from now, at the latest the last moment that the clock can name. Nothing comes of a duration
/// that is negative or no number.
MonotonicTime momentAfter(std::chrono::duration<double> duration) {
  const MonotonicTime now = MonotonicClock::now();
  if (!(duration.count() > 0)) return now;
  // A year less than the clock's range, so that the conversion below can't leave it by rounding.
  const std::chrono::duration<double> range = MonotonicTime::max() - now - std::chrono::hours(24 * 365);
  if (duration >= range) return MonotonicTime::max();
  return now + std::chrono::duration_cast<MonotonicClock::duration>(duration);
}

}  // namespace

void throwIfCancelled(const std::stop_token& stop) {
  if (stop.stop_requested()) throw CancellationError();
}

bool waitUntil(MonotonicTime time, const std::stop_token& stop) {
  std::mutex mutex;  // guards nothing: the condition below waits for the clock and the token alone
  std::condition_variable_any condition;
  std::unique_lock lock(mutex);
  condition.wait_until(lock, stop, time, [time] { return MonotonicClock::now() >= time; });
  return !stop.stop_requested();
}

void sleep(std::chrono::duration<double> duration, const std::stop_token& stop) {
  throwIfCancelled(stop);
  if (!waitUntil(momentAfter(duration), stop)) throw CancellationError();
}

}  // namespace platform
