#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "TuvCore/Locked.h"

namespace orvik::host {

/// Standard output, where results go, line by line without a buffer. Any thread may call.
class Results {
 public:
  /// Takes a text whole, and gives 0 or the system's error number.
  using Write = std::function<int(std::string_view text)>;

  Results();
  /// Results that go elsewhere. `write` is called for one line at a time.
  explicit Results(Write write) : write_(std::move(write)) {}

  /// Writes a line and its end. After a failure nothing more is written.
  void line(std::string_view text);

  /// Throws `tuv::Error` when a line did not get out: results that nobody can read are no success.
  void requireWritten() const;

  /// Whether that was because nobody reads any more.
  bool readerLeft() const;

 private:
  const Write write_;
  tuv::Locked<int> errorNumber_{0};  ///< of the first failure; the lock also keeps lines whole
};

/// Standard error, where progress and remarks go. Failures to write are ignored.
namespace remarks {

void write(std::string_view text) noexcept;
void line(std::string_view text) noexcept;

/// Columns of the terminal; 80 when it doesn't tell.
std::size_t width();

}  // namespace remarks

enum class Stream { output, error };
/// What a stream leads to. `dumb`: a terminal that knows no control sequences.
enum class Screen { none, dumb, terminal };
Screen screenBehind(Stream stream);
/// Whether colours are wanted there: on a terminal, and NO_COLOR is not set.
bool wantsColours(Stream stream);

}  // namespace orvik::host
