#include <unicode/coll.h>
#include <unicode/unistr.h>

#include <memory>

#include "Platform/Locale/Text.h"
#include "Platform/Locale/UserLocale.h"

namespace platform::locale {

namespace {

constexpr std::size_t longestName = 65536;

/// A collator may not be shared by threads while it is made, so each has its own, made again when the
/// environment names another locale.
const icu::Collator* userCollator() {
  thread_local std::string name;
  thread_local std::unique_ptr<icu::Collator> collator;
  std::string wanted = userLocale("LC_COLLATE");
  if (collator && wanted == name) return collator.get();
  UErrorCode status = U_ZERO_ERROR;
  // The empty name would mean the process's default locale, not the root.
  const icu::Locale locale = wanted.empty() ? icu::Locale::getRoot() : icu::Locale(wanted.c_str());
  collator.reset(icu::Collator::createInstance(locale, status));
  if (collator) {
    collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    collator->setAttribute(UCOL_CASE_FIRST, UCOL_UPPER_FIRST, status);
  }
  if (U_FAILURE(status)) collator.reset();
  name = std::move(wanted);
  return collator.get();
}

}  // namespace

std::string sortKey(std::string_view text) {
  text = text.substr(0, longestName);
  const icu::Collator* collator = userCollator();
  if (!collator) return std::string(text);
  const auto wide = icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
  std::string key(text.size() * 2 + 16, '\0');
  const auto fill = [&] {
    return static_cast<std::size_t>(collator->getSortKey(wide, reinterpret_cast<std::uint8_t*>(key.data()),
                                                         static_cast<std::int32_t>(key.size())));
  };
  const std::size_t length = fill();
  const bool complete = length <= key.size();
  key.resize(length);
  if (!complete) fill();
  if (!key.empty()) key.pop_back();  // the terminating zero
  return key;
}

}  // namespace platform::locale
