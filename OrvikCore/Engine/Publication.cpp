#include "OrvikCore/Engine/Publication.h"

#include <fmt/format.h>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Jamf/RequestOutcome.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"
#include "TuvCore/Log.h"

namespace orvik {

namespace files = platform::files;

void Publication::publish(const BackupManifest& manifest, const std::stop_token& stop) const {
  ObjectStore::atomicWrite(BackupFormat::makeEncoder().encode(manifest),
                           place_.working / BackupFormat::manifestFile);
  context_.audit.recordLocal(
      "WRITE", fmt::format("{}/{}", BackupFormat::backupsFolder, manifest.backupID),
      fmt::format("{} objects, {} new or changed, {} requests", manifest.totals.objects,
                  manifest.totals.newOrChangedObjects, manifest.totals.requests));
  if (place_.kind == RunPlace::Kind::staging) packStagedObjects(stop);
  packLooseObjects(stop);
  publishBackup(manifest, stop);
  tuv::CategoryLogger{"engine"}.info(fmt::format("backup {} finished: {} objects, {} requests",
                                                 manifest.backupID, manifest.totals.objects,
                                                 manifest.totals.requests));
  applyRetention(stop);
}

void Publication::packStagedObjects(const std::stop_token& stop) const {
  auto store = context_.store;
  store.overlay.reset();
  const auto objects = PackStore::looseObjects(*place_.overlay, stop);
  lock_.requireOwn();
  const auto packed =
      PackStore::write(objects, store, PackStore::freshName(), PackStore::SkipExisting::yes, stop);
  requireAllInFolder(objects, store, stop);
  context_.audit.recordLocal(
      "PUBLISH", fmt::format("{}/{}", BackupFormat::storeFolder, BackupFormat::packsFolder),
      fmt::format("{} new objects packed from local staging into the backup folder", packed.size()));
}

/// A pack leaves damaged objects out in silence, and a backup must not refer to what is nowhere. They are
/// deleted, so that the run that takes this one up reads them again.
void Publication::requireAllInFolder(const std::vector<PackStore::Source>& objects, const ObjectStore& store,
                                     const std::stop_token& stop) const {
  std::size_t missing = 0;
  for (const auto& object : objects) {
    platform::throwIfCancelled(stop);
    if (store.has(object.hash(), ObjectStore::IncludingOverlay::no)) continue;
    ++missing;
    files::tryRemove(object.path());
  }
  if (missing > 0)
    throw tuv::Error(
        fmt::format("{} {} damaged in the staging folder {}, so the backup was not published. The "
                    "next run reads {} again.",
                    missing, missing == 1 ? "object was" : "objects were", place_.working.string(),
                    missing == 1 ? "it" : "them"));
}

void Publication::packLooseObjects(const std::stop_token& stop) const {
  if (!context_.job.packLooseObjects) return;
  const auto packed = context_.repository.packLooseObjects(stop);
  if (packed.objects == 0) return;
  context_.audit.recordLocal("PACK",
                             fmt::format("{}/{}", BackupFormat::storeFolder, BackupFormat::objectsFolder),
                             fmt::format("{} loose objects moved into one pack", packed.objects));
  context_.emit(BackupEvents::Note{
      fmt::format("Moved {} single object files into one pack file (fewer files for the sync service).",
                  packed.objects)});
}

void Publication::publishBackup(const BackupManifest& manifest, const std::stop_token& stop) const {
  context_.audit.close();
  const auto& id = manifest.backupID;
  const auto partial = partialToPublish(id, stop);
  files::syncFileSystem(partial);
  lock_.requireOwn();
  files::renameWithoutReplacing(partial, context_.repository.backupDirectory(id));

  if (context_.repository.manifest(id) != manifest)
    throw tuv::Error(
        fmt::format("The backup {} was published, but its manifest doesn't read back as it was "
                    "written. Have the folder verified.",
                    id));
  if (place_.kind != RunPlace::Kind::staging) return;
  try {
    files::removeTree(place_.working);
  } catch (const files::FileError& error) {
    context_.emit(BackupEvents::Note{"The staging folder was not cleared: " + error.description()});
  }
}

std::filesystem::path Publication::partialToPublish(const std::string& backupID,
                                                    const std::stop_token& stop) const {
  auto partial = context_.repository.partialDirectory(backupID);
  if (place_.kind == RunPlace::Kind::staging) {
    files::removeTree(partial);
    copyStaged(partial, stop);
  } else {
    // The journal serves only an unfinished run, whose summaries are all written by now.
    files::tryRemove(partial / BackupFormat::journalFile);
  }
  return partial;
}

/// Not the overlay, whose objects are in the store by now, and not the journal, which serves an unfinished
/// run. The manifest goes last: a folder without one is no backup, whatever breaks.
void Publication::copyStaged(const std::filesystem::path& to, const std::stop_token& stop) const {
  const auto copyAll = [&](const std::filesystem::path& folder) {
    files::createDirectories(to / folder);
    for (const auto& name : files::listVisible(place_.working / folder)) {
      const auto path = folder / name;
      const bool staysBehind = path == BackupFormat::journalFile || path == BackupFormat::manifestFile;
      if (!staysBehind && files::isFile(place_.working / path))
        files::copyFile(place_.working / path, to / path, stop);
    }
  };
  copyAll({});
  copyAll(BackupFormat::sectionsFolder);
  const auto manifest = std::filesystem::path(BackupFormat::manifestFile);
  files::copyFile(place_.working / manifest, to / manifest, stop);
}

void Publication::applyRetention(const std::stop_token& stop) const {
  const auto& policy = context_.job.retention;
  if (!policy) return;
  try {
    lock_.requireOwn();
    context_.emit(BackupEvents::Retention{
        context_.repository.applyRetention(policy->keepCount, policy->keepDays, platform::now(), stop)});
  } catch (const std::exception& error) {  // a cancellation too: the backup is published
    context_.emit(BackupEvents::Note{"Retention failed: " + describeFailure(error)});
  }
}

}  // namespace orvik
