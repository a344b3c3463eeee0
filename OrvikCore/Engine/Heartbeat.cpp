#include "OrvikCore/Engine/Heartbeat.h"

#include "Platform/Concurrency/Cancellation.h"

namespace orvik {

Heartbeat::Heartbeat(BackupLock::Holder& lock, std::chrono::milliseconds every)
    : thread_([&lock, every](const std::stop_token& stop) {
        while (platform::waitUntil(platform::MonotonicClock::now() + every, stop)) lock.refresh();
      }) {}

}  // namespace orvik
