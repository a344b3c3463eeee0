#include "OrvikCore/Engine/BackupEngine.h"

#include <algorithm>
#include <utility>

#include "OrvikCore/Engine/BackupRun.h"
#include "OrvikCore/Engine/Heartbeat.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/BackupLock.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Date.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"

namespace orvik {

namespace {

int rankOf(const SectionDefinition& section) {
  if (std::holds_alternative<SectionDefinition::Files>(section.kind)) return 2;
  return std::holds_alternative<SectionDefinition::Devices>(section.kind) ? 1 : 0;
}

/// A sealed instance is never written in the clear.
void refuseSealedInstance(const BackupRepository& repository) {
  const auto info = BackupEncryption::info(repository.instanceDirectory);
  const auto record = repository.instanceDirectory / BackupFormat::encryptionFile;
  if (!info && platform::files::exists(record))
    throw tuv::Error("The instance is sealed, but " + record.string() +
                     " can't be read. Nothing is written to it in the clear.");
  if (!info) return;
  std::vector<std::string> keyIDs;
  for (const auto& key : info->keys) keyIDs.push_back(key.keyID);
  throw BackupEncryptionError::locked(std::move(keyIDs));
}

}  // namespace

BackupEngine::BackupEngine(BackupJob job) : job_(std::move(job)) {}

std::vector<SectionDefinition> BackupEngine::runOrder(std::span<const SectionDefinition> sections) {
  std::vector<SectionDefinition> order(sections.begin(), sections.end());
  std::ranges::stable_sort(order, {}, rankOf);
  return order;
}

BackupManifest BackupEngine::run(ResumeInterrupted resumeInterrupted, const OnBackupEvent& onEvent,
                                 const std::stop_token& stop) {
  const BackupRepository repository(job_.root);
  platform::files::createDirectories(repository.backupsDirectory());
  const auto now = platform::now();
  const auto lock = BackupLock::acquire(job_.root, job_.orvikVersion, now);
  refuseSealedInstance(repository);
  repository.writeDescriptor(job_.instance);
  const Heartbeat heartbeat(*lock);

  auto latest = repository.latestComplete();
  std::optional<std::string> latestID;
  if (latest) latestID = std::move(latest->id);
  auto plan = ResumePlan::make(repository, resumeInterrupted, latestID, false, now);
  const bool otherOptions = plan.resumed && plan.resumed->options != job_.options;

  BackupRun run(job_, repository, *lock, gate_, std::move(plan), latestID, now, onEvent, stop);
  if (otherOptions && onEvent)
    onEvent(BackupEvents::Note{"The interrupted run goes on with the options that it was started with."});
  return run.execute(stop);
}

}  // namespace orvik
