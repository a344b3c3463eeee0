#include "orvik/Environment.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "Platform/Locale/Text.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::environment {

std::string variableFor(std::string_view option) {
  std::string name = "ORVIK_";
  for (const char c : option)
    name += c == '-' ? '_' : c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return name;
}

std::optional<std::string> value(std::string_view option) {
  const char* text = std::getenv(variableFor(option).c_str());
  if (text == nullptr || *text == '\0') return std::nullopt;
  return text;
}

bool flag(std::string_view option, std::string_view value) {
  constexpr std::array<std::string_view, 4> yes{"1", "true", "yes", "on"};
  constexpr std::array<std::string_view, 4> no{"0", "false", "no", "off"};
  const auto text = platform::locale::lowercased(value);
  if (std::ranges::find(yes, text) != yes.end()) return true;
  if (std::ranges::find(no, text) != no.end()) return false;
  throw UsageError(fmt::format("{} is neither yes nor no.", variableFor(option)));
}

}  // namespace orvik::host::environment
