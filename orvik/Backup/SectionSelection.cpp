#include "orvik/Backup/SectionSelection.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <numeric>
#include <optional>

#include "OrvikCore/Jamf/SectionCatalog.h"
#include "Platform/Locale/Text.h"
#include "orvik/ExitStatus.h"

namespace orvik::host {

namespace {

/// How many letters have to be put in, taken out or replaced to make one text of the other.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i] != b[j] ? 1 : 0);
      diagonal = std::exchange(row[j + 1], std::min({replaced, row[j] + 1, row[j + 1] + 1}));
    }
  }
  return row.back();
}

bool isNear(std::string_view wanted, std::string_view id) {
  const auto lower = platform::locale::lowercased(id);
  const auto typed = platform::locale::lowercased(wanted);
  return distance(typed, lower) <= 2 || (typed.size() >= 4 && lower.find(typed) != lower.npos);
}

std::set<std::string> parse(const std::vector<std::string>& lists, std::string_view option) {
  std::set<std::string> ids;
  for (const std::string_view list : lists) {
    for (std::size_t start = 0; start <= list.size();) {
      const auto end = std::min(list.find(',', start), list.size());
      auto id = list.substr(start, end - start);
      start = end + 1;
      while (id.starts_with(' ')) id.remove_prefix(1);
      while (id.ends_with(' ')) id.remove_suffix(1);
      if (id.empty()) continue;
      if (!SectionCatalog::definition(id)) refuseUnknownSection(id);
      ids.emplace(id);
    }
  }
  if (ids.empty() && !lists.empty()) throw UsageError(fmt::format("{} names no section.", option));
  return ids;
}

}  // namespace

void refuseUnknownSection(std::string_view id) {
  // Longer ones are no slip of the finger, and not worth the comparison.
  constexpr std::size_t longest = 64;
  std::vector<std::string_view> near;
  if (id.size() <= longest)
    for (const auto& section : SectionCatalog::all())
      if (near.size() < 5 && isNear(id, section.id)) near.push_back(section.id);
  throw UsageError(near.empty()
                       ? fmt::format("There is no section \"{}\".", id)
                       : fmt::format("There is no section \"{}\"; near it: {}.", id, fmt::join(near, ", ")));
}

SectionSelection SectionSelection::make(const std::vector<std::string>& only,
                                        const std::vector<std::string>& disable) {
  const auto picked = parse(only, "--only");
  const auto dropped = parse(disable, "--disable");

  SectionSelection selection;
  for (const auto& section : SectionCatalog::all()) {
    const std::string id(section.id);
    const bool wanted = (picked.empty() || picked.contains(id)) && !dropped.contains(id);
    if (!wanted) selection.disabled.insert(id);
  }
  if (selection.disabled.size() == SectionCatalog::all().size())
    throw UsageError("No section is left to read: --disable takes all of them away.");
  return selection;
}

}  // namespace orvik::host
