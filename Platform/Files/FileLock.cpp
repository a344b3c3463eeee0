#include "Platform/Files/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Descriptor.h"

namespace platform::files {

namespace {

constexpr std::chrono::seconds patience{10};
constexpr std::chrono::milliseconds pause{20};

int openLock(const Path& path) {
  const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (descriptor < 0) throwFileError("open", path, errno);
  return descriptor;
}

}  // namespace

FileLock::FileLock(const Path& path, const std::stop_token& stop) {
  createDirectories(path.parent_path());
  file_ = std::make_unique<Descriptor>(openLock(path));
  const auto deadline = MonotonicClock::now() + patience;
  while (::flock(file_->number(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) throwFileError("lock", path, errno);
    if (MonotonicClock::now() >= deadline)
      throw Error("Another process has held the lock " + path.string() + " for ten seconds; try again.");
    sleep(pause, stop);
  }
}

FileLock::~FileLock() = default;

}  // namespace platform::files
