#include "OrvikCore/Care/KeyRecord.h"

#include <algorithm>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "Platform/Files/Files.h"

namespace orvik::KeyRecord {

namespace files = platform::files;

namespace {

/// The cipher that a record gives; nothing for one that can't be read or opened.
std::optional<BackupCipher> cipherOf(const std::filesystem::path& record, const DecryptionKeyProvider& keys) {
  const auto bytes = files::tryRead(record, BackupFormat::encryptionLimit);
  if (!bytes) return std::nullopt;
  const files::TempFolder folder;
  files::atomicWrite(*bytes, folder / BackupFormat::encryptionFile);
  try {
    return BackupEncryption::unlock(folder.path(), keys);
  } catch (const BackupEncryptionError&) {
    return std::nullopt;
  }
}

bool opensWhatIsSealed(const BackupCipher& cipher, const BackupRepository& repository) {
  for (const auto& backup : repository.completeBackups())
    if (backup.manifest.encryption) return opens(cipher, repository, backup);
  return true;
}

}  // namespace

bool hasSealedContent(const BackupRepository& repository) {
  const auto partials = repository.partialBackupIDs();
  return std::ranges::any_of(repository.completeBackups(),
                             [](const auto& each) { return each.manifest.encryption.has_value(); }) ||
         std::ranges::any_of(partials, [&](const std::string& id) {
           const auto state = PartialBackupState::load(repository.partialDirectory(id));
           return state && state->encrypted.value_or(false);
         });
}

bool opens(const BackupCipher& cipher, const BackupRepository& repository,
           const BackupRepository::Backup& backup) {
  const auto folder = repository.backupDirectory(backup.id);
  bool hasIndexes = false;
  for (const auto& section : backup.manifest.sections) {
    if (!section.index) continue;
    hasIndexes = true;
    const bool isPlain = BackupRepository::loadIndex(folder, section.id, std::nullopt).has_value();
    if (!isPlain && BackupRepository::loadIndex(folder, section.id, cipher)) return true;
  }
  return !hasIndexes;
}

bool opensAny(const BackupCipher& cipher, const BackupRepository& repository) {
  auto backups = repository.completeBackups();
  std::erase_if(backups, [](const auto& each) { return !each.manifest.encryption; });
  return backups.empty() ||
         std::ranges::any_of(backups, [&](const auto& each) { return opens(cipher, repository, each); });
}

std::optional<Copy> find(const BackupRepository& repository, const std::vector<std::filesystem::path>& copies,
                         const DecryptionKeyProvider& keys) {
  for (const auto& path : copies)
    if (auto cipher = cipherOf(path, keys); cipher && opensWhatIsSealed(*cipher, repository))
      return Copy{path, std::move(*cipher)};
  return std::nullopt;
}

}  // namespace orvik::KeyRecord
