#include "orvik/Explore/Tree/TreeText.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <vector>

#include "Platform/Date.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/Tree/GitHistory.h"
#include "orvik/Output/VisibleText.h"

namespace orvik::host::treeText {

namespace {

using LeftOut = TreeChanges::LeftOut;

std::string placeOf(const LeftOut& left) {
  return left.id ? fmt::format("{}/{}", left.sectionID, *left.id) : left.sectionID;
}

}  // namespace

std::string counts(const TreeChanges::Section& section) {
  std::vector<std::string> parts;
  const auto add = [&](int count, const char* word) {
    if (count != 0) parts.push_back(fmt::format("{} {}", count, word));
  };
  add(section.new_, "new");
  add(section.changed, "changed");
  add(section.removed, "removed");
  return parts.empty() ? "no changes" : fmt::format("{}", fmt::join(parts, ", "));
}

std::string subject(const BackupReader& backup, const TreeChanges& changes) {
  return fmt::format("{}, {}: {}", oneLine(backup.manifest.instance.name),
                     platform::iso8601(backup.manifest.finishedAt), counts(changes.total()));
}

std::string message(const BackupReader& backup, const TreeChanges& changes) {
  auto text = subject(backup, changes) + "\n";
  std::string sections;
  for (const auto& section : changes.sections)
    if (section.hasChanges()) sections += fmt::format("{}: {}\n", section.id, counts(section));
  if (!sections.empty()) text += "\n" + sections;
  if (!changes.leftOut.empty()) text += "\n";
  for (const auto& left : changes.leftOut)
    text += oneLine(fmt::format("Left out: {}: {}", placeOf(left), left.reason)) + "\n";
  return text + fmt::format("\n{}: {}\n", GitHistory::trailer, idOf(backup));
}

std::string leftOut(const LeftOut& left) {
  return fmt::format("Left out: {} ({}): {}", placeOf(left), left.name, left.detail);
}

platform::json::Value leftOutJSON(const LeftOut& left) {
  auto json = platform::json::Value::object({{"section", left.sectionID}});
  if (left.id) json.set("id", *left.id);
  return json.set("name", left.name).set("message", left.detail);
}

}  // namespace orvik::host::treeText
