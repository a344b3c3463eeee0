#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Files/Files.h"
#include "tests/Support/Folders.h"
#include "tests/Support/SampleRecords.h"

namespace orvik::test {

/// An instance folder whose backups a test writes object by object.
struct StoredBackups {
  platform::files::TempFolder folder;
  BackupRepository repository{folder.path()};
  std::optional<BackupCipher> cipher;  ///< seals what is written from then on

  std::string put(const std::string& bytes) const {
    auto store = repository.store();
    store.cipher = cipher;
    return store.put(bytes);
  }

  /// An item with its stored objects by variant.
  IndexItem item(std::string id, std::optional<std::string> name,
                 const std::map<std::string, std::string>& objects = {},
                 IndexItem::Change change = IndexItem::Change::new_) const {
    auto made = itemWithID(std::move(id));
    made.name = std::move(name);
    for (const auto& [variant, bytes] : objects) made.objects[variant] = put(bytes);
    made.change = change;
    return made;
  }

  static SectionIndex section(const std::string& id, std::vector<IndexItem> items) {
    auto index = emptyIndex(id);
    index.items = std::move(items);
    return index;
  }

  static SectionSummary summary(const SectionIndex& index) {
    auto summary = summaryOf(index.sectionID);
    if (const auto* known = SectionCatalog::definition(index.sectionID)) summary.title = known->title;
    auto& counts = summary.counts;
    counts.total = static_cast<int>(index.items.size());
    for (const auto& item : index.items)
      ++(item.change == IndexItem::Change::new_      ? counts.new_
         : item.change == IndexItem::Change::changed ? counts.changed
                                                     : counts.unchanged);
    counts.removed = static_cast<int>(index.removed.size());
    counts.failed = static_cast<int>(index.errors.size());
    if (counts.failed != 0) summary.status = SectionSummary::Status::partial;
    return summary;
  }

  /// Publishes a backup of these sections, and of `unread` ones that have no index. Backups are named so that
  /// later ones sort later.
  BackupReader publish(const std::string& id, const std::vector<SectionIndex>& sections,
                       const std::optional<std::string>& parent = {},
                       const std::vector<SectionSummary>& unread = {}) const {
    auto manifest = plainManifest(id);
    manifest.parentBackupID = parent;
    if (const auto time = timeOf(id)) manifest.startedAt = manifest.finishedAt = *time;
    if (cipher) manifest.encryption = BackupManifest::EncryptionRef{"test", {}};
    for (const auto& index : sections) {
      BackupRepository::writeIndex(
          index, repository.backupDirectory(id) / BackupFormat::sectionPath(index.sectionID), cipher);
      manifest.sections.push_back(summary(index));
    }
    manifest.sections.insert(manifest.sections.end(), unread.begin(), unread.end());
    write(repository.backupDirectory(id) / BackupFormat::manifestFile,
          BackupFormat::makeEncoder().encode(manifest));
    return {repository, id};
  }

  /// What an ID such as "2025-03-04T091500Z" states.
  static std::optional<platform::Date> timeOf(const std::string& id) {
    if (id.size() != 18) return std::nullopt;
    return platform::parseISO8601(id.substr(0, 13) + ":" + id.substr(13, 2) + ":" + id.substr(15));
  }

  static constexpr const char* first = "2025-03-04T091500Z";
  static constexpr const char* second = "2025-03-05T091500Z";
  static constexpr const char* third = "2025-03-06T091500Z";
  static constexpr const char* fourth = "2025-03-07T091500Z";
};

}  // namespace orvik::test
