#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Platform/Files/Files.h"

/// Descriptors as the sources of this folder share them; nobody else includes this.
namespace platform::files {

/// An open descriptor, closed when it goes.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) noexcept : number_(number) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;

  int number() const noexcept { return number_; }
  bool isOpen() const noexcept { return number_ >= 0; }
  /// Gives the number away, unclosed.
  int release() noexcept;
  /// Closes and gives the system's error number, for files whose data may be refused only then.
  int close() noexcept;

 private:
  int number_;
};

/// The name under which a file is written before it gets its own: "." + name + "." + an upper-case UUID +
/// ".tmp", in the same folder. Throws `FileError` for what can be no file's name.
Path temporarySibling(const Path& path);

/// Makes a file that must not exist yet (mode 0644 less the umask) for writing. 0 or the system's error
/// number.
int openNew(const Path& path, Descriptor& file) noexcept;

/// Flushes an open file to stable storage, through the fault seam. 0 or the system's error number.
int syncOpen(int descriptor) noexcept;

/// Opens a regular file for reading and looks at it; never waits for a pipe or a device. Throws `FileError`.
Descriptor openForReading(const Path& path, struct stat& status);

/// Refuses whatever is no regular file with a `FileError` that says so.
void requireRegular(std::string_view action, const Path& path, const struct stat& status);

/// Makes a call of the system again as long as a signal interrupts it: opening and flushing wait on shares.
template <class Call>
int untilUninterrupted(const Call& call) noexcept {
  while (true) {
    const int answer = call();
    if (answer >= 0 || errno != EINTR) return answer;
  }
}

/// What one read gives, interruptions aside: bytes, 0 at the end, -1 with errno set.
std::int64_t readOnce(int descriptor, char* bytes, std::size_t count) noexcept;

/// Fills up to `count` bytes; gives fewer at the end of the file and -1, with errno set, on an error.
std::int64_t readFully(int descriptor, char* bytes, std::size_t count) noexcept;

/// Writes all of it, every write through the fault seam. 0 or the system's error number.
int writeFully(int descriptor, std::string_view bytes) noexcept;

}  // namespace platform::files
