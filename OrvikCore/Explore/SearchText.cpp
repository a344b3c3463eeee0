#include "OrvikCore/Explore/SearchText.h"

#include <fmt/format.h>
#include <algorithm>

#include <functional>

#include "OrvikCore/Explore/JSONDiff.h"
#include "OrvikCore/Explore/ObjectDescriber.h"
#include "Platform/Locale/Text.h"

namespace orvik::searchText {

namespace json = platform::json;
namespace locale = platform::locale;

namespace {

constexpr std::size_t charactersAhead = 40;
constexpr std::size_t charactersBehind = 60;

void append(std::string& text, std::string_view piece) {
  const auto start = text.size();
  text += piece;
  const auto letters = text.begin() + static_cast<std::ptrdiff_t>(start);
  unsigned char all = 0;
  std::transform(letters, text.end(), letters, [&all](char c) {
    all |= static_cast<unsigned char>(c);
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
  });
  if (all >= 0x80) text.replace(start, text.npos, folded(piece));
  text += '\n';
}

void appendLeaves(std::string& text, json::View value) {
  if (value.isObject()) {
    for (const auto& [key, member] : value.members()) appendLeaves(text, member);
  } else if (value.isArray()) {
    for (const json::View element : value.elements()) appendLeaves(text, element);
  } else if (const auto string = value.string()) {
    append(text, *string);
  } else if (!value.isNull() && !value.boolean()) {
    text += value.serialized();
    text += '\n';
  }
}

std::string withLineFeedsShown(std::string_view piece) {
  std::string shown;
  for (const char c : piece) {
    if (c == '\n')
      shown += " ⏎ ";
    else
      shown += c;
  }
  return shown;
}

std::string excerpt(const std::string& path, std::string_view text, locale::Range match) {
  const auto begin = locale::charactersBefore(text, match.begin, charactersAhead);
  const auto end = locale::charactersAfter(text, match.end, charactersBehind);
  const auto piece = withLineFeedsShown(text.substr(begin, end - begin));
  return fmt::format("{}: {}{}{}", path, begin > 0 ? "…" : "", locale::trimmed(piece),
                     end < text.size() ? "…" : "");
}

}  // namespace

std::string folded(std::string_view text) { return locale::lowercased(locale::composed(text)); }

std::string of(const platform::Bytes& bytes) {
  std::string text;
  json::lookAt(bytes, [&](json::View root) {
    text.reserve(bytes.size() / 2);
    appendLeaves(text, root);
  });
  if (!text.empty()) text.pop_back();
  text.shrink_to_fit();
  return text;
}

std::vector<std::string> excerpts(json::View value, std::string_view needle) {
  std::vector<std::string> found;
  JSONDiff::forEachLeaf(value, [&](const std::function<std::string()>& path, json::View leaf) {
    const auto text = locale::composed(ObjectDescriber::text(leaf).value_or(""));
    if (const auto match = locale::findIgnoringCase(text, needle))
      found.push_back(excerpt(path(), text, *match));
    return found.size() < mostExcerpts;
  });
  return found;
}

}  // namespace orvik::searchText
