#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Date.h"

/// Text as people read it, in the locale and time zone of the user's environment (LC_ALL, LC_*, LANG, TZ).
/// Any thread may call. The locale is looked up at each call, the zone when the process first needs it (or at
/// `tzset`); nothing may change the environment meanwhile.
namespace platform::locale {

/// A byte count in file style, decimal units: "Zero KB", "1 byte", "512 bytes", then KB without decimals, MB
/// with at most one, GB and above with at most two, trailing zeros dropped, a plain blank before the unit:
/// "1.2 MB". Halves round away from zero, and what would round to 1000 of a unit is 1 of the next: 999,950
/// bytes are "1 MB". A negative count is the text of its magnitude behind "-". Always with a decimal point
/// and in English.
std::string byteCount(std::int64_t bytes);

/// Medium date and short time in the user's locale and zone.
std::string dateText(Date date);

/// The date and time with milliseconds and the zone's offset: 2025-03-04T10:15:00.123+01:00, in the current
/// zone. An offset is shown in whole minutes, and the time with it, so that the text always names `date`.
std::string zonedISO8601(Date date);

/// A key that sorts by the user's locale with numbers compared by value and, of texts that differ in case
/// alone, the upper case first: compare keys as bytes. Only the first 65,536 bytes of a text count. Names
/// without a language (C, POSIX) sort by Unicode's root order.
std::string sortKey(std::string_view text);

/// Whether a Unicode scalar is a letter, a mark or a number.
bool isAlphanumeric(char32_t scalar);

/// What a Unicode scalar is in a name of joined words; numbers are those of any script.
enum class LetterKind { lowercase, uppercase, number, other };
LetterKind letterKind(char32_t scalar);

/// Unicode lower and upper case, independent of the locale; ASCII has a fast path. Invalid UTF-8 becomes
/// U+FFFD.
std::string lowercased(std::string_view text);
std::string uppercased(std::string_view text);

/// A part of a text, in bytes.
struct Range {
  std::size_t begin = 0;
  std::size_t end = 0;
};

/// Where `needle` first stands in `text`, in whatever case: both are compared by Unicode case folding, with
/// the dotless i of the Turkic locales (LC_CTYPE); invalid UTF-8 is taken for U+FFFD. A match begins and ends
/// between Unicode scalars of `text`, so that "s" is not found in "ß", but "ss" is. Nothing for an empty
/// needle. Time and memory are linear, whatever stands in the two.
std::optional<Range> findIgnoringCase(std::string_view text, std::string_view needle);

/// A text in the composed normal form of Unicode (NFC), in which an accented letter is one scalar where there
/// is one. ASCII has a fast path. Invalid UTF-8 becomes U+FFFD. Of a thousand marks on one letter only those
/// of one stretch are brought into order.
std::string composed(std::string_view text);

/// The offset of the beginning of the `count`th character before `offset`, or 0 where there are fewer.
/// Characters are what people see as one (UAX #29, extended grapheme clusters); `offset` counts as the
/// beginning of one, and one beyond the text is its end. A character of more than 65,536 bytes counts as
/// several. Takes time for the characters passed over alone.
std::size_t charactersBefore(std::string_view text, std::size_t offset, std::size_t count);
/// The same in the other direction: the end of the `count`th character from `offset` on, or the text's end.
std::size_t charactersAfter(std::string_view text, std::size_t offset, std::size_t count);

/// Each Unicode scalar of `text`; an invalid sequence yields U+FFFD, one for each longest part that could
/// have begun a valid one.
std::vector<char32_t> scalars(std::string_view text);

/// Appends a Unicode scalar as UTF-8; U+FFFD for a number that is none.
void appendUTF8(std::string& out, char32_t scalar);

/// The beginning of a text, of at most so many bytes, cut between scalars.
std::string_view beginning(std::string_view text, std::size_t mostBytes) noexcept;

/// `text` without white space and line ends (Unicode property White_Space) at both ends.
std::string_view trimmed(std::string_view text) noexcept;

/// The lines of a text, cut at LF, VT, FF, CR, NEL, LINE SEPARATOR and PARAGRAPH SEPARATOR, which belong to
/// none; between CR and LF stands an empty one. Valid while the text is.
std::vector<std::string_view> lines(std::string_view text);

/// Whether `text` is valid UTF-8.
bool isValidUTF8(std::string_view text) noexcept;

}  // namespace platform::locale
