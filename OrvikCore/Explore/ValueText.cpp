#include <array>
#include <utility>

#include "OrvikCore/Explore/ObjectDescriber.h"
#include "Platform/Date.h"
#include "Platform/Locale/Text.h"

namespace orvik {

namespace {

namespace json = platform::json;
namespace locale = platform::locale;
using locale::LetterKind;

/// A date with time and zone as the user reads it; nothing for any other text. Such a date is ASCII, so that
/// bytes and characters are the same.
std::optional<std::string> prettyDate(std::string_view text) {
  if (text.size() < 20 || text.size() > 35 || text[4] != '-' || text[10] != 'T') return std::nullopt;
  const auto date = platform::parseZonedISO8601(text);
  return date ? std::optional(locale::dateText(*date)) : std::nullopt;
}

std::optional<std::string> objectText(json::View object) {
  for (const auto* key : {"name", "displayName"})
    if (auto text = ObjectDescriber::text(object[key])) return text;
  return std::to_string(object.members().count()) + " fields";
}

std::optional<std::string> listText(json::View list) {
  if (list.elements().empty()) return std::nullopt;
  std::optional<std::string> joined;
  for (const auto element : list.elements()) {
    const auto text = ObjectDescriber::text(element);
    if (!text) continue;
    if (joined)
      *joined += ", " + *text;
    else
      joined = *text;
  }
  return joined ? joined : std::to_string(list.elements().count()) + " items";
}

bool isASCII(char c) { return static_cast<unsigned char>(c) < 0x80; }

/// The end of the character of a key that begins at `at`.
std::size_t characterEnd(std::string_view key, std::size_t at) {
  if (at == key.size() || isASCII(key[at++])) return at;
  while (at < key.size() && (static_cast<unsigned char>(key[at]) & 0xC0) == 0x80) ++at;
  return at;
}

LetterKind kindAt(std::string_view key, std::size_t at) {
  if (at == key.size()) return LetterKind::other;
  const char c = key[at];
  if (c >= 'a' && c <= 'z') return LetterKind::lowercase;
  if (c >= 'A' && c <= 'Z') return LetterKind::uppercase;
  if (c >= '0' && c <= '9') return LetterKind::number;
  if (isASCII(c)) return LetterKind::other;
  return locale::letterKind(locale::scalars(key.substr(at, characterEnd(key, at) - at)).front());
}

bool endsWord(char c) { return c == '_' || c == '-' || c == ' '; }

bool startsWord(LetterKind before, LetterKind kind, LetterKind after) {
  if (kind != LetterKind::uppercase) return false;
  if (before == LetterKind::uppercase) return after == LetterKind::lowercase;
  return before == LetterKind::lowercase || before == LetterKind::number;
}

/// Whether a word equals its own upper-case form.
bool isUppercase(std::string_view word) {
  for (const char c : word) {
    if (c >= 'a' && c <= 'z') return false;
    if (!isASCII(c)) return locale::uppercased(word) == word;
  }
  return true;
}

/// Appends a word of a label: an acronym as it is, any other in lower case, the first with a capital.
void appendWord(std::string& label, std::string_view word) {
  if (word.empty()) return;
  const bool isFirst = label.empty();
  if (!isFirst) label += ' ';
  const bool isLong = characterEnd(word, 0) < word.size();
  if (isLong && isUppercase(word)) {
    label += word;
    return;
  }
  std::string lowered = locale::lowercased(word);
  if (isFirst) {
    const auto end = characterEnd(lowered, 0);
    lowered.replace(0, end, locale::uppercased(lowered.substr(0, end)));
  }
  label += lowered;
}

struct VariantName {
  std::string_view name;
  std::string_view title;
};
/// By rank.
constexpr std::array variantNames{VariantName{"pro", "Jamf Pro API"}, VariantName{"classic", "Classic API"},
                                  VariantName{"members", "Members"}, VariantName{"list", "List entry"}};

}  // namespace

ObjectDescriber::Value ObjectDescriber::unwrap(Value value) {
  const auto members = value.members();
  if (members.empty()) return value;
  auto next = members.begin();
  const Value inner = (*next).value;
  return ++next == members.end() && inner.isObject() ? inner : value;
}

std::optional<ObjectDescriber::Value> ObjectDescriber::node(const Path& path, Value value) {
  std::optional<Value> found = value;
  for (const auto key : path) {
    found = (*found)[key];
    if (!found) break;
  }
  return found;
}

std::optional<std::string> ObjectDescriber::text(const std::optional<Value>& value) {
  if (!value) return std::nullopt;
  switch (value->kind()) {
    case json::Kind::null:
      return std::nullopt;
    case json::Kind::boolean:
      return *value->boolean() ? "Yes" : "No";
    case json::Kind::integer:
    case json::Kind::unsignedInteger:
    case json::Kind::number:
      return value->serialized();
    case json::Kind::string: {
      auto date = prettyDate(*value->string());
      return date ? std::move(date) : std::string(*value->string());
    }
    case json::Kind::array:
      return listText(*value);
    case json::Kind::object:
      return objectText(*value);
  }
  return std::nullopt;
}

std::optional<std::string> ObjectDescriber::summary(Value value) {
  if (!value.isArray()) return std::nullopt;
  const auto count = value.elements().count();
  return count == 0 ? "none" : std::to_string(count);
}

std::string ObjectDescriber::label(std::string_view key) {
  std::string label;
  label.reserve(key.size() + 8);
  std::size_t wordStart = 0;
  const auto endWord = [&](std::size_t end, std::size_t next) {
    appendWord(label, key.substr(wordStart, end - wordStart));
    wordStart = next;
  };
  auto before = LetterKind::other;
  auto kind = kindAt(key, 0);
  for (std::size_t at = 0; at < key.size();) {
    const auto end = characterEnd(key, at);
    const auto after = kindAt(key, end);
    if (endsWord(key[at]))
      endWord(at, end);
    else if (startsWord(before, kind, after))
      endWord(at, at);
    before = kind;
    kind = after;
    at = end;
  }
  appendWord(label, key.substr(wordStart));
  return label;
}

std::string ObjectDescriber::variantTitle(std::string_view variant) {
  for (const auto& known : variantNames)
    if (known.name == variant) return std::string(known.title);
  return label(variant);
}

int ObjectDescriber::variantRank(std::string_view variant) {
  int rank = 0;
  for (const auto& known : variantNames) {
    if (known.name == variant) break;
    ++rank;
  }
  return rank;
}

bool ObjectDescriber::isSecretLike(std::string_view key) {
  const auto lowered = locale::lowercased(key);
  for (const auto* part : {"password", "secret", "token", "sha256"})
    if (lowered.find(part) != std::string::npos) return true;
  return false;
}

std::string ObjectDescriber::fileStatus(const FileRef& file) {
  switch (file.status) {
    case FileRef::Status::downloaded:
      return file.jamfHashVerified == false ? "Downloaded (hash differs from Jamf Pro)" : "Downloaded";
    case FileRef::Status::reused:
      return "Same as previous backup";
    case FileRef::Status::unavailable:
      return "Not available: " + file.message.value_or("no source");
    case FileRef::Status::failed:
      return "Failed: " + file.message.value_or("no reason is known");
    case FileRef::Status::skipped:
      return "Not downloaded (switched off)";
  }
  return {};
}

}  // namespace orvik
