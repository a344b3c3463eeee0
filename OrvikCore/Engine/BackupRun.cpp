#include "OrvikCore/Engine/BackupRun.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "JamfCore/Networking/APIError.h"
#include "OrvikCore/Engine/BackupEngine.h"
#include "OrvikCore/Engine/SectionRunner.h"
#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Jamf/JSONTree.h"
#include "OrvikCore/Jamf/RequestOutcome.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"
#include "TuvCore/Log.h"

namespace orvik {

namespace files = platform::files;

namespace {

/// Records keep whole seconds; a manifest in memory equals the one that is read back.
platform::Date wholeSecond(platform::Date date) { return std::chrono::floor<std::chrono::seconds>(date); }

PartialBackupState stateFor(const RunStart& start, const BackupJob& job) {
  if (start.plan.resumed) return *start.plan.resumed;
  return {start.plan.backupID,     wholeSecond(start.now), start.parentID, job.options, 0,
          start.cipher.has_value()};
}

/// The record that a sealed run names in its manifest: without it nobody could open what is written.
std::optional<EncryptionInfo> recordFor(const RunStart& start, const std::filesystem::path& directory) {
  if (!start.cipher) return std::nullopt;
  auto record = BackupEncryption::info(directory);
  if (!record) throw BackupEncryptionError::damaged("encryption.json missing");
  return record;
}

ObjectStore storeOf(const BackupRepository& repository, const std::optional<BackupCipher>& cipher) {
  auto store = repository.store();
  store.cipher = cipher;
  return store;
}

BackupJob withOptions(BackupJob job, BackupOptions options) {
  job.options = std::move(options);
  return job;
}

std::optional<std::vector<std::string>> privilegeList(const JSONTree& answer) {
  auto list = answer["account"]["privileges"].array();
  if (!list) list = answer["privileges"].array();
  if (!list) return std::nullopt;
  std::vector<std::string> privileges;
  for (const auto& element : *list)
    if (auto text = element.string()) privileges.push_back(std::move(*text));
  std::ranges::sort(privileges);
  return privileges;
}

/// 400, 401 and 403 of the token request speak of the client (RFC 6749, 5.2); any other status doesn't.
BackupEngineError::Credential credentialBehind(const std::exception& failure) {
  using jamf::APIError;
  using enum BackupEngineError::Credential;
  const auto* error = dynamic_cast<const APIError*>(&failure);
  if (error == nullptr) return notAtFault;
  if (error->as<APIError::NotAuthenticated>()) return refused;
  const auto* answer = error->as<APIError::AuthenticationFailed>();
  if (answer == nullptr) return notAtFault;
  const auto status = answer->statusCode;
  return status == 400 || status == 401 || status == 403 ? refused : notAtFault;
}

bool isWarning(const SectionSummary& summary) {
  using enum SectionSummary::Status;
  return summary.status == partial || summary.status == failed || summary.status == notPermitted;
}

}  // namespace

BackupRun::BackupRun(const BackupJob& job, const BackupRepository& repository, BackupLock::Holder& lock,
                     const PauseGate& gate, RunStart start, const OnBackupEvent& onEvent,
                     const std::stop_token& stop)
    : repository_(repository),
      plan_(start.plan),
      onEvent_(onEvent),
      partial_(repository.partialDirectory(plan_.backupID)),
      order_(BackupEngine::runOrder(SectionCatalog::all())),
      record_(recordFor(start, repository.instanceDirectory)),
      lock_(lock),
      state_(stateFor(start, job)),
      audit_(partial_),
      limiter_(state_.options.maxConcurrentRequests, state_.options.maxRequestsPerSecond),
      pipeline_(*job.client, limiter_, gate, job.retryPolicy, &audit_,
                [this](const std::string& text) { context_.emit(BackupEvents::Note{text}); }),
      journal_(partial_, start.cipher),
      context_{withOptions(job, state_.options),
               storeOf(repository, start.cipher),
               repository,
               pipeline_,
               journal_,
               partial_,
               state_.parentBackupID,
               {},
               bytes_,
               audit_,
               std::move(start.cipher),
               false,
               onEvent} {
  requestsBefore_ = state_.requests;
  for (const auto& id : plan_.discarded) {
    platform::throwIfCancelled(stop);
    files::removeTree(repository.partialDirectory(id));
  }
  files::createDirectories(partial_ / BackupFormat::sectionsFolder);
  state_.save(partial_);
  const auto parent = context_.parentID ? repository.manifest(*context_.parentID) : std::nullopt;
  // What a plain parent has in the clear is stored anew by a run that seals.
  context_.reuseParentObjects = parent && (!context_.cipher || parent->encryption);
  if (!plan_.resumed) return;
  auto left = Leftovers::load(partial_, context_.store, context_.cipher, stop);
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
    if (files::isDirectory(partial_) && !lock_.takenOverBy()) state_.save(partial_);
  } catch (...) {
    // The failure that is on its way says what a person has to know.
  }
  throw;
}

BackupManifest BackupRun::readAndPublish(const std::stop_token& stop) {
  recordLocal("LOCK", std::string(BackupFormat::lockFile));
  recordLocal(plan_.resumed ? "RESUME" : "START", "backup into " + repository_.instanceDirectory.string());
  checkConnection(stop);
  readPrivileges(stop);

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
  requireIndexes();
  requireRecord();
  auto manifest = makeManifest();
  writeManifest(manifest);
  packLooseObjects(stop);
  publish();
  tuv::CategoryLogger{"engine"}.info(fmt::format("backup {} finished: {} objects, {} requests",
                                                 plan_.backupID, manifest.totals.objects,
                                                 manifest.totals.requests));
  applyRetention(stop);
  return manifest;
}

void BackupRun::checkConnection(const std::stop_token& stop) {
  try {
    const auto answer = pipeline_.get("api/v1/jamf-pro-version", {}, stop);
    jamfProVersion_ = JSONTree::parse(answer)["version"].string();
  } catch (const std::exception& error) {
    platform::throwIfCancelled(stop);
    switch (RequestOutcome::classify(error).kind) {
      case RequestOutcome::Kind::notPermitted:
      case RequestOutcome::Kind::notFound:
        return;
      case RequestOutcome::Kind::cancelled:
        throw platform::CancellationError();
      default:
        throw BackupEngineError::cannotConnect(describeFailure(error), credentialBehind(error));
    }
  }
}

void BackupRun::readPrivileges(const std::stop_token& stop) {
  try {
    privileges_ = privilegeList(JSONTree::parse(pipeline_.get("api/v1/auth", {}, stop)));
  } catch (const std::exception& error) {
    platform::throwIfCancelled(stop);
    if (RequestOutcome::classify(error).kind == RequestOutcome::Kind::cancelled)
      throw platform::CancellationError();
  }
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
  const auto index = partial_ / BackupFormat::sectionPath(section.id);
  if (files::exists(index)) files::remove(index);
  return SectionRunner(section, context_).run(stop);
}

void BackupRun::saveProgress() {
  requireOwnLock();
  saveSummaries(summariesToKeep(), partial_);
  state_.requests = requests();
  state_.save(partial_);
  lock_.refresh();
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
  if (const auto other = lock_.takenOverBy())
    throw BackupEngineError::locked(other->holderText(), other->startedAt);
}

void BackupRun::requireIndexes() const {
  for (const auto& summary : summaries_) {
    const bool isThere = files::isFile(partial_ / BackupFormat::sectionPath(summary.id));
    if (summary.index && !isThere)
      throw tuv::Error(fmt::format("The index of the section \"{}\" has vanished from {}.", summary.id,
                                   partial_.string()));
    if (!summary.index && isThere)
      throw tuv::Error(fmt::format("An index of the section \"{}\", which was not read, has appeared in {}.",
                                   summary.id, partial_.string()));
  }
}

void BackupRun::requireRecord() const {
  if (record_ && BackupEncryption::info(repository_.instanceDirectory) != record_)
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
  manifest.totals.bytesDownloaded = bytes_.value();
  manifest.totals.requests = requests();
  if (record_)
    manifest.encryption = BackupManifest::EncryptionRef{record_->scheme, BackupEncryption::keyIDs(*record_)};
  return manifest;
}

void BackupRun::writeManifest(const BackupManifest& manifest) {
  ObjectStore::atomicWrite(BackupFormat::makeEncoder().encode(manifest),
                           partial_ / BackupFormat::manifestFile);
  recordLocal("WRITE", fmt::format("{}/{}", BackupFormat::backupsFolder, plan_.backupID),
              fmt::format("{} objects, {} new or changed, {} requests", manifest.totals.objects,
                          manifest.totals.newOrChangedObjects, manifest.totals.requests));
}

void BackupRun::packLooseObjects(const std::stop_token& stop) {
  if (!context_.job.packLooseObjects) return;
  const auto packed = repository_.packLooseObjects(stop);
  if (packed.objects == 0) return;
  recordLocal("PACK", fmt::format("{}/{}", BackupFormat::storeFolder, BackupFormat::objectsFolder),
              fmt::format("{} loose objects moved into one pack", packed.objects));
  context_.emit(BackupEvents::Note{
      fmt::format("Moved {} single object files into one pack file (fewer files for the sync service).",
                  packed.objects)});
}

void BackupRun::publish() {
  audit_.close();
  // The journal serves only an unfinished run, whose summaries are all written by now.
  files::tryRemove(partial_ / BackupFormat::journalFile);
  files::syncFileSystem(partial_);
  requireOwnLock();
  files::renameWithoutReplacing(partial_, repository_.backupDirectory(plan_.backupID));
}

void BackupRun::applyRetention(const std::stop_token& stop) {
  const auto& policy = context_.job.retention;
  if (!policy) return;
  try {
    requireOwnLock();
    context_.emit(BackupEvents::Retention{
        repository_.applyRetention(policy->keepCount, policy->keepDays, platform::now(), stop)});
  } catch (const std::exception& error) {  // a cancellation too: the backup is published
    context_.emit(BackupEvents::Note{"Retention failed: " + describeFailure(error)});
  }
}

void BackupRun::recordLocal(std::string method, std::string target, std::optional<std::string> detail) {
  AuditEntry entry;
  entry.time = platform::now();
  entry.kind = AuditEntry::Kind::local;
  entry.method = std::move(method);
  entry.target = std::move(target);
  entry.outcome = "ok";
  entry.detail = std::move(detail);
  audit_.record(entry);
}

}  // namespace orvik
