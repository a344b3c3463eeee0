#pragma once

#include <string>

#include "OrvikCore/Format/BackupManifest.h"
#include "OrvikCore/Format/SectionIndex.h"
#include "OrvikCore/Store/AuditLog.h"
#include "OrvikCore/Store/BackupJournal.h"

namespace orvik::test {

/// The date that an ISO 8601 text states.
inline platform::Date date(const char* text) { return platform::parseISO8601(text).value(); }

/// Options that a run could have, with nothing optional.
inline BackupOptions plainOptions() {
  BackupOptions options;
  options.maxConcurrentRequests = 1;
  options.maxConcurrentDownloads = 1;
  return options;
}

inline InstanceDescriptor instanceNamed(std::string name, std::string slug = "north.example.com") {
  return {platform::UUID::parse("6F9619FF-8B86-D011-B42D-00CF4FC964FF").value(),
          std::move(name),
          "https://north.example.com",
          std::move(slug),
          {}};
}

/// A manifest with everything that is required and no sections.
inline BackupManifest plainManifest(std::string backupID) {
  BackupManifest manifest;
  manifest.formatVersion = 2;
  manifest.backupID = std::move(backupID);
  manifest.instance = instanceNamed("North");
  manifest.orvikVersion = "0.1.0";
  manifest.startedAt = date("2025-03-04T09:15:00Z");
  manifest.finishedAt = date("2025-03-04T09:15:07Z");
  manifest.options = plainOptions();
  return manifest;
}

inline SectionIndex emptyIndex(std::string sectionID) {
  SectionIndex index;
  index.title = sectionID;
  index.sectionID = std::move(sectionID);
  return index;
}

inline SectionSummary summaryOf(const std::string& sectionID, bool withIndex = true) {
  SectionSummary summary;
  summary.id = summary.title = sectionID;
  if (withIndex) summary.index = "sections/" + sectionID + ".json";
  return summary;
}

inline IndexItem itemWithID(std::string id) {
  IndexItem item;
  item.id = std::move(id);
  return item;
}

inline JournalEntry journalEntry(std::string section, std::string item) {
  return {std::move(section), itemWithID(std::move(item))};
}

inline AuditEntry auditEntry(std::string target, std::string outcome = "ok") {
  AuditEntry entry;
  entry.time = date("2025-03-04T09:15:00Z");
  entry.kind = AuditEntry::Kind::request;
  entry.method = "GET";
  entry.target = std::move(target);
  entry.outcome = std::move(outcome);
  return entry;
}

}  // namespace orvik::test
