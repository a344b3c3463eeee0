#include "orvik/Output/JSONRecord.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

#include "Platform/Locale/ControlCharacters.h"
#include "Platform/Locale/Text.h"

namespace orvik::host {

std::string jsonLine(const platform::json::Value& value) {
  auto text = value.text();
  if (std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; })) return text;
  std::string line;
  line.reserve(text.size());
  // Only texts hold such scalars, and none of them is beyond the basic plane.
  for (const char32_t scalar : platform::locale::scalars(text)) {
    if (platform::locale::isControl(scalar))
      line += fmt::format("\\u{:04x}", static_cast<std::uint32_t>(scalar));
    else
      platform::locale::appendUTF8(line, scalar);
  }
  return line;
}

}  // namespace orvik::host
