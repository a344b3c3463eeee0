#include "orvik/Explore/ChangeText.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "OrvikCore/Explore/CommonStart.h"
#include "Platform/Locale/Text.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host::changeText {

namespace {

namespace locale = platform::locale;
using platform::json::Value;
using Ink = Paint::Ink;
using Lines = std::vector<std::string_view>;

/// Path and values that stand in one line, in characters.
constexpr std::size_t longestSentence = 66;
/// A value that is shown whole.
constexpr std::size_t longestValue = 60;
/// Of a longer one that much stands before the first difference.
constexpr std::size_t contextBefore = 20;
/// A line of a value of several.
constexpr std::size_t longestLine = 100;
constexpr std::size_t longestPath = 200;
/// So many lines of either side are shown.
constexpr std::size_t shownLines = 5;

std::size_t scalarCount(std::string_view text) { return locale::scalars(text).size(); }

bool hasSeveralLines(const std::optional<std::string>& text) {
  return text && text->find('\n') != text->npos;
}

/// The stretch of a value that begins shortly before what differs, which is after `start` bytes.
std::string stretch(std::string_view text, std::size_t start) {
  if (text.empty()) return "\"\"";
  const bool fits = locale::charactersAfter(text, 0, longestValue) == text.size();
  const auto from = fits ? 0 : locale::charactersBefore(text, start, contextBefore);
  // One more than there is room for, so that a cut is seen.
  const auto end = locale::charactersAfter(text, from, longestValue + 1);
  return (from == 0 ? "" : "…") + fitted(visibleLine(text.substr(from, end - from)), longestValue);
}

std::string valueText(const std::optional<std::string>& text, std::size_t start) {
  return text ? stretch(*text, start) : "(none)";
}

Lines linesOf(const std::optional<std::string>& text) {
  Lines lines;
  if (!text) return lines;
  std::string_view rest = *text;
  while (true) {
    const auto end = rest.find('\n');
    lines.push_back(rest.substr(0, end));
    if (end == rest.npos) break;
    rest.remove_prefix(end + 1);
  }
  // A line feed at the end ends the last line and begins none.
  if (lines.size() > 1 && lines.back().empty()) lines.pop_back();
  return lines;
}

/// The lines of both that lie between those that they begin and end with.
struct Stretch {
  Lines old;
  Lines now;
  std::size_t first = 0;  ///< from 0
};

Stretch differing(const std::optional<std::string>& old, const std::optional<std::string>& now) {
  Stretch found{linesOf(old), linesOf(now), 0};
  const auto shorter = std::min(found.old.size(), found.now.size());
  while (found.first < shorter && found.old[found.first] == found.now[found.first]) ++found.first;
  std::size_t last = 0;
  while (last < shorter - found.first &&
         found.old[found.old.size() - 1 - last] == found.now[found.now.size() - 1 - last])
    ++last;
  for (auto* lines : {&found.old, &found.now}) {
    lines->resize(lines->size() - last);
    lines->erase(lines->begin(), lines->begin() + static_cast<std::ptrdiff_t>(found.first));
  }
  return found;
}

void addSide(std::vector<std::string>& out, const Lines& side, char mark, Ink ink, const Paint& paint) {
  for (std::size_t i = 0; i < side.size() && i < shownLines; ++i)
    out.push_back(paint(ink, fmt::format("  {} {}", mark, fitted(visibleLine(side[i]), longestLine))));
  if (side.size() > shownLines)
    out.push_back(
        fmt::format("  {} … {}", mark,
                    wording::counted(static_cast<std::int64_t>(side.size() - shownLines), "more line")));
}

std::vector<std::string> severalLines(const FieldChange& change, const std::string& path,
                                      const Paint& paint) {
  const auto found = differing(change.old, change.new_);
  const auto lineEnds = found.old.empty() && found.now.empty();
  std::vector<std::string> out{fmt::format(
      "{}: {}", path,
      lineEnds ? "only the end of the last line differs" : fmt::format("from line {} on", found.first + 1))};
  if (!change.old) out.front() = path + ": (none) ->";
  if (!change.new_) out.front() = path + ": -> (none)";
  addSide(out, found.old, '-', Ink::bad, paint);
  addSide(out, found.now, '+', Ink::good, paint);
  return out;
}

}  // namespace

std::string_view name(Kind kind) {
  switch (kind) {
    case Kind::new_:
      return "new";
    case Kind::changed:
      return "changed";
    case Kind::unchanged:
      return "unchanged";
    case Kind::removed:
      return "removed";
    case Kind::failed:
      break;
  }
  return "failed";
}

std::string word(Kind kind) { return locale::lowercased(platform::json::textOf(kind)); }

std::string word(Kind kind, std::size_t width, const Paint& paint) {
  const auto text = fmt::format("{:<{}}", word(kind), width);
  switch (kind) {
    case Kind::new_:
      return paint(Ink::good, text);
    case Kind::changed:
      return paint(Ink::warning, text);
    case Kind::removed:
    case Kind::failed:
      return paint(Ink::bad, text);
    case Kind::unchanged:
      break;
  }
  return text;
}

std::vector<std::string> lines(const FieldChange& change, const Paint& paint) {
  const auto path = fitted(visibleLine(change.path), longestPath);
  if (hasSeveralLines(change.old) || hasSeveralLines(change.new_)) return severalLines(change, path, paint);
  const auto start = change.old && change.new_ ? commonStart(*change.old, *change.new_) : 0;
  const auto old = valueText(change.old, start), now = valueText(change.new_, start);
  if (scalarCount(path) + scalarCount(old) + scalarCount(now) <= longestSentence)
    return {fmt::format("{}: {} -> {}", path, paint(Ink::bad, old), paint(Ink::good, now))};
  return {path + ":", paint(Ink::bad, "  - " + old), paint(Ink::good, "  + " + now)};
}

std::string lines(const std::vector<FieldChange>& changes, const std::string& indent, const Paint& paint) {
  if (changes.empty()) return indent + "only the order of something differs";
  std::string text;
  for (const auto& change : changes)
    for (const auto& line : lines(change, paint)) text += (text.empty() ? "" : "\n") + indent + line;
  return text;
}

Value json(const std::vector<FieldChange>& changes) {
  auto list = Value::array();
  for (const auto& change : changes) {
    auto value = Value::object({{"path", change.path}});
    if (change.old) value.set("old", *change.old);
    if (change.new_) value.set("new", *change.new_);
    list.append(std::move(value));
  }
  return list;
}

}  // namespace orvik::host::changeText
