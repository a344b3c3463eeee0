#pragma once

#include <stop_token>
#include <thread>

namespace platform {

/// Turns SIGINT, SIGTERM and SIGHUP into a stop request, and the second of them into the end of the process
/// at once. A broken pipe becomes an error of the write.
///
/// Make it on the main thread before any other thread: these inherit the blocked signals. A signal that was
/// ignored when the program started stays ignored.
class StopSignals {
 public:
  /// The second signal ends the process with `statusOfSecond`. Throws `Error` when no descriptor is free.
  explicit StopSignals(int statusOfSecond);
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  std::stop_token token() const { return source_.get_token(); }

 private:
  void watch();

  const int statusOfSecond_;
  int signals_;
  int end_;
  std::stop_source source_;
  std::jthread thread_;
};

}  // namespace platform
