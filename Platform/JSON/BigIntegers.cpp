#include "Platform/JSON/BigIntegers.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <system_error>

namespace platform::json::detail {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool belongsToNumber(char c) {
  return isDigit(c) || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}

bool endsToken(char c) { return std::string_view(" \t\n\r,:]}[{").find(c) != std::string_view::npos; }

bool isInteger(std::string_view token) {
  if (token.starts_with('-')) token.remove_prefix(1);
  if (token.empty() || (token.front() == '0' && token.size() > 1)) return false;
  for (const char c : token)
    if (!isDigit(c)) return false;
  return true;
}

template <class Number>
bool exceeds(std::string_view token) {
  Number value = 0;
  return std::from_chars(token.data(), token.data() + token.size(), value).ec ==
         std::errc::result_out_of_range;
}

bool isBigInteger(std::string_view token) {
  constexpr std::size_t shortestBig = 19;
  if (token.size() < shortestBig || !isInteger(token)) return false;
  return token.front() == '-' ? exceeds<std::int64_t>(token) : exceeds<std::uint64_t>(token);
}

/// The index behind the text that opens at `start`.
std::size_t skipString(std::string_view json, std::size_t start) {
  std::size_t i = start + 1;
  while (i < json.size() && json[i] != '"') i += json[i] == '\\' ? 2 : 1;
  return i < json.size() ? i + 1 : json.size();
}

}  // namespace

std::optional<Bytes> markBigIntegers(std::string_view json) {
  Bytes marked;
  std::size_t copied = 0;
  std::size_t i = 0;
  while (i < json.size()) {
    if (json[i] == '"') {
      i = skipString(json, i);
    } else if (!belongsToNumber(json[i])) {
      ++i;
    } else {
      const std::size_t start = i;
      while (i < json.size() && belongsToNumber(json[i])) ++i;
      const bool stands =
          (start == 0 || endsToken(json[start - 1])) && (i == json.size() || endsToken(json[i]));
      if (!stands || !isBigInteger(json.substr(start, i - start))) continue;
      marked.append(json, copied, i - copied).append("e0");
      copied = i;
    }
  }
  if (copied == 0) return std::nullopt;
  marked.append(json, copied);
  return marked;
}

}  // namespace platform::json::detail
