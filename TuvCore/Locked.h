#pragma once

#include <mutex>
#include <utility>

namespace tuv {

/// A value behind its own lock: it can't be reached without it. Any thread may call.
///
/// The lock is not recursive: `withLock` must not reach the same value again, and must not wait for the
/// network, a file or a callback.
template <class T>
class Locked {
 public:
  Locked() = default;
  explicit Locked(T value) : value_(std::move(value)) {}

  /// A copy of the value.
  T value() const {
    std::lock_guard lock(mutex_);
    return value_;
  }

  void setValue(T value) {
    std::lock_guard lock(mutex_);
    value_ = std::move(value);
  }

  /// Runs `body` on the value under the lock and returns its result.
  template <class Body>
  decltype(auto) withLock(Body&& body) {
    std::lock_guard lock(mutex_);
    return std::forward<Body>(body)(value_);
  }

  template <class Body>
  decltype(auto) withLock(Body&& body) const {
    std::lock_guard lock(mutex_);
    return std::forward<Body>(body)(value_);
  }

 private:
  mutable std::mutex mutex_;  // guards value_
  T value_{};
};

}  // namespace tuv
