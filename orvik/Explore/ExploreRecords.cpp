#include "orvik/Explore/ExploreRecords.h"

#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/ChangeText.h"
#include "orvik/JSONRecord.h"

namespace orvik::host::exploreRecords {

namespace {

/// Which object a record is about, and what happened to it.
void addObject(Value& line, const BackupReader::Entry& entry, BackupReader::ChangeKind change) {
  line.set("section", entry.sectionID)
      .set("id", entry.item.id)
      .set("name", entry.displayName())
      .set("change", changeText::name(change));
}

}  // namespace

Value backup(const BackupReader& backup) {
  const auto& manifest = backup.manifest;
  auto line = Value::object({{"event", "backup"},
                             {"backup", idOf(backup)},
                             {"instance", manifest.instance.name},
                             {"startedAt", platform::iso8601(manifest.startedAt)},
                             {"finishedAt", platform::iso8601(manifest.finishedAt)},
                             {"status", platform::json::textOf(manifest.status)}});
  if (manifest.parentBackupID) line.set("parent", *manifest.parentBackupID);
  return line;
}

Value section(const BackupReader::Section& section, const std::string& backupID) {
  const auto& summary = section.summary;
  auto line = Value::object({{"event", "section"},
                             {"backup", backupID},
                             {"group", platform::json::textOf(section.group)},
                             {"id", summary.id},
                             {"title", summary.title},
                             {"status", platform::json::textOf(summary.status)}});
  if (summary.message) line.set("message", *summary.message);
  line.set("counts", jsonOf(summary.counts));
  return line;
}

Value entry(const BackupReader::Entry& entry, const std::string& backupID) {
  auto line = Value::object({{"event", "entry"}, {"backup", backupID}});
  addObject(line, entry, entry.change());
  if (entry.error) line.set("message", *entry.error);
  return line;
}

Value hit(const SearchHit& hit, const std::string& backupID) {
  auto line = Value::object({{"event", "hit"}, {"backup", backupID}});
  addObject(line, hit.entry, hit.entry.change());
  line.set("excerpts", Value::Array(hit.excerpts.begin(), hit.excerpts.end()));
  return line;
}

Value version(const ObjectVersion& version, const std::string& sectionID, const std::string& id) {
  auto line = Value::object({{"event", "version"},
                             {"backup", version.backupID},
                             {"finishedAt", platform::iso8601(version.finishedAt)},
                             {"section", sectionID},
                             {"id", id}});
  if (version.item) line.set("name", BackupReader::Entry::displayNameOf(*version.item));
  line.set("change", changeText::name(version.kind));
  return line;
}

Value difference(const BackupComparison::Difference& difference) {
  auto line = Value::object({{"event", "difference"}});
  addObject(line, difference.entry, difference.kind);
  if (difference.entry.error) line.set("message", *difference.entry.error);
  return line;
}

}  // namespace orvik::host::exploreRecords
