#pragma once

#include <fmt/format.h>

#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Jamf/ContentRange.h"

/// What holds for a Content-Range header of any bytes.
namespace orvik::fuzz {

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenContentRangeRule(std::string_view bytes) {
  const auto range = ContentRange::parse(bytes);
  if (range.first.has_value() != range.last.has_value()) return "half a range";
  if (range.first && (*range.first < 0 || *range.last < *range.first)) return "a range that runs backwards";
  if (range.total && *range.total < 0) return "a negative total";
  if (ContentRange::parse(" " + std::string(bytes) + " ") != range)
    return "blanks around it change what it says";
  if (!range.first && !range.total) return std::nullopt;
  const auto positions = range.first ? fmt::format("{}-{}", *range.first, *range.last) : std::string("*");
  const auto total = range.total ? std::to_string(*range.total) : std::string("*");
  if (ContentRange::parse("bytes " + positions + "/" + total) != range)
    return "its own text says another thing";
  return std::nullopt;
}

}  // namespace orvik::fuzz
