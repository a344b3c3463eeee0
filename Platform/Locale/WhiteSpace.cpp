#include <algorithm>
#include <array>

#include "Platform/Locale/Text.h"

namespace platform::locale {

namespace {

using namespace std::string_view_literals;

/// White space beyond ASCII as UTF-8.
constexpr std::array wideWhiteSpace{"\xC2\x85"sv,     "\xC2\xA0"sv,     "\xE1\x9A\x80"sv, "\xE2\x80\x80"sv,
                                    "\xE2\x80\x81"sv, "\xE2\x80\x82"sv, "\xE2\x80\x83"sv, "\xE2\x80\x84"sv,
                                    "\xE2\x80\x85"sv, "\xE2\x80\x86"sv, "\xE2\x80\x87"sv, "\xE2\x80\x88"sv,
                                    "\xE2\x80\x89"sv, "\xE2\x80\x8A"sv, "\xE2\x80\xA8"sv, "\xE2\x80\xA9"sv,
                                    "\xE2\x80\xAF"sv, "\xE2\x81\x9F"sv, "\xE3\x80\x80"sv};

bool isLineEnd(char c) noexcept { return c >= '\n' && c <= '\r'; }

bool isNarrowWhiteSpace(char c) noexcept { return c == ' ' || c == '\t' || isLineEnd(c); }

std::size_t whiteSpaceInFront(std::string_view text) noexcept {
  if (text.empty()) return 0;
  if (isNarrowWhiteSpace(text.front())) return 1;
  for (const auto space : wideWhiteSpace)
    if (text.starts_with(space)) return space.size();
  return 0;
}

std::size_t whiteSpaceBehind(std::string_view text) noexcept {
  if (text.empty()) return 0;
  if (isNarrowWhiteSpace(text.back())) return 1;
  for (const auto space : wideWhiteSpace)
    if (text.ends_with(space)) return space.size();
  return 0;
}

std::size_t lineEndAt(std::string_view text) noexcept {
  if (isLineEnd(text.front())) return 1;
  for (const auto end : {"\xC2\x85"sv, "\xE2\x80\xA8"sv, "\xE2\x80\xA9"sv})
    if (text.starts_with(end)) return end.size();
  return 0;
}

}  // namespace

std::string_view trimmed(std::string_view text) noexcept {
  while (const auto size = whiteSpaceInFront(text)) text.remove_prefix(size);
  while (const auto size = whiteSpaceBehind(text)) text.remove_suffix(size);
  return text;
}

std::vector<std::string_view> lines(std::string_view text) {
  std::vector<std::string_view> all;
  std::size_t start = 0;
  for (std::size_t at = 0; at < text.size();) {
    const auto end = lineEndAt(text.substr(at));
    if (end == 0) {
      ++at;
      continue;
    }
    all.push_back(text.substr(start, at - start));
    at += end;
    start = at;
  }
  all.push_back(text.substr(start));
  return all;
}

}  // namespace platform::locale
