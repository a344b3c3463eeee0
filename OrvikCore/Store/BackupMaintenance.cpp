// What changes an instance folder: deleting backups, collecting what is left over, packing single files.

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string_view>
#include <utility>

#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupLock.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/GarbageCollection.h"
#include "OrvikCore/Store/PackCache.h"
#include "OrvikCore/Store/PackStore.h"
#include "OrvikCore/Store/Retention.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Log.h"

namespace orvik {

namespace files = platform::files;

namespace {

/// What a backup is called while its folder is deleted: invisible, so that nobody sees a part of it.
constexpr std::string_view deletedSuffix = ".deleted";

/// Finishes deletions that were broken off.
void removeDeleted(const BackupRepository& repository) {
  const auto folder = repository.backupsDirectory();
  if (!files::isDirectory(folder)) return;
  for (const auto& name : files::list(folder))
    if (name.starts_with('.') && name.ends_with(deletedSuffix)) files::removeTree(folder / name);
}

/// Out of sight in one step, then away. Requires: no leftover of an earlier deletion is there.
void removeBackup(const BackupRepository& repository, const std::string& id) {
  const auto hidden = repository.backupsDirectory() / ("." + id + std::string(deletedSuffix));
  files::renameWithoutReplacing(repository.backupDirectory(id), hidden);
  files::removeTree(hidden);
}

/// Splits the loose files by what packs hold of them already. Those with an intact copy, as an earlier
/// packing leaves them that was broken off before they went, are returned: they may go. Those with a damaged
/// copy leave `loose` too, and stay: packed once more they could be hidden by it.
std::vector<PackStore::Source> takePacked(std::vector<PackStore::Source>& loose, const ObjectStore& store,
                                          const std::stop_token& stop) {
  std::vector<PackStore::Source> packed;
  platform::Bytes buffer;
  std::erase_if(loose, [&](PackStore::Source& file) {
    platform::throwIfCancelled(stop);
    // A folder that nobody can open is not asked for its key once for each object.
    const auto isIntact = [&] {
      return (store.cipher || !BackupCipher::isSealed(buffer)) && store.isIntact(file.hash(), buffer);
    };
    if (!PackCache::shared().read(file.hash(), store.packsDirectory(), buffer)) return false;
    if (!isIntact()) return true;
    files::read(file.path(), buffer, BackupFormat::objectLimit);
    if (!isIntact()) return false;
    packed.push_back(std::move(file));
    return true;
  });
  return packed;
}

/// Whoever held the folder's lock when a plan was made must hold it when it is carried out: a machine that
/// slept in between may have lost it.
void requireSameHolder(const std::optional<BackupLock>& before, const BackupRepository& repository) {
  const auto now = BackupLock::current(repository.instanceDirectory);
  if (now && !(before && now->isSameHolder(*before)))
    throw BackupEngineError::locked(now->holderText(), now->startedAt);
}

void removeEmptyShards(const BackupRepository& repository) {
  const auto folder = repository.instanceDirectory / BackupFormat::storeFolder / BackupFormat::objectsFolder;
  for (const auto& name : PackStore::shardFolders(folder)) {
    try {
      if (files::list(folder / name).empty()) files::tryRemove(folder / name);
    } catch (const files::FileError&) {
      // Not to be read: left alone.
    }
  }
}

}  // namespace

CleanupResult BackupRepository::applyRetention(int keepCount, int keepDays, platform::Date now,
                                               const std::stop_token& stop) const {
  removeDeleted(*this);
  std::vector<std::string> removed;
  for (auto& verdict : planRetention(*this, {keepCount, keepDays}, now)) {
    platform::throwIfCancelled(stop);
    if (!verdict.goes()) continue;
    removeBackup(*this, verdict.id);
    removed.push_back(std::move(verdict.id));
  }
  auto result = collectGarbage(stop);
  result.removedBackups = std::move(removed);
  return result;
}

CleanupResult BackupRepository::deleteBackup(std::string_view id, const std::stop_token& stop) const {
  if (!isBackupName(id)) files::throwFileError("delete the backup", backupsDirectory() / id, EINVAL);
  if (!files::exists(backupDirectory(id)))
    files::throwFileError("delete the backup", backupDirectory(id), ENOENT);
  removeDeleted(*this);
  removeBackup(*this, std::string(id));
  auto result = collectGarbage(stop);
  result.removedBackups.emplace_back(id);
  return result;
}

CleanupResult BackupRepository::collectGarbage(const std::stop_token& stop) const {
  PackCache::shared().invalidate(store().packsDirectory());
  const auto holder = BackupLock::current(instanceDirectory);
  try {
    const auto plan = planCollection(*this, {}, stop);
    requireSameHolder(holder, *this);
    return carryOut(plan, *this, stop);
  } catch (const IncompleteReferences& error) {
    tuv::CategoryLogger{"store"}.notice("nothing is collected: " + error.description());
    return {};
  }
}

BackupRepository::Packed BackupRepository::packLooseObjects(const std::stop_token& stop) const {
  auto target = store();
  target.cipher = cipher();
  PackCache::shared().invalidate(target.packsDirectory());
  auto loose = PackStore::looseObjects(instanceDirectory, stop);
  if (loose.empty()) return {};
  Packed result;
  for (const auto& file : loose) {
    platform::throwIfCancelled(stop);
    result.bytes += files::size(file.path()).value_or(0);
  }

  const auto removeFile = [](const PackStore::Source& file) { files::tryRemove(file.path()); };
  const auto packed = takePacked(loose, target, stop);
  if (!packed.empty()) files::syncFileSystem(target.packsDirectory());
  std::ranges::for_each(packed, removeFile);

  const auto written =
      PackStore::write(loose, target, PackStore::freshName(), PackStore::SkipExisting::no, stop);
  for (const auto& file : loose)
    if (const auto key = ObjectKey::parse(file.hash()); key && written.contains(*key)) removeFile(file);
  removeEmptyShards(*this);
  result.objects = static_cast<std::int64_t>(packed.size() + written.size());
  return result;
}

}  // namespace orvik
