#include "OrvikCore/Reports/ChangeLines.h"

#include <fmt/format.h>

#include <algorithm>

#include "OrvikCore/Explore/CommonStart.h"
#include "OrvikCore/Reports/ReportText.h"
#include "Platform/Locale/Text.h"
#include "TuvCore/Error.h"

namespace orvik::reportBlocks {

namespace {

namespace locale = platform::locale;

/// Fields of one object.
constexpr std::size_t mostFields = 8;
constexpr std::size_t longestPath = 120;
/// A value, in characters; of a longer one that much stands before the first difference.
constexpr std::size_t longestValue = 80;
constexpr std::size_t contextBefore = 20;

/// The piece of a value that begins shortly before what differs, which is after `start` bytes.
std::string valueText(const std::optional<std::string>& value, std::size_t start) {
  if (!value) return "(none)";
  if (value->empty()) return "\"\"";
  const bool fits = locale::charactersAfter(*value, 0, longestValue) == value->size();
  const auto from = fits ? 0 : locale::charactersBefore(*value, start, contextBefore);
  const auto piece = std::string_view(*value).substr(from);
  return (from == 0 ? "" : "…") + reportText::line(piece, longestValue);
}

std::string fieldLine(const FieldChange& change) {
  const auto start = change.old && change.new_ ? commonStart(*change.old, *change.new_) : 0;
  return fmt::format("{}: {} → {}", reportText::line(change.path, longestPath), valueText(change.old, start),
                     valueText(change.new_, start));
}

/// Whether the objects can be read that one of the two has and the other has not: a comparison takes what it
/// can't read for empty, and a report must not call that a change.
bool canBeRead(const BackupReader& reader, const IndexItem& item, const IndexItem& other) try {
  for (const auto& [variant, hash] : item.objects) {
    const auto same = other.objects.find(variant);
    if (same == other.objects.end() || same->second != hash) static_cast<void>(reader.rawJSON(hash));
  }
  return true;
} catch (const tuv::Error&) {
  return false;
}

}  // namespace

std::vector<std::string> changeLines(const BackupReader& reader, const std::optional<IndexItem>& before,
                                     const IndexItem& now) {
  if (!before || !canBeRead(reader, *before, now)) return {"The earlier version can't be read."};
  if (!canBeRead(reader, now, *before)) return {"This version can't be read."};
  const auto fields = reader.changes(*before, now);
  if (fields.empty()) return {"Only the order of something differs."};
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < fields.size() && i < mostFields; ++i) lines.push_back(fieldLine(fields[i]));
  if (fields.size() > mostFields)
    lines.push_back(fmt::format("… and {} more field(s)", fields.size() - mostFields));
  return lines;
}

}  // namespace orvik::reportBlocks
