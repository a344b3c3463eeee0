#include "orvik/Browse/ChangedValues.h"

#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Explore/LineDiff.h"
#include "OrvikCore/Explore/ReadableXML.h"
#include "Platform/JSON/Codable.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using Side = std::optional<std::string>;

bool isMultiline(const Side& side) { return side && (side->find('\n') != side->npos || looksLikeXML(*side)); }

std::string readable(const Side& side) {
  if (!side) return {};
  return looksLikeXML(*side) ? readableXML(*side) : *side;
}

Value linesJSON(const std::vector<LineDiff::Line>& lines) {
  auto list = Value::array();
  for (const auto& line : lines) {
    auto value = Value::object({{"kind", platform::json::textOf(line.kind)}});
    if (line.old != 0) value.set("old", line.old);
    if (line.now != 0) value.set("new", line.now);
    if (line.kind != LineDiff::Kind::gap) value.set("text", line.text);
    list.append(std::move(value));
  }
  return list;
}

/// Nothing where the two sides are to be shown whole.
std::optional<Value> differingLines(const FieldChange& change) {
  if (!isMultiline(change.old) && !isMultiline(change.new_)) return std::nullopt;
  const auto old = readable(change.old), now = readable(change.new_);
  const auto lines = LineDiff::unified(old, now);
  // Blanks between tags differ, which readable texts don't have, or the line feed at a text's end.
  return lines.empty() ? std::nullopt : std::optional(linesJSON(lines));
}

}  // namespace

Value changedValues(const std::vector<FieldChange>& changes) {
  auto list = Value::array();
  for (const auto& change : changes) {
    auto value = Value::object({{"path", change.path}});
    if (auto lines = differingLines(change)) {
      value.set("lines", std::move(*lines));
    } else {
      if (change.old) value.set("old", *change.old);
      if (change.new_) value.set("new", *change.new_);
    }
    list.append(std::move(value));
  }
  return list;
}

}  // namespace orvik::host
