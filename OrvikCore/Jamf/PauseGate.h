#pragma once

#include <atomic>
#include <stop_token>

#include "TuvCore/Locked.h"

namespace orvik {

/// Holds new requests and downloads while a run is paused. Any thread may call.
class PauseGate {
 public:
  void pause() { paused_.setValue(true); }
  void resume() { paused_.setValue(false); }
  bool isPaused() const { return paused_.value(); }

  /// Returns once the gate is open; looks four times a second while it is closed. Throws
  /// `platform::CancellationError` on a stop.
  void wait(const std::stop_token& stop) const;

  /// How many callers the closed gate holds at the moment.
  int waiting() const { return waiting_.load(); }

 private:
  tuv::Locked<bool> paused_{false};
  mutable std::atomic<int> waiting_{0};
};

}  // namespace orvik
