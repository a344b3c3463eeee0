#include "Platform/Files/Descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Platform/Files/FaultSeam.h"

namespace platform::files {

namespace {

// The kernel moves at most about 2 GiB in one call; asking for less keeps the count far from its edge.
constexpr std::size_t mostPerCall = std::size_t{1} << 30;

}  // namespace

Descriptor::~Descriptor() { close(); }

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  if (this == &other) return *this;
  close();
  number_ = other.release();
  return *this;
}

int Descriptor::release() noexcept { return std::exchange(number_, -1); }

int Descriptor::close() noexcept {
  if (number_ < 0) return 0;
  // The number is gone whatever the answer is, an interruption included; a second try could close another's.
  const int code = ::close(std::exchange(number_, -1)) == 0 ? 0 : errno;
  return code == EINTR ? 0 : code;
}

Descriptor openForReading(const Path& path, struct stat& status) {
  Descriptor file(
      untilUninterrupted([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
  if (!file.isOpen() || fstat(file.number(), &status) != 0) throwFileError("read", path, errno);
  requireRegular("read", path, status);
  return file;
}

std::int64_t readOnce(int descriptor, char* bytes, std::size_t count) noexcept {
  while (true) {
    const ssize_t got = ::read(descriptor, bytes, std::min(count, mostPerCall));
    if (got >= 0 || errno != EINTR) return got;
  }
}

std::int64_t readFully(int descriptor, char* bytes, std::size_t count) noexcept {
  std::size_t filled = 0;
  while (filled < count) {
    const auto got = readOnce(descriptor, bytes + filled, count - filled);
    if (got < 0) return -1;
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  return static_cast<std::int64_t>(filled);
}

int writeFully(int descriptor, std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    if (const int code = passFaultSeam()) return code;
    const ssize_t written = ::write(descriptor, bytes.data(), std::min(bytes.size(), mostPerCall));
    if (written >= 0)
      bytes.remove_prefix(static_cast<std::size_t>(written));
    else if (errno != EINTR)
      return errno;
  }
  return 0;
}

int syncOpen(int descriptor) noexcept {
  if (const int code = passFaultSeam()) return code;
  return untilUninterrupted([&] { return fsync(descriptor); }) == 0 ? 0 : errno;
}

}  // namespace platform::files
