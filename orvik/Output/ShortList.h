#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "orvik/Output/VisibleText.h"

namespace orvik::host {

/// So many entries of a kind are named to people; scripts get them all.
inline constexpr std::size_t shownEntries = 20;

/// Adds a headline, then what `describe` says of the first entries, a line each. Nothing where there is none.
template <class Entry, class Describe>
void addShortList(std::vector<std::string>& lines, std::string headline, const std::vector<Entry>& entries,
                  const Describe& describe) {
  if (entries.empty()) return;
  lines.push_back(std::move(headline));
  for (std::size_t i = 0; i < entries.size() && i < shownEntries; ++i)
    lines.push_back("  " + oneLine(describe(entries[i])));
  if (entries.size() > shownEntries)
    lines.push_back(fmt::format("  and {} more", entries.size() - shownEntries));
}

}  // namespace orvik::host
