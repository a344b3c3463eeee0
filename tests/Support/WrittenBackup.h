#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/Support/StoredBackups.h"

namespace orvik::test {

/// A finished backup, written piece by piece: a section, what is in it, the next section, and at the end
/// `publish`.
class WrittenBackup {
 public:
  /// `folder` must outlive it.
  WrittenBackup(const StoredBackups& folder, std::string id) : folder_(folder), id_(std::move(id)) {}

  WrittenBackup& section(const std::string& sectionID) {
    indexes_.push_back(emptyIndex(sectionID));
    return *this;
  }
  /// A section that was not read.
  WrittenBackup& unread(const std::string& sectionID, SectionSummary::Status status,
                        const std::string& message) {
    auto summary = StoredBackups::summary(emptyIndex(sectionID));
    summary.index.reset();
    summary.status = status;
    summary.message = message;
    unread_.push_back(std::move(summary));
    return *this;
  }

  /// An object with one record, stored as it stands.
  WrittenBackup& item(const std::string& id, const std::string& name, const std::string& json,
                      IndexItem::Change change = IndexItem::Change::unchanged) {
    return add(folder_.item(id, name, {{"classic", json}}, change));
  }
  WrittenBackup& add(IndexItem item) {
    indexes_.back().items.push_back(std::move(item));
    return *this;
  }
  WrittenBackup& removed(const std::string& id, const std::string& name) {
    indexes_.back().removed.push_back({id, name});
    return *this;
  }
  WrittenBackup& failed(const std::string& id, const std::string& name, const std::string& message) {
    indexes_.back().errors.push_back({id, name, message});
    return *this;
  }

  void publish(const std::optional<std::string>& parent = {}) const {
    folder_.publish(id_, indexes_, parent, unread_);
  }

 private:
  const StoredBackups& folder_;
  const std::string id_;
  std::vector<SectionIndex> indexes_;
  std::vector<SectionSummary> unread_;
};

}  // namespace orvik::test
