#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>

#include <algorithm>

#include "Platform/Error.h"
#include "Platform/Locale/Text.h"
#include "Platform/Locale/UTF8.h"

namespace platform::locale {

namespace {

/// Sorting the marks of one letter takes time with the square of their number, so a text is composed in
/// pieces.
constexpr std::size_t longestPiece = 2048;

/// The end of the first piece: the last place that nothing is composed across. Among more marks than a piece
/// holds there is none.
std::size_t pieceLength(std::string_view text, const icu::Normalizer2& form) {
  if (text.size() <= longestPiece) return text.size();
  const std::size_t longest = sequenceBegin(text, longestPiece);
  for (std::size_t end = longest; end > 0; end = sequenceBegin(text, end - 1)) {
    std::size_t behind = end;
    if (form.hasBoundaryBefore(static_cast<UChar32>(nextScalar(text, behind)))) return end;
  }
  return longest;
}

}  // namespace

std::string composed(std::string_view text) {
  if (isASCII(text)) return std::string(text);
  if (!isValidUTF8(text)) return composed(wellFormed(text));
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* form = icu::Normalizer2::getNFCInstance(status);
  std::string whole;
  whole.reserve(text.size());
  icu::StringByteSink<std::string> sink(&whole);
  while (U_SUCCESS(status) && !text.empty()) {
    const std::size_t length = pieceLength(text, *form);
    form->normalizeUTF8(0, {text.data(), static_cast<std::int32_t>(length)}, sink, nullptr, status);
    text.remove_prefix(length);
  }
  if (U_FAILURE(status)) throw Error(std::string("A text can't be composed: ") + u_errorName(status));
  return whole;
}

}  // namespace platform::locale
