#include "OrvikCore/Engine/BackupRun.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "OrvikCore/Engine/BackupEngine.h"
#include "OrvikCore/Engine/Publication.h"
#include "OrvikCore/Engine/SectionRunner.h"
#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Jamf/ServerFacts.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"
#include "TuvCore/Log.h"

namespace orvik {

namespace files = platform::files;

namespace {

constexpr std::string_view filesSection = "packageFiles";

/// Records keep whole seconds; a manifest in memory equals the one that is read back.
platform::Date wholeSecond(platform::Date date) { return std::chrono::floor<std::chrono::seconds>(date); }

PartialBackupState stateFor(const RunStart& start, const BackupJob& job) {
  if (start.plan.resumed) return *start.plan.resumed;
  return {start.plan.backupID,     wholeSecond(start.now), start.parentID, job.options, 0,
          start.cipher.has_value()};
}

ObjectStore storeOf(const BackupRepository& repository, const RunPlace& place,
                    const std::optional<BackupCipher>& cipher) {
  auto store = repository.store();
  store.overlay = place.overlay;
  store.cipher = cipher;
  return store;
}

FileDownloader downloaderOf(const BackupJob& job, const PauseGate& gate) {
  auto configuration = job.makeDownloadConfiguration;
  if (!configuration) configuration = [] { return platform::HTTPSessionConfiguration(); };
  return {job.downloadRetryPolicy, &gate, std::move(configuration)};
}

std::optional<BackupManifest> readParent(const RunStart& start, const BackupRepository& repository) {
  const auto& id = start.plan.resumed ? start.plan.resumed->parentBackupID : start.parentID;
  return id ? repository.manifest(*id) : std::nullopt;
}

BackupJob withOptions(BackupJob job, BackupOptions options) {
  job.options = std::move(options);
  return job;
}

bool isWarning(const SectionSummary& summary) {
  using enum SectionSummary::Status;
  return summary.status == partial || summary.status == failed || summary.status == notPermitted;
}

}  // namespace

BackupRun::BackupRun(const BackupJob& job, const BackupRepository& repository, BackupLock::Holder* lock,
                     const PauseGate& gate, RunStart start, const OnBackupEvent& onEvent,
                     const std::stop_token& stop)
    : repository_(repository),
      plan_(start.plan),
      onEvent_(onEvent),
      place_(RunPlace::of(job, repository, plan_.backupID)),
      order_(BackupEngine::runOrder(SectionCatalog::all())),
      record_(std::move(start.record)),
      heldBackups_(start.heldBackups),
      parent_(readParent(start, repository)),
      lock_(lock),
      state_(stateFor(start, job)),
      audit_(place_.working),
      limiter_(state_.options.maxConcurrentRequests, state_.options.maxRequestsPerSecond),
      pipeline_(*job.client, limiter_, gate, job.retryPolicy, &audit_,
                [this](const std::string& text) { context_.emit(BackupEvents::Note{text}); }),
      journal_(place_.working, start.cipher),
      context_{withOptions(job, state_.options),
               storeOf(repository, place_, start.cipher),
               repository,
               pipeline_,
               journal_,
               place_.working,
               state_.parentBackupID,
               {},
               downloaderOf(job, gate),
               bytes_,
               pendingBytes_,
               audit_,
               std::move(start.cipher),
               false,
               onEvent} {
  requestsBefore_ = state_.requests;
  for (const auto& folder : plan_.discarded) {
    platform::throwIfCancelled(stop);
    files::removeTree(folder);
  }
  files::createDirectories(place_.working / BackupFormat::sectionsFolder);
  state_.save(place_.working);
  // What a plain parent has in the clear is stored anew by a run that seals.
  context_.reuseParentObjects = parent_ && (!context_.cipher || parent_->encryption);
  if (!plan_.resumed) return;
  auto left = Leftovers::load(place_.working, context_.store, context_.cipher, stop);
  context_.journaled = std::move(left.journaled);
  earlier_ = std::move(left.summaries);
}

BackupManifest BackupRun::execute(const std::stop_token& stop) try {
  return readAndPublish(stop);
} catch (...) {
  journal_.close();
  audit_.close();
  try {
    state_.requests = requests();
    // A folder that is another writer's by now is neither touched nor brought back.
    const bool isOwn = !lock_ || !(lock_->takenOverBy() || lock_->isGone());
    if (files::isDirectory(place_.working) && isOwn) state_.save(place_.working);
  } catch (...) {
    // The failure that is on its way says what a person has to know.
  }
  throw;
}

BackupManifest BackupRun::readAndPublish(const std::stop_token& stop) {
  if (lock_) audit_.recordLocal("LOCK", std::string(BackupFormat::lockFile));
  audit_.recordLocal(plan_.resumed ? "RESUME" : "START",
                     lock_ ? "backup into " + repository_.instanceDirectory.string()
                           : "simulation, nothing is written to the backup folder");
  jamfProVersion_ = ServerFacts::version(pipeline_, stop);
  privileges_ = ServerFacts::privileges(pipeline_, stop);

  announce();
  for (const auto& section : order_) {
    const auto earlier = earlier_.find(std::string(section.id));
    if (earlier != earlier_.end()) {
      summaries_.push_back(earlier->second);
    } else {
      summaries_.push_back(readSection(section, stop));
      saveProgress();
    }
    context_.emit(BackupEvents::SectionFinished{summaries_.back()});
  }
  journal_.close();

  requireOwnLock();
  RunPlace::requireFilled(repository_, heldBackups_);
  requireIndexes();
  requireRecord();
  auto manifest = makeManifest();
  if (lock_)
    Publication(context_, place_, *lock_).publish(manifest, stop);
  else
    endSimulation(manifest);
  return manifest;
}

void BackupRun::announce() {
  context_.emit(BackupEvents::Started{plan_.backupID, plan_.resumed.has_value(), context_.parentID, order_});
  const auto& newest = context_.parentID;
  if (newest && *newest > plan_.backupID && BackupFormat::dateFromBackupID(*newest))
    context_.emit(
        BackupEvents::Note{fmt::format("The newest backup {} lies in the future of this one: the clock of "
                                       "this machine, or of the one that made "
                                       "it, is or was wrong.",
                                       *newest)});
}

SectionSummary BackupRun::readSection(const SectionDefinition& section, const std::stop_token& stop) {
  platform::throwIfCancelled(stop);
  if (!context_.job.options.isEnabled(section.id)) {
    SectionSummary summary;
    summary.id = section.id;
    summary.title = section.title;
    summary.status = SectionSummary::Status::disabled;
    return summary;
  }
  context_.emit(BackupEvents::SectionStarted{section});
  // An index of an earlier attempt must not outlive it when the section can't be read this time.
  const auto index = place_.working / BackupFormat::sectionPath(section.id);
  if (files::exists(index)) files::remove(index);
  auto summary = SectionRunner(section, context_).run(stop);
  noteRetired(summary);
  return summary;
}

/// Servers retire paths: a section that nobody misses until it is needed.
void BackupRun::noteRetired(const SectionSummary& summary) const {
  if (summary.status != SectionSummary::Status::notAvailable || !parent_) return;
  const auto before = std::ranges::find(parent_->sections, summary.id, &SectionSummary::id);
  if (before != parent_->sections.end() && before->index)
    context_.emit(BackupEvents::Note{
        fmt::format("Section \"{}\" was in the last backup and is not available on the server any more.",
                    summary.title)});
}

void BackupRun::saveProgress() {
  requireOwnLock();
  saveSummaries(summariesToKeep(), place_.working);
  state_.requests = requests();
  state_.save(place_.working);
  if (lock_) lock_->refresh();
}

std::vector<SectionSummary> BackupRun::summariesToKeep() const {
  // Those of an earlier attempt that still lie ahead stand behind the ones so far.
  auto kept = summaries_;
  for (std::size_t i = kept.size(); i < order_.size(); ++i)
    if (const auto earlier = earlier_.find(std::string(order_[i].id)); earlier != earlier_.end())
      kept.push_back(earlier->second);
  return kept;
}

void BackupRun::requireOwnLock() const {
  if (lock_) lock_->requireOwn();
}

void BackupRun::requireIndexes() const {
  for (const auto& summary : summaries_) {
    const bool isThere = files::isFile(place_.working / BackupFormat::sectionPath(summary.id));
    if (summary.index && !isThere)
      throw tuv::Error(fmt::format("The index of the section \"{}\" has vanished from {}.", summary.id,
                                   place_.working.string()));
    if (!summary.index && isThere)
      throw tuv::Error(fmt::format("An index of the section \"{}\", which was not read, has appeared in {}.",
                                   summary.id, place_.working.string()));
  }
}

void BackupRun::requireRecord() const {
  if (lock_ && record_ && BackupEncryption::info(repository_.instanceDirectory) != record_)
    throw tuv::Error(
        fmt::format("{} is gone or was changed while the backup ran. Without the one that the run "
                    "began with, what it stored can't be opened.",
                    (repository_.instanceDirectory / BackupFormat::encryptionFile).string()));
}

BackupManifest BackupRun::makeManifest() const {
  BackupManifest manifest;
  manifest.formatVersion = record_ ? BackupFormat::encryptedFormatVersion : BackupFormat::formatVersion;
  manifest.backupID = plan_.backupID;
  manifest.instance = context_.job.instance;
  manifest.jamfProVersion = jamfProVersion_;
  manifest.orvikVersion = context_.job.orvikVersion;
  manifest.startedAt = state_.startedAt;
  manifest.finishedAt = wholeSecond(platform::now());
  manifest.status = std::ranges::any_of(summaries_, isWarning) ? BackupManifest::Status::completeWithWarnings
                                                               : BackupManifest::Status::complete;
  manifest.parentBackupID = context_.parentID;
  manifest.privileges = privileges_;
  manifest.options = context_.job.options;
  manifest.sections = summaries_;
  for (const auto& summary : summaries_) {
    manifest.totals.objects += summary.counts.total;
    manifest.totals.newOrChangedObjects += summary.counts.new_ + summary.counts.changed;
  }
  countFiles(manifest.totals);
  manifest.totals.bytesDownloaded = bytes_.value();
  manifest.totals.requests = requests();
  if (record_)
    manifest.encryption = BackupManifest::EncryptionRef{record_->scheme, BackupEncryption::keyIDs(*record_)};
  return manifest;
}

void BackupRun::countFiles(BackupManifest::Totals& totals) const {
  const auto index = BackupRepository::loadIndex(place_.working, filesSection, context_.cipher);
  if (!index) return;
  totals.files = static_cast<int>(index->items.size());
  totals.filesDownloaded = static_cast<int>(std::ranges::count_if(index->items, [](const IndexItem& item) {
    return item.file && item.file->status == FileRef::Status::downloaded;
  }));
}

void BackupRun::endSimulation(const BackupManifest& manifest) {
  ObjectStore::atomicWrite(BackupFormat::makeEncoder().encode(manifest),
                           place_.working / BackupFormat::manifestFile);
  audit_.recordLocal(
      "SIMULATE", fmt::format("{}/{}", BackupFormat::backupsFolder, plan_.backupID),
      fmt::format("{} new or changed objects would be stored", manifest.totals.newOrChangedObjects));
  audit_.close();
  tuv::CategoryLogger{"engine"}.info(
      fmt::format("simulation of {} finished: {} requests", plan_.backupID, manifest.totals.requests));
}

}  // namespace orvik
