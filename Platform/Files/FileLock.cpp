#include "Platform/Files/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Descriptor.h"

namespace platform::files {

namespace {

constexpr std::chrono::seconds patience{10};
constexpr std::chrono::milliseconds pause{20};

std::unique_ptr<Descriptor> openLock(const Path& path) {
  createDirectories(path.parent_path());
  auto file = std::make_unique<Descriptor>(
      ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
  if (!file->isOpen()) throwFileError("open", path, errno);
  return file;
}

/// Whether the lock is held now, and not by another.
bool take(const Descriptor& file, const Path& path) {
  while (::flock(file.number(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) return false;
    if (errno != EINTR) throwFileError("lock", path, errno);
  }
  return true;
}

}  // namespace

FileLock::FileLock(const Path& path, const std::stop_token& stop) : file_(openLock(path)) {
  const auto deadline = MonotonicClock::now() + patience;
  while (!take(*file_, path)) {
    if (MonotonicClock::now() >= deadline)
      throw Error("Another process has held the lock " + path.string() + " for ten seconds; try again.");
    sleep(pause, stop);
  }
}

FileLock::FileLock(std::unique_ptr<Descriptor> held) : file_(std::move(held)) {}

std::unique_ptr<FileLock> FileLock::tryHold(const Path& path) {
  auto file = openLock(path);
  if (!take(*file, path)) return nullptr;
  return std::unique_ptr<FileLock>(new FileLock(std::move(file)));
}

FileLock::~FileLock() = default;

}  // namespace platform::files
