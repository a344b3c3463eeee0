// What changes an instance folder: deleting backups, collecting what is left over, packing single files.

#include <cerrno>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
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

/// The manifest goes first: a backup of which a part is gone already is not to be seen.
void removeBackup(const BackupRepository& repository, std::string_view id) {
  const auto folder = repository.backupDirectory(id);
  const auto manifest = folder / BackupFormat::manifestFile;
  if (files::exists(manifest)) files::remove(manifest);
  files::removeTree(folder);
}

/// The loose files that a pack holds as well, as when an earlier packing was broken off before they went.
std::vector<PackStore::Source> takePacked(std::vector<PackStore::Source>& loose, const ObjectStore& store,
                                          const std::stop_token& stop) {
  std::vector<PackStore::Source> packed;
  platform::Bytes buffer;
  std::erase_if(loose, [&](PackStore::Source& file) {
    platform::throwIfCancelled(stop);
    const auto packs = store.packsDirectory();
    // A folder that nobody can open is not asked for its key once for each object.
    const auto isIntact = [&] {
      return (store.cipher || !BackupCipher::isSealed(buffer)) && store.isIntact(file.hash, buffer);
    };
    if (!PackCache::shared().read(file.hash, packs, buffer) || !isIntact()) return false;
    files::read(file.path, buffer, BackupFormat::objectLimit);
    if (!isIntact()) return false;
    packed.push_back(std::move(file));
    return true;
  });
  return packed;
}

void removeEmptyShards(const BackupRepository& repository) {
  const auto folder = repository.instanceDirectory / BackupFormat::storeFolder / BackupFormat::objectsFolder;
  for (const auto& name : files::visibleNames(folder)) {
    try {
      if (files::list(folder / name).empty()) files::tryRemove(folder / name);
    } catch (const files::FileError&) {
      // Not a folder, or not to be read: left alone.
    }
  }
}

}  // namespace

CleanupResult BackupRepository::applyRetention(int keepCount, int keepDays, platform::Date now,
                                               const std::stop_token& stop) const {
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
  removeBackup(*this, id);
  auto result = collectGarbage(stop);
  result.removedBackups.emplace_back(id);
  return result;
}

CleanupResult BackupRepository::collectGarbage(const std::stop_token& stop) const {
  PackCache::shared().invalidate(store().packsDirectory());
  try {
    return carryOut(planCollection(*this, {}, stop), *this, stop);
  } catch (const IncompleteReferences& error) {
    tuv::CategoryLogger{"store"}.notice("nothing is collected: " + error.description());
    return {};
  }
}

BackupRepository::Packed BackupRepository::packLooseObjects(const std::stop_token& stop) const {
  auto target = store();
  target.cipher = cipher();
  PackCache::shared().invalidate(target.packsDirectory());
  auto loose = PackStore::looseObjects(instanceDirectory);
  if (loose.empty()) return {};
  Packed result;
  for (const auto& file : loose) result.bytes += files::size(file.path).value_or(0);

  const auto removeFile = [](const PackStore::Source& file) { files::tryRemove(file.path); };
  const auto packed = takePacked(loose, target, stop);
  if (!packed.empty()) files::syncFileSystem(target.packsDirectory());
  std::ranges::for_each(packed, removeFile);

  const auto written =
      PackStore::write(loose, target, PackStore::freshName(), PackStore::SkipExisting::no, stop);
  for (const auto& file : loose)
    if (const auto key = ObjectKey::parse(file.hash); key && written.contains(*key)) removeFile(file);
  removeEmptyShards(*this);
  result.objects = static_cast<std::int64_t>(packed.size() + written.size());
  return result;
}

}  // namespace orvik
