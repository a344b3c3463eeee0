#pragma once

#include <chrono>
#include <functional>
#include <thread>

#include "Platform/Concurrency/Cancellation.h"

namespace orvik::host {

/// Calls `tick` in even intervals on a thread of its own until it goes.
class Ticker {
 public:
  Ticker(std::chrono::milliseconds interval, std::function<void()> tick)
      : thread_([interval, tick = std::move(tick)](const std::stop_token& stop) {
          while (platform::waitUntil(platform::MonotonicClock::now() + interval, stop)) tick();
        }) {}

 private:
  std::jthread thread_;
};

}  // namespace orvik::host
