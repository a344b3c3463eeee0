#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <stop_token>

#include "Platform/Bytes.h"
#include "Platform/Concurrency/BoundedStream.h"
#include "Platform/Files/Files.h"

namespace platform::files {

/// Sequential reading of a file that may lie on a network mount, whose server may have gone: whoever reads
/// waits for no call of the system, so that a mount that hangs holds nobody.
///
/// A thread of its own opens the file and reads ahead by a few mebibytes. It shares nothing with the reader
/// but the stream between them, and is left to itself when it hangs. Not for more than one thread.
class PatientReader {
 public:
  /// What the thread does: pushes pieces, weighed in bytes, and throws `FileError`. It must own what it uses.
  using Work = std::function<void(StreamWriter<Bytes>&)>;

  /// A minute without a byte: the mount hangs.
  static constexpr std::chrono::seconds usualPatience{60};

  /// Never blocks; what is wrong with the file is thrown by `next`. `patience` bounds each wait.
  explicit PatientReader(Path path, std::chrono::milliseconds patience = usualPatience);
  /// The same with other work in place of reading `path`.
  PatientReader(Path path, std::chrono::milliseconds patience, Work work);

  /// The next piece, at most a mebibyte and never empty; nothing at the end. Throws `FileError`, with the
  /// code ETIMEDOUT when no byte came for the length of its patience, and `CancellationError` on a stop. It
  /// makes no sense to go on after a failure.
  std::optional<Bytes> next(const std::stop_token& stop);

 private:
  Path path_;
  std::chrono::milliseconds patience_;
  StreamReader<Bytes> pieces_;
};

}  // namespace platform::files
