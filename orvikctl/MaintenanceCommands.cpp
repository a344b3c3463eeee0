#include "orvikctl/MaintenanceCommands.h"

#include <fmt/format.h>

#include <cerrno>
#include <memory>

#include "OrvikCore/Store/BackupLock.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Date.h"
#include "Platform/Files/Files.h"
#include "Platform/Locale/Text.h"
#include "orvikctl/Driver.h"
#include "orvikctl/FolderCommands.h"

namespace orvik::ctl {

namespace {

/// The folder, and its lock as long as this lives.
struct LockedFolder {
  BackupRepository repository;
  std::unique_ptr<BackupLock::Holder> lock;
};

LockedFolder lockFolder(const Arguments& arguments) {
  auto repository = repositoryOf(positional(arguments));
  // Taking a lock makes the folder; a wrong path must leave nothing behind.
  if (!platform::files::isDirectory(repository.instanceDirectory))
    platform::files::throwFileError("open the instance folder", repository.instanceDirectory,
                                    platform::files::exists(repository.instanceDirectory) ? ENOTDIR : ENOENT);
  auto lock = BackupLock::acquire(repository.instanceDirectory, "orvikctl", platform::now());
  return {std::move(repository), std::move(lock)};
}

}  // namespace

int gc(const Arguments& arguments, std::ostream& out) {
  const auto folder = lockFolder(arguments);
  const auto result = folder.repository.collectGarbage();
  out << fmt::format("removed {} objects, {} files, freed {}\n", result.removedObjects, result.removedFiles,
                     platform::locale::byteCount(result.bytesFreed));
  return 0;
}

int pack(const Arguments& arguments, std::ostream& out) {
  const auto folder = lockFolder(arguments);
  const auto result = folder.repository.packLooseObjects();
  if (result.objects == 0)
    out << "nothing to pack\n";
  else
    out << fmt::format("packed {} objects ({}) into one file\n", result.objects,
                       platform::locale::byteCount(result.bytes));
  return 0;
}

}  // namespace orvik::ctl
