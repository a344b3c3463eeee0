#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "tests/Support/Folders.h"
#include "tests/Support/SampleRecords.h"

namespace orvik::test {

/// A finished backup, written piece by piece: a section, what is in it, the next section, and at the end
/// `publish`. Its time is its ID's.
class WrittenBackup {
 public:
  WrittenBackup(BackupRepository repository, const std::string& id, std::optional<BackupCipher> cipher = {})
      : repository_(std::move(repository)), cipher_(std::move(cipher)), manifest_(plainManifest(id)) {
    const auto time = id.substr(0, 13) + ":" + id.substr(13, 2) + ":" + id.substr(15);
    manifest_.startedAt = manifest_.finishedAt = date(time.c_str());
    if (cipher_) manifest_.encryption = BackupManifest::EncryptionRef{"test", {}};
  }

  WrittenBackup& section(const std::string& sectionID) {
    indexes_.push_back(emptyIndex(sectionID));
    addSummary(sectionID, true);
    return *this;
  }
  /// A section that was not read.
  WrittenBackup& unread(const std::string& sectionID, SectionSummary::Status status,
                        const std::string& message) {
    addSummary(sectionID, false);
    manifest_.sections.back().status = status;
    manifest_.sections.back().message = message;
    return *this;
  }

  /// An object with one record, stored as it stands.
  WrittenBackup& item(const std::string& id, const std::string& name, const std::string& json,
                      IndexItem::Change change = IndexItem::Change::unchanged) {
    auto store = repository_.store();
    store.cipher = cipher_;
    IndexItem item = itemWithID(id);
    item.name = name;
    item.objects = {{"classic", store.put(json)}};
    item.change = change;
    return add(std::move(item));
  }
  WrittenBackup& add(IndexItem item) {
    auto& counts = manifest_.sections.back().counts;
    ++counts.total;
    ++(item.change == IndexItem::Change::new_      ? counts.new_
       : item.change == IndexItem::Change::changed ? counts.changed
                                                   : counts.unchanged);
    indexes_.back().items.push_back(std::move(item));
    return *this;
  }
  WrittenBackup& removed(const std::string& id, const std::string& name) {
    indexes_.back().removed.push_back({id, name});
    ++manifest_.sections.back().counts.removed;
    return *this;
  }
  WrittenBackup& failed(const std::string& id, const std::string& name, const std::string& message) {
    indexes_.back().errors.push_back({id, name, message});
    ++manifest_.sections.back().counts.failed;
    manifest_.sections.back().status = SectionSummary::Status::partial;
    return *this;
  }

  void publish(const std::optional<std::string>& parent = {}) {
    const auto folder = repository_.backupDirectory(manifest_.backupID);
    for (const auto& index : indexes_)
      BackupRepository::writeIndex(index, folder / BackupFormat::sectionPath(index.sectionID), cipher_);
    manifest_.parentBackupID = parent;
    write(folder / BackupFormat::manifestFile, BackupFormat::makeEncoder().encode(manifest_));
  }

 private:
  void addSummary(const std::string& sectionID, bool withIndex) {
    manifest_.sections.push_back(summaryOf(sectionID, withIndex));
    if (const auto* known = SectionCatalog::definition(sectionID))
      manifest_.sections.back().title = std::string(known->title);
  }
  const BackupRepository repository_;
  const std::optional<BackupCipher> cipher_;
  BackupManifest manifest_;
  std::vector<SectionIndex> indexes_;
};

}  // namespace orvik::test
