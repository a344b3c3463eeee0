#include "orvik/Folder/CareReport.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "Platform/Locale/Text.h"
#include "orvik/Output/ShortList.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using Fate = CollectionPlan::Pack::Fate;
using LeftoverKind = StoreLeftovers::File::Kind;
using platform::json::Value;
using platform::locale::byteCount;
using wording::counted;
using Reason = RetentionVerdict::Reason;

std::int64_t sumOf(const auto& entries) {
  std::int64_t sum = 0;
  for (const auto& entry : entries) sum += entry.bytes;
  return sum;
}

std::string reasonText(Reason reason, RetentionPolicy policy) {
  switch (reason) {
    case Reason::newest:
      return "stays: the newest backup always does";
    case Reason::withinLimits:
      return "stays: within the limits";
    case Reason::beyondCount:
      return policy.keepCount == 1 ? "goes: only the newest is kept"
                                   : fmt::format("goes: not among the newest {}", policy.keepCount);
    case Reason::tooOld:
      break;
  }
  return fmt::format("goes: it finished more than {} ago", counted(policy.keepDays, "day"));
}

std::string_view reasonName(Reason reason) {
  switch (reason) {
    case Reason::newest:
      return "newest";
    case Reason::withinLimits:
      return "withinLimits";
    case Reason::beyondCount:
      return "beyondCount";
    case Reason::tooOld:
      break;
  }
  return "tooOld";
}

std::string packText(const CollectionPlan::Pack& pack) {
  switch (pack.fate) {
    case Fate::removed:
      return fmt::format("{}  goes: no backup refers to any of its {}; {}", pack.pack,
                         counted(static_cast<std::int64_t>(pack.entries), "object"), byteCount(pack.bytes));
    case Fate::rewritten:
      return fmt::format("{}  is written anew with {} of {} objects: half of it or more is garbage; {}",
                         pack.pack, pack.live, pack.entries, byteCount(pack.bytes));
    case Fate::kept:
      break;
  }
  return fmt::format("{}  stays: {} of its {} objects are garbage, less than half of its bytes", pack.pack,
                     pack.entries - pack.live, pack.entries);
}

std::string_view fateName(Fate fate) {
  switch (fate) {
    case Fate::removed:
      return "removed";
    case Fate::rewritten:
      return "rewritten";
    case Fate::kept:
      break;
  }
  return "kept";
}

std::string leftoverText(const StoreLeftovers::File& file) {
  return fmt::format("{}  {}, {}", file.path,
                     file.kind == LeftoverKind::temporary ? "temporary file" : "pack without an index",
                     byteCount(file.bytes));
}

Value leftoverJSON(const StoreLeftovers::File& file, bool isOld) {
  return Value::object({{"event", "leftover"},
                        {"kind", file.kind == LeftoverKind::temporary ? "temporary" : "packWithoutIndex"},
                        {"path", file.path},
                        {"bytes", file.bytes},
                        {"modified", platform::iso8601(file.modified)},
                        {"stays", !isOld}});
}

Value looseJSON(std::string_view kind, const CollectionPlan::Loose& file) {
  return Value::object({{"event", "garbage"}, {"kind", kind}, {"path", file.path}, {"bytes", file.bytes}});
}

}  // namespace

std::vector<std::string> careText::verdicts(const std::vector<RetentionVerdict>& verdicts,
                                            RetentionPolicy policy) {
  std::vector<std::string> lines;
  for (const auto& verdict : verdicts)
    lines.push_back(
        oneLine(fmt::format("{}  finished {}  {}", verdict.id, platform::locale::dateText(verdict.finishedAt),
                            reasonText(verdict.reason, policy))));
  return lines;
}

std::vector<std::string> careText::collection(const CollectionPlan& plan) {
  std::vector<std::string> lines;
  const auto headline = [](std::size_t count, std::string_view noun, std::int64_t bytes) {
    return fmt::format("{} that no backup refers to; {}", counted(static_cast<std::int64_t>(count), noun),
                       byteCount(bytes));
  };
  const auto path = [](const CollectionPlan::Loose& file) { return file.path; };
  addShortList(lines, headline(plan.objects.size(), "single object", sumOf(plan.objects)), plan.objects,
               path);
  addShortList(lines, headline(plan.files.size(), "package file", sumOf(plan.files)), plan.files, path);
  addShortList(lines, "Packs with garbage:", plan.packs, packText);
  return lines;
}

std::vector<std::string> careText::leftovers(const StoreLeftovers& leftovers) {
  std::vector<std::string> lines;
  addShortList(lines,
               fmt::format("{} that a crash left, older than a day; {}",
                           counted(static_cast<std::int64_t>(leftovers.old.size()), "file"),
                           byteCount(leftovers.oldBytes())),
               leftovers.old, leftoverText);
  addShortList(lines, "Not older than a day, so they may be in use and stay:", leftovers.recent,
               leftoverText);
  addShortList(lines, "Backup folders without a manifest; they and what they refer to stay:",
               leftovers.withoutManifest, [](const std::string& name) { return name; });
  return lines;
}

careJSON::Lines careJSON::verdicts(const std::vector<RetentionVerdict>& verdicts) {
  Lines lines;
  for (const auto& verdict : verdicts)
    lines.push_back(Value::object({{"event", "verdict"},
                                   {"backupID", verdict.id},
                                   {"finishedAt", platform::iso8601(verdict.finishedAt)},
                                   {"stays", !verdict.goes()},
                                   {"reason", reasonName(verdict.reason)}}));
  return lines;
}

careJSON::Lines careJSON::collection(const CollectionPlan& plan) {
  Lines lines;
  for (const auto& file : plan.objects) lines.push_back(looseJSON("object", file));
  for (const auto& file : plan.files) lines.push_back(looseJSON("file", file));
  for (const auto& pack : plan.packs)
    lines.push_back(Value::object({{"event", "garbage"},
                                   {"kind", "pack"},
                                   {"pack", pack.pack},
                                   {"fate", fateName(pack.fate)},
                                   {"entries", pack.entries},
                                   {"live", pack.live},
                                   {"bytes", pack.bytes}}));
  return lines;
}

careJSON::Lines careJSON::leftovers(const StoreLeftovers& leftovers) {
  Lines lines;
  for (const auto& file : leftovers.old) lines.push_back(leftoverJSON(file, true));
  for (const auto& file : leftovers.recent) lines.push_back(leftoverJSON(file, false));
  for (const auto& file : leftovers.needed) lines.push_back(leftoverJSON(file, false));
  for (const auto& name : leftovers.withoutManifest)
    lines.push_back(Value::object(
        {{"event", "leftover"}, {"kind", "folderWithoutManifest"}, {"path", name}, {"stays", true}}));
  return lines;
}

}  // namespace orvik::host
