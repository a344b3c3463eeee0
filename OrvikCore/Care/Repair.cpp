#include "OrvikCore/Care/Repair.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <map>
#include <utility>

#include "OrvikCore/Care/PackSalvage.h"
#include "OrvikCore/Care/Quarantine.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/FileHasher.h"
#include "OrvikCore/Store/PackCache.h"
#include "OrvikCore/Store/PackRewrite.h"
#include "OrvikCore/Store/PackStore.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "Platform/JSON/Canonical.h"

namespace orvik {

namespace {

namespace files = platform::files;
using Kind = Finding::Kind;
using Path = std::filesystem::path;

std::string packPath(const std::string& name) {
  return (Path(BackupFormat::storeFolder) / BackupFormat::packsFolder / name).native();
}

/// Whether the disk itself doesn't give the bytes: no permission, and no share that comes back, mends that.
bool isBroken(const Path& path, const std::stop_token& stop) try {
  files::FileReader reader(path);
  for (platform::Bytes piece; reader.read(piece, FileHasher::defaultChunkSize);)
    platform::throwIfCancelled(stop);
  return false;
} catch (const files::FileError& error) {
  return error.code() == EIO;
}

class Planner {
 public:
  Planner(const BackupRepository& repository, FolderCheck check, const std::optional<BackupCipher>& cipher,
          const CareProgress& progress, const std::stop_token& stop)
      : root_(repository.instanceDirectory),
        check_(std::move(check)),
        proof_(cipher),
        progress_(progress),
        stop_(stop) {}

  RepairPlan run(const std::optional<Path>& keyRecordCopy) {
    plan_.keyRecord = keyRecordCopy;
    if (packsAreOurs_)
      for (const auto& exam : check_.store.packs) planPack(exam);
    for (auto& finding : check_.findings)
      if (finding.kind == Kind::packWithoutIndex) planRebuild(Path(finding.path).filename().native());
    for (auto& finding : check_.findings)
      if (finding.isDamage()) sort(std::move(finding));
    return std::move(plan_);
  }

 private:
  /// Whether a file lies in the folder itself: what is behind a link is not ours to move.
  bool isOurs(const std::string& path) const {
    for (auto folder = Path(path).parent_path(); !folder.empty(); folder = folder.parent_path()) {
      const auto entry = files::entryAt(root_ / folder);
      if (!entry || entry->kind != files::Entry::Kind::folder) return false;
    }
    return true;
  }

  void move(std::string path, Kind why) {
    const auto bytes = files::size(root_ / path).value_or(0);
    plan_.moves.push_back({std::move(path), bytes, why});
  }

  void planPack(const PackExam& exam) {
    switch (exam.state) {
      case PackExam::State::gone:
        break;
      case PackExam::State::indexUnreadable:
        move(packPath(exam.index), Kind::packIndexUnreadable);
        if (files::isFile(root_ / packPath(exam.pack))) planRebuild(exam.pack);
        break;
      case PackExam::State::packMissing:
        move(packPath(exam.index), Kind::indexWithoutPack);
        break;
      case PackExam::State::readable:
        if (exam.isDamaged()) planRewrite(exam);
        break;
    }
  }

  void planRewrite(const PackExam& exam) {
    const auto owners = std::ranges::count(check_.store.packs, exam.pack, &PackExam::pack);
    RepairPlan::Rewrite rewrite;
    rewrite.index = exam.index;
    rewrite.pack = exam.pack;
    rewrite.takesPack = owners == 1 && PackStore::isPair(exam.index, exam.pack);
    rewrite.entries = exam.entries;
    rewrite.damaged = exam.damaged;
    rewrite.damaged.insert(rewrite.damaged.end(), exam.outside.begin(), exam.outside.end());
    rewrite.dropped = rewrite.damaged.size() + exam.foreign;
    rewrite.bytes = files::size(root_ / packPath(exam.index)).value_or(0);
    if (rewrite.takesPack) rewrite.bytes += exam.packBytes;
    plan_.rewrites.push_back(std::move(rewrite));
  }

  /// Only where it gives back what is missing: any other pack without an index is what a crash left.
  void planRebuild(const std::string& pack) {
    if (check_.backups.missing.empty() && check_.backups.needs.empty()) return;
    progress_.step("Looking for objects in " + pack);
    const auto isWanted = [this](const ObjectKey& key, std::string_view bytes) {
      // Where an index is lost nobody knows all names; a document in canonical form can bear no other.
      return check_.backups.objects.contains(key) ||
             (!check_.backups.isComplete && platform::json::canonical(bytes) == bytes);
    };
    std::vector<PackObjects::Entry> entries;
    try {
      entries = salvagePack(root_ / packPath(pack), proof_, isWanted, stop_);
    } catch (const files::FileError&) {
      return;  // what is missing stays missing, and is told
    }
    const auto isLacking = [&](const PackObjects::Entry& entry) {
      return check_.backups.missing.contains(entry.key) || check_.backups.needs.contains(entry.key);
    };
    if (std::ranges::none_of(entries, isLacking)) return;
    std::ranges::stable_sort(entries, {}, &PackObjects::Entry::key);
    const auto isSame = [](const auto& a, const auto& b) { return a.key == b.key; };
    entries.erase(std::unique(entries.begin(), entries.end(), isSame), entries.end());
    for (const auto& entry : entries) found_.insert(entry.key);
    auto stem = pack.substr(0, pack.size() - BackupFormat::packSuffix.size());
    plan_.rebuilds.push_back({{PackIndex::currentVersion, pack, {std::move(entries), {}}},
                              packPath(stem.append(BackupFormat::packIndexSuffix))});
  }

  static bool isInPack(const Finding& finding) { return finding.path.ends_with(BackupFormat::packSuffix); }

  /// Where a finding of damage goes: a step of the plan, the next backup, or nowhere.
  void sort(Finding finding) {
    switch (finding.kind) {
      case Kind::objectEmpty:
      case Kind::objectDamaged:
      case Kind::fileDamaged:
        if (isInPack(finding) && packsAreOurs_) return;
        if (!isInPack(finding) && isOurs(finding.path)) return move(finding.path, finding.kind);
        break;
      case Kind::objectUnreadable:
      case Kind::fileUnreadable:
        if (isOurs(finding.path) && isBroken(root_ / finding.path, stop_))
          return move(finding.path, finding.kind);
        break;
      case Kind::packDamaged:
      case Kind::packCut:
      case Kind::packIndexOdd:
      case Kind::packIndexUnreadable:
      case Kind::indexWithoutPack:
        if (packsAreOurs_) return;
        break;
      case Kind::keyRecordMissing:
      case Kind::keyRecordUnreadable:
        if (plan_.keyRecord) return;
        break;
      case Kind::objectMissing:
        if (finding.object && found_.contains(*finding.object)) return;
        return plan_.lacking.push_back(std::move(finding));
      case Kind::fileMissing:
      case Kind::instanceUnreadable:
        return plan_.lacking.push_back(std::move(finding));
      default:
        break;
    }
    plan_.staying.push_back(std::move(finding));
  }

  const Path root_;
  FolderCheck check_;
  const ContentProof proof_;
  const CareProgress& progress_;
  const std::stop_token& stop_;
  const bool packsAreOurs_ = isOurs(packPath("any"));
  KeySet found_;  ///< objects that a rebuilt index gives back
  RepairPlan plan_;
};

class Carrier {
 public:
  Carrier(const RepairPlan& plan, const BackupRepository& repository,
          const std::optional<BackupCipher>& cipher, platform::Date now, const CareProgress& progress,
          const std::stop_token& stop)
      : plan_(plan),
        store_(repository.store()),
        root_(repository.instanceDirectory),
        quarantine_(root_, now),
        progress_(progress),
        stop_(stop) {
    store_.cipher = cipher;
  }

  CarriedOutRepair run() {
    if (plan_.keyRecord) restoreKeyRecord(*plan_.keyRecord);
    const auto total = plan_.moves.size() + plan_.rewrites.size() + plan_.rebuilds.size();
    std::size_t done = 0;
    const auto each = [&](const auto& steps, const auto& act) {
      for (const auto& step : steps) {
        platform::throwIfCancelled(stop_);
        act(step);
        progress_.count(++done, total);
      }
    };
    progress_.step("Repairing");
    each(plan_.moves, [this](const auto& step) { take(step.path, step.bytes); });
    each(plan_.rewrites, [this](const auto& step) { rewrite(step); });
    each(plan_.rebuilds, [this](const auto& step) { rebuild(step); });
    PackCache::shared().invalidate(store_.packsDirectory());
    files::syncFileSystem(root_);
    const bool isUsed = files::exists(root_ / quarantine_.folder());
    return {result_, isUsed ? quarantine_.folder() : std::string()};
  }

 private:
  void restoreKeyRecord(const Path& copy) {
    const std::string record(BackupFormat::encryptionFile);
    const auto bytes = files::read(copy);
    if (files::exists(root_ / record)) quarantine_.keepCopy(record);
    files::atomicWrite(bytes, root_ / record, files::Flush::yes);
    files::syncFolder(root_);
    result_.keyRecordRestored = true;
  }

  void take(const std::string& path, std::int64_t bytes) {
    quarantine_.take(path);
    ++result_.filesMoved;
    result_.bytesMoved += bytes;
  }

  void rewrite(const RepairPlan::Rewrite& step) {
    const auto packs = store_.packsDirectory();
    const auto index = PackStore::readIndex(packs / step.index);
    if (!index) return;  // gone since
    KeySet damaged;
    for (const auto& key : step.damaged) damaged.insert(key);
    NameSet keep;
    for (const auto& [key, range] : index->objects.entries)
      if (!damaged.contains(key)) keep.insert(key.text());
    const auto names = PackStore::indexNames(packs);
    if (!rewritePack(store_, packs / step.index, names, keep, stop_)) return;  // a further entry broke
    take(packPath(step.index), step.bytes);
    if (step.takesPack) {
      quarantine_.take(packPath(step.pack));
      ++result_.filesMoved;
    }
    PackCache::shared().invalidate(packs);
    ++result_.packsRewritten;
    result_.entriesDropped += static_cast<std::int64_t>(step.dropped);
  }

  void rebuild(const RepairPlan::Rebuild& step) {
    files::atomicWrite(BackupFormat::makeLineEncoder().encode(step.index), root_ / step.path,
                       files::Flush::yes);
    files::syncFolder(store_.packsDirectory());
    ++result_.indexesRebuilt;
    result_.entriesFound += static_cast<std::int64_t>(step.index.objects.entries.size());
  }

  const RepairPlan& plan_;
  ObjectStore store_;
  const Path root_;
  const Quarantine quarantine_;
  const CareProgress& progress_;
  const std::stop_token& stop_;
  RepairResult result_;
};

}  // namespace

RepairResult RepairPlan::expected() const {
  RepairResult result;
  result.keyRecordRestored = keyRecord.has_value();
  for (const auto& each : moves) {
    ++result.filesMoved;
    result.bytesMoved += each.bytes;
  }
  for (const auto& each : rewrites) {
    result.filesMoved += each.takesPack ? 2 : 1;
    result.bytesMoved += each.bytes;
    ++result.packsRewritten;
    result.entriesDropped += static_cast<std::int64_t>(each.dropped);
  }
  for (const auto& each : rebuilds) {
    ++result.indexesRebuilt;
    result.entriesFound += static_cast<std::int64_t>(each.index.objects.entries.size());
  }
  return result;
}

RepairPlan planRepair(const BackupRepository& repository, FolderCheck check,
                      const std::optional<BackupCipher>& cipher,
                      const std::optional<std::filesystem::path>& keyRecordCopy, const CareProgress& progress,
                      const std::stop_token& stop) {
  return Planner(repository, std::move(check), cipher, progress, stop).run(keyRecordCopy);
}

CarriedOutRepair carryOut(const RepairPlan& plan, const BackupRepository& repository,
                          const std::optional<BackupCipher>& cipher, platform::Date now,
                          const CareProgress& progress, const std::stop_token& stop) {
  return Carrier(plan, repository, cipher, now, progress, stop).run();
}

}  // namespace orvik
