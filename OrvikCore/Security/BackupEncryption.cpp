#include "OrvikCore/Security/BackupEncryption.h"

#include <chrono>
#include <exception>
#include <map>
#include <string_view>
#include <system_error>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/KeychainIdentityKeyProvider.h"
#include "OrvikCore/Security/SecretEnvelope.h"
#include "Platform/Base64.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "Platform/SecretString.h"
#include "TuvCore/Locked.h"

namespace orvik::BackupEncryption {

namespace files = platform::files;

namespace {

constexpr std::size_t fewEntries = 16;

using CipherTable = std::map<files::Path, BackupCipher>;

tuv::Locked<CipherTable>& unlockedCiphers() {
  static tuv::Locked<CipherTable> table;
  return table;
}

/// One key for all spellings of a folder: "a/../b/" and "b" are the same entry. Links are not resolved. A
/// path that can't be made absolute stays as it is: whoever reads or writes there says what is wrong with it.
files::Path tableKey(const files::Path& directory) {
  std::error_code failure;
  auto key = std::filesystem::absolute(directory, failure).lexically_normal();
  if (failure) return directory;
  return key.has_filename() ? key : key.parent_path();
}

std::optional<BackupCipher> remembered(const files::Path& directory) {
  const auto key = tableKey(directory);
  return unlockedCiphers().withLock([&](const CipherTable& table) -> std::optional<BackupCipher> {
    const auto entry = table.find(key);
    if (entry == table.end()) return std::nullopt;
    return entry->second;
  });
}

BackupCipher remember(const files::Path& directory, const platform::Secret256& dataKey) {
  const BackupCipher cipher(dataKey);
  auto key = tableKey(directory);
  unlockedCiphers().withLock([&](CipherTable& table) { table.insert_or_assign(std::move(key), cipher); });
  return cipher;
}

/// Nothing for an entry that doesn't open, or holds anything but 32 bytes of Base64.
std::optional<platform::Secret256> unwrapped(const EncryptionInfo::WrappedKey& key,
                                             const DecryptionKeyProvider& keys) try {
  const auto base64 = SecretEnvelope::decrypt(key.wrapped, keys);
  auto decoded = platform::base64Decode(base64.reveal());
  if (!decoded) return std::nullopt;
  const platform::SecretString bytes(std::move(*decoded));
  return platform::Secret256::copyOf(bytes.reveal());
} catch (const platform::CancellationError&) {
  throw;
} catch (const std::exception&) {
  return std::nullopt;
}

EncryptionInfo recordFor(const platform::Secret256& dataKey, const PublicKeys& recipients) {
  const platform::SecretString base64(platform::base64Encode(dataKey.reveal()));
  EncryptionInfo record{
      1, std::string(BackupCipher::scheme), std::chrono::floor<std::chrono::seconds>(platform::now()), {}};
  for (const auto& [id, x963] : recipients)
    record.keys.push_back({id, SecretEnvelope::encrypt(base64.reveal(), x963)});
  return record;
}

}  // namespace

BackupCipher prepare(const files::Path& directory, const DecryptionKeyProvider& keys,
                     const std::optional<std::string>& preferredKeyID) {
  if (isEncrypted(directory)) return unlock(directory, keys);

  auto recipients = keys.publicKeys();
  if (preferredKeyID)
    if (const auto preferred = recipients.find(*preferredKeyID); preferred != recipients.end())
      recipients = PublicKeys{*preferred};
  if (recipients.empty()) throw BackupEncryptionError::noOrganisationKey();

  const auto dataKey = platform::Secret256::random();
  const auto record = recordFor(dataKey, recipients);
  files::createDirectories(directory);
  files::atomicWrite(BackupFormat::makeEncoder().encode(record), directory / BackupFormat::encryptionFile);
  files::syncFileSystem(directory);  // nothing may be sealed before the record outlives a power cut
  return remember(directory, dataKey);
}

BackupCipher unlock(const files::Path& directory, const DecryptionKeyProvider& keys) {
  if (auto cipher = remembered(directory)) return std::move(*cipher);
  const auto record = info(directory);
  if (!record) throw BackupEncryptionError::damaged("encryption.json missing");
  // Each try may be a look into a token: of many entries only those for a key that is there are tried.
  std::optional<PublicKeys> available;
  if (record->keys.size() > fewEntries) available = keys.publicKeys();
  for (const auto& key : record->keys) {
    if (available && !available->contains(SecretEnvelope::recipient(key.wrapped).value_or(""))) continue;
    if (const auto dataKey = unwrapped(key, keys)) return remember(directory, *dataKey);
  }
  throw BackupEncryptionError::locked(keyIDs(*record));
}

std::optional<BackupCipher> cipherFor(const files::Path& directory) noexcept try {
  if (auto cipher = remembered(directory)) return cipher;
  if (!isEncrypted(directory)) return std::nullopt;
  return unlock(directory, KeychainIdentityKeyProvider());
} catch (...) {
  return std::nullopt;
}

bool isEncrypted(const files::Path& directory) noexcept { return info(directory).has_value(); }

std::optional<EncryptionInfo> info(const files::Path& directory) noexcept try {
  const auto bytes = files::tryRead(directory / BackupFormat::encryptionFile, BackupFormat::encryptionLimit);
  return bytes ? BackupFormat::makeDecoder().tryDecode<EncryptionInfo>(*bytes) : std::nullopt;
} catch (...) {
  return std::nullopt;
}

std::vector<std::string> keyIDs(const EncryptionInfo& record) {
  std::vector<std::string> ids;
  for (const auto& key : record.keys) ids.push_back(key.keyID);
  return ids;
}

std::vector<std::string> keyIDs(const files::Path& directory) noexcept try {
  const auto record = info(directory);
  return record ? keyIDs(*record) : std::vector<std::string>();
} catch (...) {
  return {};
}

void forgetKeys() noexcept {
  unlockedCiphers().withLock([](CipherTable& table) { table.clear(); });
}

}  // namespace orvik::BackupEncryption
