#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/utext.h>

#include <algorithm>
#include <memory>

#include "Platform/Error.h"
#include "Platform/Locale/Text.h"
#include "Platform/Locale/UTF8.h"

namespace platform::locale {

namespace {

/// The rules look at a text in parts of so many bytes, so that none takes long, whatever stands in it.
constexpr std::size_t longestPart = 65536;

/// A text in ICU's hands.
class Opened {
 public:
  explicit Opened(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    utext_openUTF8(&text_, text.data(), static_cast<std::int64_t>(text.size()), &status);
    breaker().setText(&text_, status);
    if (U_FAILURE(status)) throw Error(std::string("A text can't be read: ") + u_errorName(status));
  }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;
  ~Opened() { utext_close(&text_); }

  /// Finding characters changes the finder, so each thread has its own.
  static icu::BreakIterator& breaker() {
    thread_local const std::unique_ptr<icu::BreakIterator> breaker = [] {
      UErrorCode status = U_ZERO_ERROR;
      std::unique_ptr<icu::BreakIterator> made(
          icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
      if (!made || U_FAILURE(status))
        throw Error(std::string("The rules of characters can't be read: ") + u_errorName(status));
      return made;
    }();
    return *breaker;
  }

 private:
  UText text_ = UTEXT_INITIALIZER;
};

/// Passes over the characters in front, at most `count`, and counts them; returns their size. One that
/// reaches the end of a part of the text may go on behind it and waits for the next part, unless it is all of
/// it.
std::size_t passFront(std::string_view text, std::size_t& count) {
  const bool isWhole = text.size() <= longestPart;
  if (!isWhole) text = text.substr(0, sequenceBegin(text, longestPart));
  const Opened opened(text);
  std::size_t passed = 0;
  while (count > 0 && passed < text.size()) {
    const auto end = static_cast<std::size_t>(Opened::breaker().next());
    if (!isWhole && end == text.size() && passed > 0) break;
    passed = end;
    --count;
  }
  return passed;
}

/// The same from the text's end on.
std::size_t passBack(std::string_view text, std::size_t& count) {
  const bool isWhole = text.size() <= longestPart;
  if (!isWhole) text.remove_prefix(sequenceBegin(text, text.size() - longestPart));
  const Opened opened(text);
  auto begin = static_cast<std::size_t>(Opened::breaker().last());
  while (count > 0 && begin > 0) {
    const auto next = static_cast<std::size_t>(Opened::breaker().previous());
    if (!isWhole && next == 0 && begin < text.size()) break;
    begin = next;
    --count;
  }
  return text.size() - begin;
}

/// The length of the character that ends the text where that is ASCII after ASCII, which needs no rules but
/// one; else 0.
std::size_t plainCharacterBehind(std::string_view text) {
  const std::string_view last = text.substr(text.size() - std::min<std::size_t>(text.size(), 2));
  if (!isASCII(last)) return 0;
  return last == "\r\n" ? 2 : std::min<std::size_t>(last.size(), 1);
}

/// The same at the beginning, where the second byte may not belong to what joins the first.
std::size_t plainCharacterInFront(std::string_view text) {
  const std::string_view first = text.substr(0, 2);
  if (!isASCII(first)) return 0;
  return first == "\r\n" ? 2 : std::min<std::size_t>(first.size(), 1);
}

}  // namespace

std::size_t charactersBefore(std::string_view text, std::size_t offset, std::size_t count) {
  text = text.substr(0, offset);
  for (std::size_t plain; count > 0 && (plain = plainCharacterBehind(text)) > 0; --count)
    text.remove_suffix(plain);
  while (count > 0 && !text.empty()) text.remove_suffix(passBack(text, count));
  return text.size();
}

std::size_t charactersAfter(std::string_view text, std::size_t offset, std::size_t count) {
  const std::size_t size = text.size();
  text.remove_prefix(std::min(size, offset));
  for (std::size_t plain; count > 0 && (plain = plainCharacterInFront(text)) > 0; --count)
    text.remove_prefix(plain);
  while (count > 0 && !text.empty()) text.remove_prefix(passFront(text, count));
  return size - text.size();
}

}  // namespace platform::locale
