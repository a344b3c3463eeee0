#include "orvik/Folder/InstanceFolder.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/PackCache.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"
#include "orvik/Backup/Sealing.h"
#include "orvik/ExitStatus.h"
#include "orvik/Folder/LockWait.h"

namespace orvik::host {

namespace {

namespace files = platform::files;

/// Who names the folder of all instances wanted one of those below it.
std::string instancesBelow(const files::Path& root) {
  std::vector<std::string> slugs;
  for (const auto& instance : BackupRepository::discoverInstances(root)) slugs.push_back(instance.slug);
  if (slugs.empty()) return "";
  return fmt::format(" Below it are the folders of instances: {}.", fmt::join(slugs, ", "));
}

std::unique_ptr<BackupLock::Holder> lockOf(const BackupRepository& repository, double lockWait,
                                           ProgressView& view, const std::stop_token& stop) {
  requireNoLinks(repository);
  const auto& folder = repository.instanceDirectory;
  LockWait wait(lockWait, folder, view, stop);
  while (true) {
    platform::throwIfCancelled(stop);
    try {
      return BackupLock::acquire(folder, ORVIK_VERSION, platform::now());
    } catch (const BackupEngineError& refusal) {
      wait.after(refusal);
    }
  }
}

/// Whatever a backup left counts, so that a folder that is damaged is not told to be none.
bool isInstance(const BackupRepository& repository) {
  return files::exists(repository.instanceDirectory / BackupFormat::instanceFile) ||
         files::isDirectory(repository.backupsDirectory());
}

void requireNoLink(const files::Path& path) {
  std::error_code error;
  if (!std::filesystem::is_symlink(path, error)) return;
  throw tuv::Error(
      fmt::format("{} is a link, and nothing is written or deleted through it. Put the folder itself in its "
                  "place; a whole instance folder may lie behind a link.",
                  path.string()));
}

}  // namespace

BackupRepository instanceFolder(const std::string& path) {
  BackupRepository repository(path);
  if (!files::isDirectory(path)) throw NotFoundError(fmt::format("There is no folder {}.", path));
  if (!isInstance(repository))
    throw NotFoundError(fmt::format("{} is not the folder of an instance: it has neither {} nor {}.{}", path,
                                    BackupFormat::instanceFile, BackupFormat::backupsFolder,
                                    instancesBelow(path)));
  return repository;
}

std::vector<BackupRepository> instanceFolders(const std::string& path) {
  if (BackupRepository repository(path); isInstance(repository)) return {std::move(repository)};
  std::vector<BackupRepository> found;
  auto names = files::isDirectory(path) ? files::list(path) : std::vector<std::string>();
  std::ranges::sort(names);
  for (const auto& name : names)
    if (BackupRepository repository(path, name); isInstance(repository))
      found.push_back(std::move(repository));
  if (found.empty()) return {instanceFolder(path)};  // which says why not
  return found;
}

std::string absolutePath(const BackupRepository& repository) {
  const auto path = std::filesystem::absolute(repository.instanceDirectory).lexically_normal();
  return (path.has_filename() ? path : path.parent_path()).string();
}

void unlockFolder(const BackupRepository& repository, const std::optional<std::string>& keyFile) {
  const auto& folder = repository.instanceDirectory;
  if (files::exists(folder / BackupFormat::encryptionFile))
    BackupEncryption::unlock(folder, *organisationKeys(keyFile));
}

void requireNoLinks(const BackupRepository& repository) {
  const auto store = repository.instanceDirectory / BackupFormat::storeFolder;
  const auto objects = store / BackupFormat::objectsFolder, packageFiles = store / BackupFormat::filesFolder;
  for (const auto& folder : {repository.backupsDirectory(), store, objects, packageFiles,
                             store / BackupFormat::packsFolder, store / BackupFormat::downloadsFolder})
    requireNoLink(folder);
  for (const auto& folder : {objects, packageFiles})
    for (const auto& shard : files::visibleNames(folder)) requireNoLink(folder / shard);
  for (const auto& id : repository.partialBackupIDs()) requireNoLink(repository.partialDirectory(id));
}

HeldFolder::HeldFolder(BackupRepository repository, double lockWait, ProgressView& view,
                       const std::stop_token& stop)
    : repository_(std::move(repository)),
      lock_(lockOf(repository_, lockWait, view, stop)),
      heartbeat_(*lock_) {
  PackCache::shared().invalidate(repository_.store().packsDirectory());
}

void HeldFolder::requireOwn() const { lock_->requireOwn(); }

}  // namespace orvik::host
