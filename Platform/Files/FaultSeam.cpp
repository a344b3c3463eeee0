#include "Platform/Files/FaultSeam.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <mutex>

namespace platform::files {

namespace {

struct Seam {
  std::atomic<bool> armed{false};

  std::mutex mutex;  // guards what follows
  std::uint64_t passed = 0;
  std::uint64_t target = 0;
  FaultAction action = FaultAction::fail;
  int code = 0;
};

constinit Seam seam;

}  // namespace

void armFaultSeam(std::uint64_t n, FaultAction action, int code) {
  const std::lock_guard lock(seam.mutex);
  seam.passed = 0;
  seam.target = n;
  seam.action = action;
  seam.code = code == 0 ? EIO : code;
  seam.armed.store(true, std::memory_order_relaxed);
}

void disarmFaultSeam() {
  const std::lock_guard lock(seam.mutex);
  seam.armed.store(false, std::memory_order_relaxed);
}

std::uint64_t operationsSinceArmed() {
  const std::lock_guard lock(seam.mutex);
  return seam.passed;
}

int passFaultSeam() noexcept {
  if (!seam.armed.load(std::memory_order_relaxed)) return 0;
  const std::lock_guard lock(seam.mutex);
  if (!seam.armed.load(std::memory_order_relaxed)) return 0;
  ++seam.passed;
  switch (seam.action) {
    case FaultAction::fail:
      return seam.passed == seam.target ? seam.code : 0;
    case FaultAction::failFromThen:
      return seam.passed >= seam.target ? seam.code : 0;
    case FaultAction::stop:
      break;
  }
  if (seam.passed == seam.target) kill(getpid(), SIGKILL);
  return 0;
}

}  // namespace platform::files
