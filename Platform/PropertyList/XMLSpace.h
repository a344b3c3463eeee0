#pragma once

#include <string_view>

namespace platform::plist::detail {

/// White space between elements (XML 1.0, production 3).
constexpr bool isSpace(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

constexpr std::string_view trimmed(std::string_view text) noexcept {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace platform::plist::detail
