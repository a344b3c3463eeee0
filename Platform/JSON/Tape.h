#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

/// The parsed form that views, documents and the canonical rendering walk. For this folder; others look
/// through `View`.
namespace platform::json::detail {

/// A look at the tape of one parsed document; it owns nothing.
///
/// Layout: 64-bit words, the tag in the upper 8 bits, a payload in the lower 56. Word 0 is the document's
/// own, the root value begins at word 1.
///
///     '{' '['      the lower 32 bits are the index behind the closing word
///     '}' ']'      closing words
///     '"'          offset into `strings`: 4 bytes length (host order), the UTF-8 text, a NUL
///     'l' 'u' 'd'  the next word is a signed or unsigned integer, or a double
///     't' 'f' 'n'  literals
///
/// `strings` is readable at least 32 bytes beyond the end of any text.
struct Tape {
  const std::uint64_t* words = nullptr;
  const char* strings = nullptr;

  static constexpr std::size_t rootIndex = 1;

  char tag(std::size_t index) const { return static_cast<char>(words[index] >> 56); }
  std::uint64_t payload(std::size_t index) const { return words[index] & 0x00FF'FFFF'FFFF'FFFFU; }

  /// The index behind the value at `index`.
  std::size_t next(std::size_t index) const {
    switch (tag(index)) {
      case '{':
      case '[':
        return static_cast<std::uint32_t>(words[index]);
      case 'l':
      case 'u':
      case 'd':
        return index + 2;
      default:
        return index + 1;
    }
  }

  std::string_view string(std::size_t index) const {
    const char* start = strings + payload(index);
    std::uint32_t length = 0;
    std::memcpy(&length, start, sizeof length);
    return {start + sizeof length, length};
  }

  template <class Number>
  Number number(std::size_t index) const {
    static_assert(sizeof(Number) == sizeof(std::uint64_t));
    Number value{};
    std::memcpy(&value, words + index + 1, sizeof value);
    return value;
  }
};

}  // namespace platform::json::detail
