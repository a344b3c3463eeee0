#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// How the doors walk through UTF-8.
namespace platform::locale {

/// What stands for bytes that are no UTF-8; no scalar has this number.
inline constexpr char32_t noScalar = 0xFFFFFFFF;

/// The scalar that begins at `at`, or `noScalar`; `at` moves behind it, or behind the longest part that could
/// have begun a valid sequence. Requires: `at` is less than the text's size.
char32_t nextScalar(std::string_view text, std::size_t& at) noexcept;

bool isASCII(std::string_view text) noexcept;

/// `offset` or, inside a sequence, its beginning; stays where it is among bytes that are no UTF-8.
std::size_t sequenceBegin(std::string_view text, std::size_t offset) noexcept;

/// A text with U+FFFD in place of what is no UTF-8.
std::string wellFormed(std::string_view text);

}  // namespace platform::locale
