#include "OrvikCore/Engine/BackupEngine.h"

#include <fmt/format.h>

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
#include "TuvCore/Error.h"

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

std::shared_ptr<const DecryptionKeyProvider> keysOf(const BackupJob& job) {
  return job.encryptionKeys ? job.encryptionKeys : std::make_shared<KeychainIdentityKeyProvider>();
}

/// What seals this run; nothing for a plain one. A sealed instance is never written in the clear, also not
/// when its record is unreadable or gone: unlocking says so.
std::optional<BackupCipher> cipherFor(const BackupJob& job,
                                      const std::optional<BackupRepository::Backup>& latest) {
  if (job.encrypt) return BackupEncryption::prepare(job.root, *keysOf(job), job.encryptionKeyID);
  if (!isSealed(job, latest)) return std::nullopt;
  return BackupEncryption::unlock(job.root, *keysOf(job));
}

/// The same for a simulation, which makes no record: a first sealing has keys that are thrown away.
std::optional<BackupCipher> simulationCipherFor(const BackupJob& job,
                                                const std::optional<BackupRepository::Backup>& latest) {
  if (BackupEncryption::isEncrypted(job.root) || (!job.encrypt && isSealed(job, latest)))
    return BackupEncryption::unlock(job.root, *keysOf(job));
  if (!job.encrypt) return std::nullopt;
  if (keysOf(job)->publicKeys().empty()) throw BackupEncryptionError::noOrganisationKey();
  return BackupCipher(platform::Secret256::random());
}

/// The record that a sealed run names in its manifest: without it nobody could open what is written.
std::optional<EncryptionInfo> recordFor(const BackupJob& job, const std::optional<BackupCipher>& cipher) {
  if (!cipher) return std::nullopt;
  auto record = BackupEncryption::info(job.root);
  if (!record) throw BackupEncryptionError::damaged("encryption.json missing");
  return record;
}

/// What a simulation's manifest says of a record that a backup would make.
EncryptionInfo recordOfFirstSealing(const BackupJob& job) {
  EncryptionInfo record;
  record.scheme = BackupCipher::scheme;
  const auto keys = keysOf(job)->publicKeys();
  const auto& preferred = job.encryptionKeyID;
  for (const auto& [id, key] : keys)
    if (!preferred || !keys.contains(*preferred) || id == *preferred) record.keys.push_back({id, {}});
  return record;
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
  if (job_.simulationDirectory)
    throw tuv::Error("A job with a simulation folder is simulated; it can't be run as a backup.");
  RunPlace::require(job_);
  const BackupRepository repository(job_.root);
  const bool heldBackups = repository.latestComplete().has_value();
  platform::files::createDirectories(repository.backupsDirectory());
  const auto now = platform::now();
  const auto lock = BackupLock::acquire(job_.root, job_.orvikVersion, now);
  RunPlace::requireFilled(repository, heldBackups);
  if (job_.requireFolder) job_.requireFolder();
  // What this process remembers of packs may be older than the lock; objects would be missed if it were
  // believed.
  PackCache::shared().invalidate(repository.store().packsDirectory());
  repository.writeDescriptor(job_.instance);
  if (job_.stagingDirectory) BackupRepository(*job_.stagingDirectory).writeDescriptor(job_.instance);

  const auto latest = repository.latestComplete();
  RunStart start;
  start.now = now;
  start.heldBackups = heldBackups;
  if (latest) start.parentID = latest->id;
  start.cipher = cipherFor(job_, latest);
  start.record = recordFor(job_, start.cipher);
  start.plan = ResumePlan::make(repository, job_.stagingDirectory, resumeInterrupted, start.parentID,
                                start.cipher.has_value(), now);
  const Heartbeat heartbeat(*lock);
  const bool otherOptions = start.plan.resumed && start.plan.resumed->options != job_.options;

  BackupRun run(job_, repository, lock.get(), gate_, std::move(start), onEvent, stop);
  if (otherOptions && onEvent)
    onEvent(BackupEvents::Note{"The interrupted run goes on with the options that it was started with."});
  return run.execute(stop);
}

SimulationResult BackupEngine::simulate(const OnBackupEvent& onEvent, const std::stop_token& stop) {
  if (!job_.simulationDirectory) throw tuv::Error("A simulation needs a folder of its own to work in.");
  RunPlace::require(job_);
  const BackupRepository repository(job_.root);
  PackCache::shared().invalidate(repository.store().packsDirectory());

  const auto latest = repository.latestComplete();
  RunStart start;
  start.now = platform::now();
  if (latest) start.parentID = latest->id;
  start.cipher = simulationCipherFor(job_, latest);
  if (start.cipher) start.record = BackupEncryption::info(job_.root).value_or(recordOfFirstSealing(job_));
  start.plan = ResumePlan::fresh(repository, start.now);
  const auto cipher = start.cipher;

  BackupRun run(job_, repository, nullptr, gate_, std::move(start), onEvent, stop);
  auto manifest = run.execute(stop);
  return {std::move(manifest), *job_.simulationDirectory, run.pendingBytes(), cipher};
}

}  // namespace orvik
