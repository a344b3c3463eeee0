#pragma once

#include <cstddef>
#include <optional>
#include <stop_token>
#include <string>

namespace platform {

/// Lines from a descriptor that somebody writes to now and then, such as standard input. For one thread; the
/// descriptor stays the caller's.
class LineInput {
 public:
  struct Line {
    std::string text;        ///< without its end
    bool isTooLong = false;  ///< it had more bytes than are kept, and `text` is empty
  };

  /// Keeps at most `limit` bytes of a line.
  LineInput(int descriptor, std::size_t limit) : descriptor_(descriptor), limit_(limit) {}

  /// Waits for the next line; nothing at the end. A last line without an end counts. Throws `Error` for a
  /// failed read, and `CancellationError` on a stop.
  std::optional<Line> next(const std::stop_token& stop);

 private:
  bool fill(const std::stop_token& stop);

  const int descriptor_;
  const std::size_t limit_;
  std::string buffer_;        // what was read and not given yet
  std::size_t searched_ = 0;  // no line ends before
  bool isSkipping_ = false;   // the line that has begun is too long
  bool isAtEnd_ = false;
};

}  // namespace platform
