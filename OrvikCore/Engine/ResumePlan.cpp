#include "OrvikCore/Engine/ResumePlan.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace files = platform::files;

namespace {

std::string freeID(const std::vector<BackupRepository>& places, platform::Date now) {
  for (auto second = now;; second += std::chrono::seconds(1)) {
    auto id = BackupFormat::backupID(second);
    const bool isFree = std::ranges::none_of(places, [&](const BackupRepository& place) {
      return files::exists(place.backupDirectory(id)) || files::exists(place.partialDirectory(id));
    });
    if (isFree) return id;
  }
}

/// The newest interrupted run of a folder that qualifies.
std::optional<PartialBackupState> resumable(const BackupRepository& place,
                                            const std::optional<std::string>& latestID, bool encrypted) {
  const auto ids = place.partialBackupIDs();
  for (auto id = ids.rbegin(); id != ids.rend(); ++id) {
    auto state = PartialBackupState::load(place.partialDirectory(*id));
    if (!state || state->parentBackupID != latestID || state->encrypted.value_or(false) != encrypted)
      continue;
    state->backupID = *id;
    return state;
  }
  return std::nullopt;
}

bool isThere(const IndexItem& item, const ObjectStore& store) {
  const bool objects = std::ranges::all_of(item.objects, [&](const auto& object) {
    return store.hasContent(object.second, ObjectStore::IncludingOverlay::yes);
  });
  const bool file = !item.file || !item.file->sha256 || store.hasFile(*item.file->sha256);
  return objects && file;
}

bool isThere(const SectionSummary& summary, const std::filesystem::path& partial, const ObjectStore& store,
             const std::optional<BackupCipher>& cipher, const std::stop_token& stop) {
  platform::throwIfCancelled(stop);
  if (!summary.index) return true;
  const auto index = BackupRepository::loadIndex(partial, summary.id, cipher);
  return index && std::ranges::all_of(index->items, [&](const auto& item) {
           platform::throwIfCancelled(stop);
           return isThere(item, store);
         });
}

/// What a crash left between writing a file and giving it its name.
void removeTemporaryFiles(const std::filesystem::path& folder) {
  try {
    for (const auto& name : files::list(folder))
      if (name.starts_with('.') && name.ends_with(".tmp")) files::tryRemove(folder / name);
  } catch (const files::FileError&) {
    // A folder that can't be listed fails where its content is needed.
  }
}

std::vector<SectionSummary> loadSummaries(const std::filesystem::path& partial) {
  const auto bytes = files::tryRead(partial / BackupFormat::summariesFile, BackupFormat::manifestLimit);
  if (!bytes) return {};
  return BackupFormat::makeDecoder().tryDecode<std::vector<SectionSummary>>(*bytes).value_or(
      std::vector<SectionSummary>());
}

}  // namespace

ResumePlan ResumePlan::make(const BackupRepository& repository,
                            const std::optional<std::filesystem::path>& staging, ResumeInterrupted resume,
                            const std::optional<std::string>& latestID, bool encrypted, platform::Date now) {
  ResumePlan plan;
  if (resume == ResumeInterrupted::yes)
    plan.resumed =
        staging ? resumableStaged(*staging, latestID, encrypted) : resumable(repository, latestID, encrypted);
  // A staged run may have been published and then not been cleared away.
  if (plan.resumed && files::exists(repository.backupDirectory(plan.resumed->backupID))) plan.resumed.reset();
  if (plan.resumed) {
    plan.backupID = plan.resumed->backupID;
    return plan;
  }
  std::vector<BackupRepository> places{repository};
  if (staging) places.emplace_back(*staging);
  plan.backupID = freeID(places, now);
  for (const auto& place : places)
    for (const auto& id : place.partialBackupIDs()) plan.discarded.push_back(place.partialDirectory(id));
  return plan;
}

ResumePlan ResumePlan::fresh(const BackupRepository& repository, platform::Date now) {
  return {std::nullopt, freeID({repository}, now), {}};
}

std::optional<PartialBackupState> resumableStaged(const std::filesystem::path& staging,
                                                  const std::optional<std::string>& latestID,
                                                  bool encrypted) {
  return resumable(BackupRepository(staging), latestID, encrypted);
}

Leftovers Leftovers::load(const std::filesystem::path& partial, const ObjectStore& store,
                          const std::optional<BackupCipher>& cipher, const std::stop_token& stop) {
  removeTemporaryFiles(partial);
  removeTemporaryFiles(partial / BackupFormat::sectionsFolder);
  Leftovers left;
  for (auto& summary : loadSummaries(partial))
    if (isThere(summary, partial, store, cipher, stop)) left.summaries.insert_or_assign(summary.id, summary);
  for (auto& entry : BackupJournal::read(partial, cipher)) {
    platform::throwIfCancelled(stop);
    if (left.summaries.contains(entry.section) || !isThere(entry.item, store)) continue;
    auto id = entry.item.id;
    left.journaled[entry.section].insert_or_assign(std::move(id), std::move(entry.item));
  }
  return left;
}

void saveSummaries(const std::vector<SectionSummary>& summaries, const std::filesystem::path& partial) {
  ObjectStore::atomicWrite(BackupFormat::makeEncoder().encode(summaries),
                           partial / BackupFormat::summariesFile);
}

}  // namespace orvik
