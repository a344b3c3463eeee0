#include "orvik/Output/VisibleText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

#include "Platform/Locale/ControlCharacters.h"
#include "Platform/Locale/Text.h"

namespace orvik::host {

namespace {

namespace locale = platform::locale;

enum class Layout { kept, shown, blank };

void append(std::string& out, char32_t scalar) {
  if (!locale::isControl(scalar)) return locale::appendUTF8(out, scalar);
  // The Control Pictures of Unicode stand in the order of what they show.
  if (scalar < 0x20) return locale::appendUTF8(out, 0x2400 + scalar);
  if (scalar == 0x7F) return locale::appendUTF8(out, 0x2421);
  out += fmt::format("<U+{:04X}>", static_cast<std::uint32_t>(scalar));
}

std::string shown(std::string_view text, Layout layout) {
  if (std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; })) return std::string(text);
  std::string out;
  out.reserve(text.size());
  for (const char32_t scalar : locale::scalars(text)) {
    if (layout == Layout::shown || (scalar != '\n' && scalar != '\t'))
      append(out, scalar);
    else
      out += layout == Layout::kept ? static_cast<char>(scalar) : ' ';
  }
  return out;
}

}  // namespace

std::string visible(std::string_view text) { return shown(text, Layout::kept); }

std::string visibleLine(std::string_view text) { return shown(text, Layout::shown); }

std::string fitted(std::string_view text, std::size_t width) {
  const auto scalars = locale::scalars(shown(text, Layout::blank));
  std::string line;
  for (std::size_t i = 0; i < scalars.size() && i < width; ++i) {
    const bool isCut = i + 1 == width && scalars.size() > width;
    locale::appendUTF8(line, isCut ? U'\u2026' : scalars[i]);
  }
  return line;
}

std::string oneLine(std::string_view text) { return fitted(text, 2000); }

}  // namespace orvik::host
