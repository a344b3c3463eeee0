#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>

#include "Platform/Locale/Text.h"
#include "Platform/Locale/UTF8.h"

namespace platform::locale {

namespace {

/// ICU counts in 32 bits; a longer text is lowered in pieces.
constexpr std::size_t longestPiece = std::size_t{1} << 28;

char lowercasedASCII(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

}  // namespace

bool isAlphanumeric(char32_t scalar) {
  const auto category = U_GET_GC_MASK(static_cast<UChar32>(scalar));
  return (category & (U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK)) != 0;
}

std::string lowercased(std::string_view text) {
  std::string lower;
  if (isASCII(text)) {
    lower.resize(text.size());
    std::ranges::transform(text, lower.begin(), lowercasedASCII);
    return lower;
  }
  lower.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = sequenceBegin(text, std::min(text.size(), longestPiece));
    auto wide = icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(length)});
    wide.toLower(icu::Locale::getRoot()).toUTF8String(lower);
    text.remove_prefix(length);
  }
  return lower;
}

}  // namespace platform::locale
