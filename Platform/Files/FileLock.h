#pragma once

#include <memory>
#include <stop_token>

#include "Platform/Files/Files.h"

namespace platform::files {

class Descriptor;

/// The right to change what stands beside a lock file, among the processes of one machine that ask for it. It
/// ends with the object, and with the process however that ends; the empty file stays.
class FileLock {
 public:
  /// Makes the file, and its folder, where they are missing, and waits up to ten seconds for another holder.
  /// Throws `FileError` when there is no file to be had, `Error` when the other holder stays, and
  /// `CancellationError`.
  explicit FileLock(const Path& path, const std::stop_token& stop = {});
  /// The same without waiting; nothing when there is another holder. Throws `FileError`.
  static std::unique_ptr<FileLock> tryHold(const Path& path);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  explicit FileLock(std::unique_ptr<Descriptor> held);

  std::unique_ptr<Descriptor> file_;
};

}  // namespace platform::files
