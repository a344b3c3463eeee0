#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "OrvikCore/Security/BackupCipher.h"
#include "OrvikCore/Security/DecryptionKeyProvider.h"
#include "OrvikCore/Store/BackupRepository.h"

/// The key record of an instance, "encryption.json", and the content that was sealed by it.
namespace orvik::KeyRecord {

/// Whether a finished or an interrupted backup is sealed.
bool hasSealedContent(const BackupRepository& repository);

/// Whether a cipher opens the indexes of a sealed backup. One damaged index says nothing, all of them do; a
/// plain one, which anybody could have put there, proves nothing.
bool opens(const BackupCipher& cipher, const BackupRepository& repository,
           const BackupRepository::Backup& backup);

/// Whether a cipher opens the indexes of any sealed backup; true where there is none that could tell.
bool opensAny(const BackupCipher& cipher, const BackupRepository& repository);

/// A copy of a record that proved to be the right one.
struct Copy {
  std::filesystem::path path;
  BackupCipher cipher;
};
/// The first of these copies that the keys open and whose cipher opens the newest sealed backup that can be
/// looked into; nothing when none does. Throws `platform::files::FileError` where nothing can be tried.
std::optional<Copy> find(const BackupRepository& repository, const std::vector<std::filesystem::path>& copies,
                         const DecryptionKeyProvider& keys);

}  // namespace orvik::KeyRecord
