#include "orvik/Care/FindingText.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>

#include "Platform/JSON/Codable.h"
#include "Platform/Locale/Text.h"
#include "orvik/Output/ShortList.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host::findingText {

namespace {

using platform::json::textOf;
using platform::json::Value;
using platform::locale::byteCount;
using wording::counted;

std::int64_t number(std::size_t count) { return static_cast<std::int64_t>(count); }

/// " Needed by policies/12 of backup 2025-03-04T091500Z and 3 others."
std::string needText(const Need& need) {
  const auto others =
      need.backups > 1 ? fmt::format(" and {}", counted(number(need.backups - 1), "other")) : "";
  return fmt::format(" Needed by {}/{} of backup {}{}.", need.section, need.item, need.backup, others);
}

std::string lineOf(const Finding& finding) {
  return fmt::format("{}: {}{}", finding.path, finding.text, finding.need ? needText(*finding.need) : "");
}

/// "1 package file moved aside": parts of a sentence, of what isn't zero.
void addPart(std::vector<std::string>& parts, std::int64_t count, std::string text) {
  if (count != 0) parts.push_back(std::move(text));
}

}  // namespace

std::vector<std::string> lines(const std::vector<Finding>& findings, const Paint& paint) {
  std::vector<std::string> all;
  const auto add = [&](bool damage) {
    std::map<Finding::Kind, std::size_t> shown;
    for (const auto& finding : findings)
      if (finding.isDamage() == damage && ++shown[finding.kind] <= shownEntries)
        all.push_back(fmt::format(
            "{} {}", damage ? paint(Paint::Ink::bad, "damage ") : paint(Paint::Ink::warning, "warning"),
            oneLine(lineOf(finding))));
    for (const auto& [kind, count] : shown)
      if (count > shownEntries)
        all.push_back(fmt::format("        and {} more of the kind {}", count - shownEntries, textOf(kind)));
  };
  add(true);
  add(false);
  return all;
}

std::string scope(const FolderCheck& check) {
  const auto& store = check.store;
  const auto backups = number(check.backups.backups);
  auto text = fmt::format(
      "{} with {}, {} of {} stored objects and {} of {} package files read ({})", counted(backups, "backup"),
      check.backups.indexes == 1 ? "1 index" : fmt::format("{} indexes", check.backups.indexes),
      store.objectsRead, check.storedObjects(), store.filesRead, store.files.size(),
      byteCount(store.bytesRead));
  const auto sealed = check.backups.sealed + store.sealed;
  if (sealed != 0) text += fmt::format(", {} sealed and not looked into", sealed);
  return text + ".";
}

std::string verdict(std::size_t damage, std::size_t warnings) {
  auto text = damage == 0   ? std::string("No damage")
              : damage == 1 ? std::string("1 finding of damage")
                            : fmt::format("{} findings of damage", damage);
  if (warnings != 0) text += " and " + counted(number(warnings), "warning");
  return text;
}

Value json(const Finding& finding) {
  auto line = Value::object({{"severity", finding.isDamage() ? "damage" : "warning"},
                             {"kind", textOf(finding.kind)},
                             {"path", finding.path},
                             {"text", finding.text}});
  if (finding.object) line.set("object", finding.object->text());
  if (const auto& need = finding.need)
    line.set("section", need->section)
        .set("item", need->item)
        .set("backup", need->backup)
        .set("backups", number(need->backups));
  return line;
}

Value numbers(const FolderCheck& check) {
  const auto& [findings, store, backups] = check;
  return Value::object({{"backups", backups.backups},
                        {"indexes", backups.indexes},
                        {"objects", check.storedObjects()},
                        {"objectsRead", store.objectsRead},
                        {"packs", store.packs.size()},
                        {"files", store.files.size()},
                        {"filesRead", store.filesRead},
                        {"bytesRead", store.bytesRead},
                        {"sealed", backups.sealed + store.sealed},
                        {"damage", check.damage()},
                        {"warnings", check.warnings()}});
}

std::vector<std::string> steps(const RepairPlan& plan) {
  std::vector<std::string> lines;
  if (plan.keyRecord)
    lines.push_back(
        oneLine(fmt::format("The key record comes back from its copy {}.", plan.keyRecord->string())));
  addShortList(lines, "To the quarantine, so that the next backup stores it again:", plan.moves,
               [](const auto& each) {
                 return fmt::format("{}  {}, {}", each.path, textOf(each.why), byteCount(each.bytes));
               });
  addShortList(lines, "Packs that are written anew without what is damaged:", plan.rewrites,
               [](const auto& each) {
                 return fmt::format("{}  without {} of {} entries", each.pack, each.dropped, each.entries);
               });
  addShortList(lines, "Packs that get an index again:", plan.rebuilds, [](const auto& each) {
    return fmt::format("{}  {}", each.index.pack,
                       counted(number(each.index.objects.entries.size()), "object"));
  });
  return lines;
}

std::vector<Value> stepsJSON(const RepairPlan& plan) {
  std::vector<Value> lines;
  const auto add = [&](std::string_view kind, Value::Object members) {
    auto line = Value::object({{"event", "repair"}, {"kind", kind}});
    for (auto& [key, value] : members) line.set(key, std::move(value));
    lines.push_back(std::move(line));
  };
  if (plan.keyRecord) add("keyRecord", {{"copy", plan.keyRecord->string()}});
  for (const auto& each : plan.moves)
    add("move", {{"path", each.path}, {"why", textOf(each.why)}, {"bytes", each.bytes}});
  for (const auto& each : plan.rewrites)
    add("rewrite",
        {{"pack", each.pack}, {"entries", each.entries}, {"dropped", each.dropped}, {"bytes", each.bytes}});
  for (const auto& each : plan.rebuilds)
    add("rebuild",
        {{"pack", each.index.pack}, {"path", each.path}, {"entries", each.index.objects.entries.size()}});
  return lines;
}

std::string done(const RepairResult& result) {
  std::vector<std::string> parts;
  addPart(parts, result.keyRecordRestored ? 1 : 0, "restore the key record");
  addPart(parts, result.filesMoved,
          fmt::format("move {} ({}) to the quarantine", counted(result.filesMoved, "file"),
                      byteCount(result.bytesMoved)));
  addPart(parts, result.packsRewritten,
          fmt::format("write {} anew without {} damaged {}", counted(result.packsRewritten, "pack"),
                      result.entriesDropped, result.entriesDropped == 1 ? "entry" : "entries"));
  addPart(parts, result.indexesRebuilt,
          fmt::format("make {} that {} {} again", result.indexesRebuilt == 1 ? "an index" : "indexes",
                      result.indexesRebuilt == 1 ? "finds" : "find", counted(result.entriesFound, "object")));
  return fmt::format("{}", fmt::join(parts, ", "));
}

}  // namespace orvik::host::findingText
