#include "orvik/Backup/Sealing.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <utility>
#include <vector>

#include "OrvikCore/Care/KeyRecord.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/InMemoryKeyProvider.h"
#include "OrvikCore/Security/KeychainIdentityKeyProvider.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Files/Files.h"
#include "TuvCore/AppIdentity.h"
#include "TuvCore/Log.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

namespace files = platform::files;

files::Path recordOf(const BackupJob& job) { return job.root / BackupFormat::encryptionFile; }

/// Where copies of records are kept.
files::Path allCopies() { return tuv::AppIdentity::own().userSupportDirectory() / "encryption"; }

/// Those of an instance. One server may be backed up into several folders, each with a record of its own.
files::Path copiesOf(const BackupJob& job) { return allCopies() / job.instance.id.text(); }

std::string whatToDo(const BackupJob& job) {
  const auto copies = copiesOf(job);
  const auto names = files::visibleNames(copies);
  if (names.empty())
    return fmt::format(
        "Put the file back from a copy of the folder: without it the sealed backups can't be "
        "opened. To begin anew, name another folder with --to.");
  return fmt::format("Put the file back. Copies of it are kept on this machine; for the newest: cp {} {}",
                     wording::shellWord((copies / names.back()).string()),
                     wording::shellWord(recordOf(job).string()));
}

/// For a folder without a record that can be read.
void requireNoSealedContent(const BackupJob& job) {
  const auto record = recordOf(job);
  if (files::exists(record))
    throw CredentialError(fmt::format("The folder is sealed, but {} can't be read, so nothing is written. {}",
                                      record.string(), whatToDo(job)));
  if (KeyRecord::hasSealedContent(BackupRepository(job.root)))
    throw CredentialError(
        fmt::format("The folder holds sealed backups, but {} is missing, so nothing is "
                    "written. {}",
                    record.string(), whatToDo(job)));
}

/// A misspelt ID would seal for all keys.
void requireKey(const DecryptionKeyProvider& keys, const std::string& keyID) {
  const auto table = keys.publicKeys();
  if (table.empty() || table.contains(keyID)) return;
  std::vector<std::string> ids;
  for (const auto& [id, key] : table) ids.push_back(id);
  throw CredentialError(
      fmt::format("There is no organisation key {}; at hand: {}.", keyID, fmt::join(ids, ", ")));
}

/// Named by the time of keeping, so that the newest is last, and by content: no record takes another's place.
void keepCopy(const BackupJob& job) {
  const auto bytes = files::read(recordOf(job));
  const auto suffix = fmt::format("-{}.json", platform::sha256Hex(bytes).substr(0, 16));
  const auto copies = copiesOf(job);
  const auto names = files::visibleNames(copies);
  if (std::ranges::any_of(names, [&](const std::string& name) { return name.ends_with(suffix); })) return;
  files::atomicWrite(bytes, copies / (BackupFormat::backupID(platform::now()) + suffix));
}

}  // namespace

std::shared_ptr<const DecryptionKeyProvider> organisationKeys(const std::optional<std::string>& keyFile) try {
  if (keyFile) return std::make_shared<InMemoryKeyProvider>(InMemoryKeyProvider::fromFile(*keyFile));
  return std::make_shared<KeychainIdentityKeyProvider>();
} catch (const tuv::Error& error) {
  throw CredentialError(error.description());
}

std::vector<files::Path> keyRecordCopies(const BackupRepository& repository) {
  auto owner = repository.descriptor();
  if (const auto newest = repository.latestComplete(); !owner && newest) owner = newest->manifest.instance;
  const auto owners = owner ? std::vector{owner->id.text()} : files::visibleNames(allCopies());
  std::vector<files::Path> copies;
  for (const auto& id : owners)
    for (const auto& name : files::visibleNames(allCopies() / id)) copies.push_back(allCopies() / id / name);
  std::ranges::sort(copies, std::ranges::greater(), &files::Path::filename);
  return copies;
}

SealedRun::SealedRun(const Sealing& sealing, BackupJob& job, ProgressView& view)
    : sealing_(sealing), job_(job), view_(view), before_(BackupEncryption::info(job.root)) {
  if (!before_ && !sealing.encrypt) return;
  job.encrypt = sealing.encrypt;
  job.encryptionKeys = organisationKeys(sealing.keyFile);
  job.encryptionKeyID = sealing.keyID;
  if (!before_ && sealing.keyID) requireKey(*job.encryptionKeys, *sealing.keyID);
  refusals_ = std::make_shared<tuv::CategorySink>(
      "encryption", [&view](const std::string& message) { view.remark(message); });
  tuv::Log::shared().addSink(refusals_);
}

void SealedRun::check() const {
  requireSameRecord();
  if (before_)
    requireThatItOpensTheNewestBackup();
  else
    requireNoSealedContent(job_);
}

void SealedRun::begun() {
  requireSameRecord();
  if (!BackupEncryption::isEncrypted(job_.root)) {
    if (sealing_.keyFile)
      view_.remark(
          fmt::format("--key is not used: {} is not sealed. To seal it, add --encrypt.", job_.root.string()));
    return;
  }
  isNewlySealed_ = !before_;
  try {
    keepCopy(job_);
  } catch (const tuv::Error& error) {
    view_.remark("The key record was not copied to this machine. " + error.description());
  }
}

SealedRun::~SealedRun() {
  if (refusals_) refusals_->detach();
  if (isNewlySealed_)
    view_.remark(
        fmt::format("Sealed from now on for the organisation key {}. Keep the private key safe: "
                    "without it nobody can open these backups.",
                    fmt::join(BackupEncryption::keyIDs(job_.root), ", ")));
}

void SealedRun::requireSameRecord() const {
  if (before_ && BackupEncryption::info(job_.root) != before_)
    throw CredentialError(
        fmt::format("{} was changed or removed by somebody else just now, so nothing is "
                    "written. {}",
                    recordOf(job_).string(), whatToDo(job_)));
}

void SealedRun::requireThatItOpensTheNewestBackup() const {
  const BackupRepository repository(job_.root);
  const auto cipher = BackupEncryption::unlock(job_.root, *job_.encryptionKeys);
  const auto newest = repository.latestComplete();
  if (!newest || !newest->manifest.encryption || KeyRecord::opens(cipher, repository, *newest)) return;
  throw CredentialError(
      fmt::format("{} is not the record that the backup {} was sealed with, so nothing is "
                  "written. {}",
                  recordOf(job_).string(), newest->id, whatToDo(job_)));
}

}  // namespace orvik::host
