#include "orvik/Explore/Tree/TreeRecord.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "Platform/Date.h"
#include "Platform/JSON/View.h"
#include "TuvCore/Error.h"
#include "orvik/Explore/BackupChoice.h"

namespace orvik::host {

namespace {

namespace json = platform::json;
using json::Value;

constexpr std::string_view formatName = "orvik-tree";
constexpr std::int64_t formatVersion = 1;

Value recordOf(const BackupReader& backup) {
  const auto& manifest = backup.manifest;
  auto record = Value::object(
      {{"format", formatName},
       {"formatVersion", formatVersion},
       {"backup", idOf(backup)},
       {"instance", Value::object({{"id", manifest.instance.id.text()}, {"name", manifest.instance.name}})},
       {"startedAt", platform::iso8601(manifest.startedAt)},
       {"finishedAt", platform::iso8601(manifest.finishedAt)}});
  if (manifest.jamfProVersion) record.set("jamfProVersion", *manifest.jamfProVersion);
  return record;
}

Value sectionRecord(const SectionSummary& summary, const TreeChanges& changes) {
  auto record = Value::object({{"status", json::textOf(summary.status)}});
  const auto read = std::ranges::find(changes.sections, summary.id, &TreeChanges::Section::id);
  if (read != changes.sections.end()) record.set("objects", read->objects);
  return record;
}

Value leftOutRecord(const TreeChanges::LeftOut& left) {
  auto record = Value::object({{"section", left.sectionID}, {"reason", left.reason}});
  if (left.id) record.set("id", *left.id);
  return record;
}

}  // namespace

TreeRecord TreeRecord::of(const BackupReader& backup, const TreeChanges& changes) {
  auto record = recordOf(backup);
  auto sections = Value::object();
  for (const auto& summary : backup.manifest.sections)
    sections.set(summary.id, sectionRecord(summary, changes));
  record.set("sections", std::move(sections));
  if (!changes.leftOut.empty()) {
    auto left = Value::array();
    for (const auto& each : changes.leftOut) left.append(leftOutRecord(each));
    record.set("leftOut", std::move(left));
  }
  return TreeRecord(std::move(record));
}

TreeRecord TreeRecord::begun(const BackupReader& backup) {
  auto record = recordOf(backup);
  record.set("unfinished", true);
  return TreeRecord(std::move(record));
}

platform::Bytes TreeRecord::text() const { return value_.sortedText(json::Rendering::pretty) + "\n"; }

std::optional<std::string> TreeRecord::instanceOf(const platform::Bytes& text) try {
  const auto document = json::Document::parse(text);
  const auto member = [](std::optional<json::View> view, std::string_view key) {
    return view ? (*view)[key] : std::nullopt;
  };
  const auto root = document->root();
  const auto format = root["format"];
  const auto version = root["formatVersion"];
  const auto id = member(root["instance"], "id");
  if (!format || format->string() != formatName || !version || !id || !id->string()) return std::nullopt;
  if (version->int64().value_or(0) > formatVersion)
    throw tuv::Error("The tree was written by a later version of Orvik.");
  return std::string(*id->string());
} catch (const json::ParseError&) {
  return std::nullopt;
}

bool TreeRecord::isOf(const platform::Bytes& text, std::string_view backupID) try {
  const auto document = json::Document::parse(text);
  const auto id = document->root()["backup"];
  return id && id->string() == backupID;
} catch (const json::ParseError&) {
  return false;
}

void TreeRecord::requireInstance(const std::string& instanceID, const BackupReader& backup,
                                 const std::string& place) {
  if (instanceID == backup.manifest.instance.id.text()) return;
  throw tuv::Error(fmt::format("{} holds objects of another instance. Export {} to a folder of its own.",
                               place, backup.manifest.instance.name));
}

}  // namespace orvik::host
