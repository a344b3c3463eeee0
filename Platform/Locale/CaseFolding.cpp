#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <array>

#include "Platform/Locale/Text.h"
#include "Platform/Locale/UTF8.h"
#include "Platform/Locale/UserLocale.h"

namespace platform::locale {

namespace {

/// A longer needle is looked for in a way that takes no more time in a text made against it.
constexpr std::size_t longestSimpleNeedle = 64;

/// Where in the folded text a scalar goes on whose folding began before.
constexpr std::size_t inside = static_cast<std::size_t>(-1);

/// Whether I and i are two letters, each with another partner, for this user.
bool isTurkic() {
  const std::string name = userLocale("LC_CTYPE");
  const auto language = std::string_view(name).substr(0, name.find('_'));
  return language == "tr" || language == "az";
}

/// One scalar in folded form.
struct Folded {
  std::array<char32_t, 4> scalars{};
  std::size_t count = 0;
};

/// Folding knows no context, so a text is folded scalar by scalar; what is no UTF-8 counts as U+FFFD.
Folded fold(char32_t scalar, std::uint32_t options) {
  Folded folded;
  std::array<UChar, 2> source{};
  std::array<UChar, 8> target{};
  std::int32_t length = 0;
  U16_APPEND_UNSAFE(source, length, scalar == noScalar ? 0xFFFD : static_cast<UChar32>(scalar));
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t end = u_strFoldCase(target.data(), static_cast<std::int32_t>(target.size()),
                                         source.data(), length, options, &status);
  for (std::int32_t at = 0; at < end && folded.count < folded.scalars.size();) {
    UChar32 next = 0;
    U16_NEXT(target, at, end, next);
    folded.scalars[folded.count++] = static_cast<char32_t>(next);
  }
  return folded;
}

std::vector<char32_t> folded(std::string_view text, std::uint32_t options) {
  std::vector<char32_t> all;
  for (std::size_t at = 0; at < text.size();) {
    const Folded one = fold(nextScalar(text, at), options);
    all.insert(all.end(), one.scalars.begin(), one.scalars.begin() + static_cast<std::ptrdiff_t>(one.count));
  }
  return all;
}

/// For each position of the needle the length of the longest beginning of it that ends there, too, itself
/// apart (Knuth, Morris and Pratt).
std::vector<std::size_t> bordersOf(const std::vector<char32_t>& needle) {
  std::vector<std::size_t> borders(needle.size());
  for (std::size_t at = 1, length = 0; at < needle.size(); ++at) {
    while (length > 0 && needle[length] != needle[at]) length = borders[length - 1];
    if (needle[length] == needle[at]) ++length;
    borders[at] = length;
  }
  return borders;
}

/// Reads the text once, whatever stands in it, and remembers of it as much as the needle is long.
std::optional<Range> findFolded(std::string_view text, const std::vector<char32_t>& needle,
                                std::uint32_t options) {
  const std::vector<std::size_t> borders = bordersOf(needle);
  std::vector<std::size_t> begins(needle.size(), inside);  // where the last folded scalars come from, a ring
  std::size_t slot = 0;
  std::size_t matched = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t begin = at;
    const Folded one = fold(nextScalar(text, at), options);
    for (std::size_t i = 0; i < one.count; ++i) {
      begins[slot] = i == 0 ? begin : inside;
      slot = slot + 1 == begins.size() ? 0 : slot + 1;
      if (matched == needle.size()) matched = borders[matched - 1];
      while (matched > 0 && needle[matched] != one.scalars[i]) matched = borders[matched - 1];
      if (needle[matched] == one.scalars[i]) ++matched;
      const bool isWhole = matched == needle.size() && i + 1 == one.count && begins[slot] != inside;
      if (isWhole) return Range{begins[slot], at};
    }
  }
  return std::nullopt;
}

/// Among ASCII alone the Turkic I has no partner.
struct ASCIIFolding {
  bool turkic = false;

  bool hasCase(char c) const {
    return ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) && !(turkic && (c == 'i' || c == 'I'));
  }
  bool equal(char a, char b) const { return a == b || ((a ^ b) == 0x20 && hasCase(a)); }
};

std::optional<Range> findASCII(std::string_view text, std::string_view needle, ASCIIFolding folding) {
  constexpr auto none = std::string_view::npos;
  const char first = needle.front();
  const char other = static_cast<char>(first ^ 0x20);
  std::size_t nextFirst = text.find(first);
  std::size_t nextOther = folding.hasCase(first) ? text.find(other) : none;
  for (;;) {
    const std::size_t at = std::min(nextFirst, nextOther);
    if (at == none || text.size() - at < needle.size()) return std::nullopt;
    const auto equal = [&](char a, char b) { return folding.equal(a, b); };
    if (std::ranges::equal(text.substr(at, needle.size()), needle, equal))
      return Range{at, at + needle.size()};
    (at == nextFirst ? nextFirst : nextOther) = text.find(text[at], at + 1);
  }
}

}  // namespace

std::optional<Range> findIgnoringCase(std::string_view text, std::string_view needle) {
  if (needle.empty()) return std::nullopt;
  const bool turkic = isTurkic();
  if (needle.size() <= longestSimpleNeedle && isASCII(needle) && isASCII(text))
    return findASCII(text, needle, {turkic});
  const std::uint32_t options = turkic ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT;
  return findFolded(text, folded(needle, options), options);
}

}  // namespace platform::locale
