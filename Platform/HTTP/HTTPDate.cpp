#include "Platform/HTTP/HTTPDate.h"

#include <fmt/format.h>

namespace platform {

namespace {

// Where the parts of "Sun, 06 Nov 1994 08:49:37 GMT" stand.
constexpr std::size_t length = 29;
constexpr std::size_t nameLength = 3;
constexpr std::size_t dayAt = 5, monthAt = 8, yearAt = 12, timeAt = 17;

/// From 1; 0 for what is no month.
std::size_t monthNumber(std::string_view name) {
  constexpr std::string_view months = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const auto found = months.find(name);
  return found == months.npos || found % nameLength != 0 ? 0 : found / nameLength + 1;
}

}  // namespace

std::optional<Date> parseHTTPDate(std::string_view text) {
  if (text.size() != length || !text.ends_with(" GMT") || text.substr(nameLength, 2) != ", ") return {};
  if (text[monthAt - 1] != ' ' || text[yearAt - 1] != ' ' || text[timeAt - 1] != ' ') return {};
  // The day's name says nothing that the date doesn't.
  return parseISO8601(fmt::format("{}-{:02}-{}T{}Z", text.substr(yearAt, 4),
                                  monthNumber(text.substr(monthAt, nameLength)), text.substr(dayAt, 2),
                                  text.substr(timeAt, 8)));
}

}  // namespace platform
