#include "Platform/PDF/RepeatedResources.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <string_view>

namespace platform::pdf {

namespace {

constexpr std::string_view opening = "\n   /XObject <<";
constexpr std::string_view closing = " >>\n";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The length of " /x<number> <number> 0 R" at the beginning of a text; 0 when something else stands there.
std::size_t entryLength(std::string_view text) {
  std::size_t at = 0;
  const auto skip = [&](std::string_view part) {
    if (!text.substr(at).starts_with(part)) return false;
    at += part.size();
    return true;
  };
  const auto skipNumber = [&] {
    const auto begin = at;
    while (at < text.size() && isDigit(text[at])) ++at;
    return at > begin;
  };
  return skip(" /x") && skipNumber() && skip(" ") && skipNumber() && skip(" 0 R") ? at : 0;
}

}  // namespace

void blankRepeatedResources(Bytes& document) {
  for (auto at = document.find(opening); at != document.npos; at = document.find(opening, at)) {
    at += opening.size();
    const auto end = document.find(closing, at);
    if (end == document.npos) return;
    std::set<std::string, std::less<>> known;
    for (std::size_t length; at < end; at += length) {
      const std::string_view rest(document.data() + at, end - at);
      length = entryLength(rest);
      if (length == 0) break;  // not a table of Cairo's
      if (!known.emplace(rest.substr(0, length)).second)
        std::fill_n(document.begin() + static_cast<std::ptrdiff_t>(at), length, ' ');
    }
  }
}

}  // namespace platform::pdf
