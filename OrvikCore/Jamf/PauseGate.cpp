#include "OrvikCore/Jamf/PauseGate.h"

#include <chrono>

#include "Platform/Concurrency/Cancellation.h"

namespace orvik {

namespace {

struct Counted {
  explicit Counted(std::atomic<int>& counter) : count(counter) { ++count; }
  ~Counted() { --count; }
  std::atomic<int>& count;
};

}  // namespace

void PauseGate::wait(const std::stop_token& stop) const {
  if (!isPaused()) return platform::throwIfCancelled(stop);
  const Counted counted(waiting_);
  while (isPaused()) platform::sleep(std::chrono::milliseconds(250), stop);
  platform::throwIfCancelled(stop);
}

}  // namespace orvik
