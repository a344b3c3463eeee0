#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "Platform/JSON/Tape.h"

namespace platform::json::detail {

/// Documents above this many bytes leave no memory behind in their thread.
inline constexpr std::size_t largestKeptDocument = std::size_t{16} << 20;

/// The parser of one thread, with the memory that it reuses from document to document.
class Reader {
 public:
  /// Lives as long as the thread; not to be handed to another.
  static Reader& ofThisThread();

  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  struct Result {
    Tape tape;
    /// Nothing on success, else why the bytes are not JSON ("they are not valid UTF-8").
    const char* problem = nullptr;
  };

  /// Parses into the reader's own memory: the tape is valid until the next call of any member. `spare` bytes
  /// behind `bytes` may be read (never interpreted); where they suffice for the parser, nothing is copied.
  /// Throws `Error` when memory runs out.
  Result read(std::string_view bytes, std::size_t spare = 0);

  /// Gives back the memory of a document above `largestKeptDocument`.
  void shrink() noexcept;

 private:
  friend struct DocumentAccess;
  Reader();
  struct Body;
  std::unique_ptr<Body> body_;
};

}  // namespace platform::json::detail
