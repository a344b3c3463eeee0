#include "Platform/Locale/ControlCharacters.h"

namespace platform::locale {

bool isControl(char32_t scalar) noexcept {
  const auto isWithin = [scalar](char32_t first, char32_t last) { return scalar >= first && scalar <= last; };
  return scalar < 0x20 || isWithin(0x7F, 0x9F) || isWithin(0x2028, 0x202E) || isWithin(0x2066, 0x2069) ||
         isDirectionalMark(scalar);
}

bool isDirectionalMark(char32_t scalar) noexcept {
  return scalar == 0x200E || scalar == 0x200F || scalar == 0x061C;
}

}  // namespace platform::locale
