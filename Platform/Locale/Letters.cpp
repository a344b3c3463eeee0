#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/uchar.h>

#include <algorithm>

#include "Platform/Error.h"
#include "Platform/Locale/Text.h"
#include "Platform/Locale/UTF8.h"

namespace platform::locale {

namespace {

/// ICU counts in 32 bits; a longer text is taken in pieces.
constexpr std::size_t longestPiece = std::size_t{1} << 28;

char lowercasedASCII(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }
char uppercasedASCII(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c; }

/// Inlines `recaseASCII`: the text of whole documents goes through here.
template <class RecaseASCII, class Recase>
std::string recased(std::string_view text, RecaseASCII recaseASCII, Recase recase) {
  std::string out;
  if (isASCII(text)) {
    out.resize(text.size());
    std::ranges::transform(text, out.begin(), recaseASCII);
    return out;
  }
  if (!isValidUTF8(text)) return recased(wellFormed(text), recaseASCII, recase);
  out.reserve(text.size());
  icu::StringByteSink<std::string> sink(&out);
  while (!text.empty()) {
    const std::size_t length = sequenceBegin(text, std::min(text.size(), longestPiece));
    UErrorCode status = U_ZERO_ERROR;
    recase(icu::StringPiece(text.data(), static_cast<std::int32_t>(length)), sink, status);
    if (U_FAILURE(status))
      throw Error(std::string("A text can't be written in another case: ") + u_errorName(status));
    text.remove_prefix(length);
  }
  return out;
}

}  // namespace

bool isAlphanumeric(char32_t scalar) {
  const auto category = U_GET_GC_MASK(static_cast<UChar32>(scalar));
  return (category & (U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK)) != 0;
}

LetterKind letterKind(char32_t scalar) {
  const auto c = static_cast<UChar32>(scalar);
  if (u_isULowercase(c)) return LetterKind::lowercase;
  if (u_isUUppercase(c)) return LetterKind::uppercase;
  return (U_GET_GC_MASK(c) & U_GC_N_MASK) != 0 ? LetterKind::number : LetterKind::other;
}

std::string lowercased(std::string_view text) {
  return recased(
      text, [](char c) { return lowercasedASCII(c); },
      [](icu::StringPiece piece, icu::ByteSink& sink, UErrorCode& status) {
        icu::CaseMap::utf8ToLower("", 0, piece, sink, nullptr, status);
      });
}

std::string uppercased(std::string_view text) {
  return recased(
      text, [](char c) { return uppercasedASCII(c); },
      [](icu::StringPiece piece, icu::ByteSink& sink, UErrorCode& status) {
        icu::CaseMap::utf8ToUpper("", 0, piece, sink, nullptr, status);
      });
}

}  // namespace platform::locale
