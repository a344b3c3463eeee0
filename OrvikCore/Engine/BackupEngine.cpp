#include "OrvikCore/Engine/BackupEngine.h"

#include <algorithm>
#include <utility>

#include "OrvikCore/Engine/BackupRun.h"
#include "OrvikCore/Engine/Heartbeat.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/KeychainIdentityKeyProvider.h"
#include "OrvikCore/Store/BackupLock.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/PackCache.h"
#include "Platform/Date.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace {

int rankOf(const SectionDefinition& section) {
  if (std::holds_alternative<SectionDefinition::Files>(section.kind)) return 2;
  return std::holds_alternative<SectionDefinition::Devices>(section.kind) ? 1 : 0;
}

/// Whether the instance is sealed, be its record there, unreadable or gone. The newest backup tells: a sealed
/// instance has no plain ones later.
bool isSealed(const BackupJob& job, const std::optional<BackupRepository::Backup>& latest) {
  return platform::files::exists(job.root / BackupFormat::encryptionFile) ||
         (latest && latest->manifest.encryption);
}

/// What seals this run; nothing for a plain one. A sealed instance is never written in the clear, also not
/// when its record is unreadable or gone: unlocking says so.
std::optional<BackupCipher> cipherFor(const BackupJob& job,
                                      const std::optional<BackupRepository::Backup>& latest) {
  const KeychainIdentityKeyProvider keychain;
  const DecryptionKeyProvider& keys = job.encryptionKeys ? *job.encryptionKeys : keychain;
  if (job.encrypt) return BackupEncryption::prepare(job.root, keys, job.encryptionKeyID);
  if (!isSealed(job, latest)) return std::nullopt;
  return BackupEncryption::unlock(job.root, keys);
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
  // What this process remembers of packs may be older than the lock; objects would be missed if it were
  // believed.
  PackCache::shared().invalidate(repository.store().packsDirectory());
  repository.writeDescriptor(job_.instance);
  auto latest = repository.latestComplete();
  auto cipher = cipherFor(job_, latest);
  const Heartbeat heartbeat(*lock);

  std::optional<std::string> latestID;
  if (latest) latestID = std::move(latest->id);
  auto plan = ResumePlan::make(repository, resumeInterrupted, latestID, cipher.has_value(), now);
  const bool otherOptions = plan.resumed && plan.resumed->options != job_.options;

  BackupRun run(job_, repository, *lock, gate_, {std::move(plan), latestID, std::move(cipher), now}, onEvent,
                stop);
  if (otherOptions && onEvent)
    onEvent(BackupEvents::Note{"The interrupted run goes on with the options that it was started with."});
  return run.execute(stop);
}

}  // namespace orvik
