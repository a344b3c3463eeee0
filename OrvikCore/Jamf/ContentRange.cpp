#include "OrvikCore/Jamf/ContentRange.h"

#include <algorithm>
#include <charconv>

namespace orvik {

namespace {

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// Range units are compared without case (RFC 9110, 14.1).
bool takeUnit(std::string_view& text) {
  constexpr std::string_view unit = "bytes";
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  if (text.size() <= unit.size() ||
      !std::equal(unit.begin(), unit.end(), text.begin(), [&](char a, char b) { return a == lower(b); }))
    return false;
  text.remove_prefix(unit.size());
  return text.front() == ' ' || text.front() == '\t';
}

}  // namespace

std::optional<std::int64_t> parseByteCount(std::string_view text) noexcept {
  if (text.empty() || text.front() == '-') return std::nullopt;
  std::int64_t value = 0;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (problem != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

ContentRange ContentRange::parse(std::string_view text) noexcept {
  ContentRange range;
  text = trimmed(text);
  if (!takeUnit(text)) return range;
  const auto slash = text.find('/');
  if (slash == std::string_view::npos) return range;
  range.total = parseByteCount(trimmed(text.substr(slash + 1)));
  const auto positions = trimmed(text.substr(0, slash));
  const auto dash = positions.find('-');
  if (dash == std::string_view::npos) return range;
  const auto first = parseByteCount(trimmed(positions.substr(0, dash)));
  const auto last = parseByteCount(trimmed(positions.substr(dash + 1)));
  if (!first || !last || *last < *first) return range;
  range.first = first;
  range.last = last;
  return range;
}

}  // namespace orvik
