#include "orvik/Backup/SectionSelection.h"

#include <fmt/format.h>

#include <algorithm>

#include "OrvikCore/Jamf/SectionCatalog.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/NearNames.h"

namespace orvik::host {

namespace {

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
  std::vector<std::string> known;
  for (const auto& section : SectionCatalog::all()) known.emplace_back(section.id);
  throw UsageError(fmt::format("There is no section \"{}\"{}.", id, nearIt(id, known)));
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
