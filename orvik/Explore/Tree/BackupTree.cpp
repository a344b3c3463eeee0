#include "orvik/Explore/Tree/BackupTree.h"

#include <fmt/format.h>

#include <set>
#include <unordered_set>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Locale/Text.h"
#include "orvik/Explore/Tree/ObjectFiles.h"
#include "orvik/Explore/Tree/TreeNames.h"
#include "orvik/Explore/Tree/TreeRecord.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using Entry = BackupReader::Entry;
using LeftOut = TreeChanges::LeftOut;

constexpr std::size_t objectsPerSign = 200;  // between two calls of the progress

/// All names of a section's files.
std::unordered_set<std::string_view> namesOf(const TreeState::Files& files) {
  std::unordered_set<std::string_view> names;
  for (const auto& object : files) names.insert(object.second.begin(), object.second.end());
  return names;
}

/// Whether a section is one to write, or to say why not. Nobody misses one that was switched off, or that the
/// server doesn't have.
bool isWanted(const SectionSummary& section, const std::optional<std::string>& only) {
  return (!only || section.id == *only) && (section.index || wording::isWarning(section.status));
}

}  // namespace

TreeChanges::Section TreeChanges::total() const {
  Section total;
  for (const auto& section : sections) {
    total.objects += section.objects;
    total.new_ += section.new_;
    total.changed += section.changed;
    total.removed += section.removed;
  }
  return total;
}

/// One section on its way to a backup.
class BackupTree::Pass {
 public:
  Pass(BackupTree& tree, const BackupReader& backup, const std::string& sectionID, TreeChanges& changes)
      : tree_(tree),
        backup_(backup),
        sectionID_(sectionID),
        changes_(changes),
        before_(std::move(tree.state_.sections[sectionID])),
        namesBefore_(namesOf(before_)) {
    if (const auto known = tree.sources_.find(sectionID); known != tree.sources_.end()) {
      sourcesBefore_ = std::move(known->second);
      isFirst_ = false;
    }
    counts_.id = sectionID;
  }

  void item(const IndexItem& item) {
    const Entry entry{sectionID_, item, false, {}};
    const auto& id = entry.item.id;
    if (after_.contains(id)) return leaveOut(entry, "another object has its ID", "another object has its ID");
    auto source = ObjectFiles::sourceOf(entry);
    const auto known = sourcesBefore_.find(id);
    if (known != sourcesBefore_.end() && known->second == source)
      keep(id);
    else if (!put(entry))
      return;
    if (after_.contains(id)) ++counts_.objects;
    sources_.insert_or_assign(id, std::move(source));
  }

  void error(const ItemError& error) {
    Entry entry;
    entry.sectionID = sectionID_;
    entry.item.id = error.id;
    entry.item.name = error.name;
    const auto reason = "the backup could not read it: " + error.message;
    keep(error.id);
    leaveOut(entry, reason, reason);
  }

  /// Deletes what is no longer there, and writes the list.
  void finish() {
    const auto names = namesOf(after_);
    for (const auto& name : namesBefore_)
      if (!names.contains(name)) tree_.sink_.remove(treeNames::path(sectionID_, name));
    for (const auto& object : before_)
      if (!after_.contains(object.first)) ++counts_.removed;
    if (after_.empty())
      tree_.sink_.remove(treeNames::listPath(sectionID_));
    else if (isFirst_ || after_ != before_)
      tree_.sink_.putRecord(treeNames::listPath(sectionID_), TreeState::listText(after_));
    changes_.sections.push_back(counts_);
    tree_.sources_[sectionID_] = std::move(sources_);
    tree_.state_.sections[sectionID_] = std::move(after_);
  }

 private:
  /// False when nothing can be relied on.
  bool put(const Entry& entry) {
    const auto& id = entry.item.id;
    const auto made = ObjectFiles::of(entry, backup_);
    if (made.trouble) {
      keep(id);
      leaveOut(entry, "what the backup stored of it is damaged", *made.trouble);
      return false;
    }
    if (made.files.empty()) return true;
    auto& names = after_[id];
    bool isChanged = false;
    for (const auto& file : made.files) {
      const bool isKnown = namesBefore_.contains(file.name);
      isChanged |=
          tree_.sink_.put(entry, file, isKnown ? TreeSink::Owner::export_ : TreeSink::Owner::nobodyYet);
      names.insert(file.name);
    }
    const auto old = before_.find(id);
    if (old == before_.end())
      ++counts_.new_;
    else if (isChanged || old->second != names)
      ++counts_.changed;
    return true;
  }

  void keep(const std::string& id) {
    if (const auto old = before_.find(id); old != before_.end()) after_.insert(*old);
  }

  void leaveOut(const Entry& entry, std::string reason, std::string detail) {
    changes_.leftOut.push_back(
        {sectionID_, entry.item.id, entry.displayName(), std::move(reason), std::move(detail)});
  }

  BackupTree& tree_;
  const BackupReader& backup_;
  const std::string sectionID_;
  TreeChanges& changes_;
  const TreeState::Files before_;
  const std::unordered_set<std::string_view> namesBefore_;  // of `before_`
  TreeState::Files after_;
  Sources sourcesBefore_, sources_;
  bool isFirst_ = true;
  TreeChanges::Section counts_;
};

TreeChanges BackupTree::bringTo(const BackupReader& backup, const std::optional<std::string>& only,
                                const Progress& progress, const std::stop_token& stop) {
  TreeChanges changes;
  const auto sections = backup.sections();
  std::size_t total = 0, done = 0;
  for (const auto& section : sections)
    if (isWanted(section.summary, only)) total += static_cast<std::size_t>(section.summary.counts.total);

  std::set<std::string> folders;  // as a file system sees them that knows no case
  for (const auto& [section, group] : sections) {
    if (!isWanted(section, only)) continue;
    const auto index = section.index ? backup.index(section.id) : std::nullopt;
    const bool hasFolder =
        treeNames::isFolder(section.id) && folders.insert(platform::locale::lowercased(section.id)).second;
    if (!index || !hasFolder) {
      const auto reason = !section.index ? wording::because(section)
                          : hasFolder    ? "its index can't be read"
                                         : "its ID can't be the name of a folder of its own";
      changes.leftOut.push_back({section.id, {}, section.title, reason, reason});
      continue;
    }
    Pass pass(*this, backup, section.id, changes);
    for (const auto& item : index->items) {
      if (progress && ++done % objectsPerSign == 0) progress(done, total);
      platform::throwIfCancelled(stop);
      pass.item(item);
    }
    for (const auto& error : index->errors) pass.error(error);
    pass.finish();
  }
  sink_.putRecord(std::string(treeNames::recordFile), TreeRecord::of(backup, changes).text());
  return changes;
}

}  // namespace orvik::host
