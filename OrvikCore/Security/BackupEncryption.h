#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Security/BackupCipher.h"
#include "OrvikCore/Security/BackupEncryptionError.h"
#include "OrvikCore/Security/DecryptionKeyProvider.h"
#include "OrvikCore/Security/EncryptionInfo.h"

namespace orvik {

/// The sealing of instance folders: one random data key for each, wrapped for organisation keys in
/// "encryption.json".
///
/// A cipher that was unlocked once stays in a table of this process, by the folder's absolute path, until
/// `forgetKeys`. Any thread may call; no key is asked for under the table's lock.
namespace BackupEncryption {

/// The way in for a new backup: the cipher of a sealed folder, or else a new data key for the provider's
/// keys. A `preferredKeyID` that the provider has makes that key the only recipient of a new data key; any
/// other is ignored. A record that can't be read counts as absent and is replaced: content that was sealed
/// under it is lost with it, so callers that mind look first.
///
/// Throws `BackupEncryptionError` (noOrganisationKey, with nothing written; locked) and
/// `platform::files::FileError`.
BackupCipher prepare(const std::filesystem::path& directory, const DecryptionKeyProvider& keys,
                     const std::optional<std::string>& preferredKeyID = std::nullopt);

/// The cipher of a sealed folder. Throws `BackupEncryptionError`: damaged when the record can't be read,
/// locked when none of its keys is at hand.
BackupCipher unlock(const std::filesystem::path& directory, const DecryptionKeyProvider& keys);

/// The cipher of the folder if it is unlocked already or the machine's keychain unlocks it. Nothing for a
/// plain folder, without asking the keychain, and for a locked one.
std::optional<BackupCipher> cipherFor(const std::filesystem::path& directory) noexcept;

/// Whether `info` gives a record.
bool isEncrypted(const std::filesystem::path& directory) noexcept;

/// The record of "encryption.json"; nothing when it can't be read or decoded.
std::optional<EncryptionInfo> info(const std::filesystem::path& directory) noexcept;

/// The key IDs of a record, in its order.
std::vector<std::string> keyIDs(const EncryptionInfo& record);
/// Those of the folder's record; empty without one.
std::vector<std::string> keyIDs(const std::filesystem::path& directory) noexcept;

/// Empties the table.
void forgetKeys() noexcept;

}  // namespace BackupEncryption

}  // namespace orvik
