#include "Platform/PDF/Text.h"

#include <algorithm>

#include "Platform/Locale/ControlCharacters.h"
#include "Platform/Locale/Text.h"
#include "Platform/Locale/UTF8.h"

namespace platform::pdf {

namespace {

constexpr char32_t replacement = 0xFFFD;

bool isPlain(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
}

/// The Unicode Standard, 23.7: they are UTF-8 and no characters, and the drawing library refuses the whole
/// text.
bool isNoncharacter(char32_t scalar) {
  return (scalar & 0xFFFE) == 0xFFFE || (scalar >= 0xFDD0 && scalar <= 0xFDEF);
}

char32_t drawn(char32_t scalar) {
  if (scalar == U'\t') return U' ';
  const bool isDrawn = !locale::isControl(scalar) || locale::isDirectionalMark(scalar);
  return isDrawn && scalar != locale::noScalar && !isNoncharacter(scalar) ? scalar : replacement;
}

}  // namespace

std::string drawable(std::string_view text, char32_t lineEnd) {
  if (isPlain(text)) return std::string(text);
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    if (text.substr(at).starts_with("\r\n")) ++at;
    const char32_t scalar = locale::nextScalar(text, at);
    locale::appendUTF8(out, scalar == U'\n' ? lineEnd : drawn(scalar));
  }
  return out;
}

std::string_view beginning(std::string_view text, std::size_t characters) {
  if (text.size() <= characters) return text;
  return text.substr(0, locale::charactersAfter(text, 0, characters));
}

}  // namespace platform::pdf
