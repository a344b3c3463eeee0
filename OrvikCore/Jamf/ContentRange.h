#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace orvik {

/// What a Content-Range header says (RFC 9110, 14.4), each part as far as it can be read.
struct ContentRange {
  std::optional<std::int64_t> first;  ///< position of the first byte
  std::optional<std::int64_t> last;   ///< position of the last one; stated with `first` or not at all
  std::optional<std::int64_t> total;  ///< size of the whole file: the number behind the "/"

  /// "bytes 1000-1999/2000", "bytes */2000", "bytes 0-9/*". Never fails: what is no such text says nothing, a
  /// number above 2^63 - 1 included.
  static ContentRange parse(std::string_view text) noexcept;

  bool operator==(const ContentRange&) const = default;
};

/// A decimal number without a sign; nothing for any other text or beyond 63 bits.
std::optional<std::int64_t> parseByteCount(std::string_view text) noexcept;

}  // namespace orvik
