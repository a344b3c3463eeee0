#include "Platform/Locale/DisplayWidth.h"

#include <unicode/uchar.h>

#include "Platform/Locale/Text.h"
#include "Platform/Locale/UTF8.h"

namespace platform::locale {

namespace {

std::size_t columnsOf(char32_t scalar) {
  const auto point = static_cast<UChar32>(scalar);
  constexpr UChar32 softHyphen = 0xAD;  // by its category nothing to see, but terminals show it
  if (point == softHyphen) return 1;
  constexpr auto unseen = U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK;
  if ((U_MASK(u_charType(point)) & unseen) != 0) return 0;
  // The vowels and final consonants of Hangul that join the syllable before them.
  const int syllable = u_getIntPropertyValue(point, UCHAR_HANGUL_SYLLABLE_TYPE);
  if (syllable == U_HST_VOWEL_JAMO || syllable == U_HST_TRAILING_JAMO) return 0;
  const int width = u_getIntPropertyValue(point, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

}  // namespace

std::size_t displayWidth(std::string_view text) {
  if (isASCII(text)) return text.size();
  std::size_t columns = 0;
  for (const char32_t scalar : scalars(text)) columns += columnsOf(scalar);
  return columns;
}

}  // namespace platform::locale
