#include "OrvikCore/Security/BackupEncryption.h"

#include <fmt/ranges.h>

#include <map>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Locked.h"

namespace orvik {

BackupEncryptionError::BackupEncryptionError(Kind kind, std::string description,
                                             std::vector<std::string> keyIDs)
    : Error(std::move(description)), kind_(kind), keyIDs_(std::move(keyIDs)) {}

BackupEncryptionError BackupEncryptionError::locked(std::vector<std::string> keyIDs) {
  std::string text = fmt::format(
      "This backup is encrypted with the organisation key {}, which is not installed on this Mac. Deploy the "
      "Orvik organisation key profile.",
      fmt::join(keyIDs, ", "));
  return {Kind::locked, std::move(text), std::move(keyIDs)};
}

BackupEncryptionError BackupEncryptionError::damaged(const std::string& what) {
  return {Kind::damaged, "Encrypted data is damaged or was changed: " + what, {}};
}

namespace BackupEncryption {

namespace {

using CipherTable = std::map<std::filesystem::path, std::shared_ptr<const BackupCipher>>;

tuv::Locked<CipherTable>& unlockedCiphers() {
  static tuv::Locked<CipherTable> table;
  return table;
}

/// One key for all spellings of a folder: "a/../b/" and "b" are the same entry. Links are not resolved.
std::filesystem::path tableKey(const std::filesystem::path& directory) {
  auto key = std::filesystem::absolute(directory).lexically_normal();
  return key.has_filename() ? key : key.parent_path();
}

}  // namespace

std::optional<EncryptionInfo> info(const std::filesystem::path& directory) noexcept try {
  const auto bytes =
      platform::files::tryRead(directory / BackupFormat::encryptionFile, BackupFormat::recordLimit);
  return bytes ? BackupFormat::makeDecoder().tryDecode<EncryptionInfo>(*bytes) : std::nullopt;
} catch (...) {
  return std::nullopt;
}

bool isEncrypted(const std::filesystem::path& directory) noexcept { return info(directory).has_value(); }

std::shared_ptr<const BackupCipher> cipherFor(const std::filesystem::path& directory) noexcept try {
  const auto key = tableKey(directory);
  return unlockedCiphers().withLock([&](CipherTable& table) -> std::shared_ptr<const BackupCipher> {
    const auto entry = table.find(key);
    return entry == table.end() ? nullptr : entry->second;
  });
} catch (...) {
  return nullptr;
}

void remember(const std::filesystem::path& directory, std::shared_ptr<const BackupCipher> cipher) {
  auto key = tableKey(directory);
  unlockedCiphers().withLock(
      [&](CipherTable& table) { table.insert_or_assign(std::move(key), std::move(cipher)); });
}

void forgetKeys() noexcept {
  unlockedCiphers().withLock([](CipherTable& table) { table.clear(); });
}

}  // namespace BackupEncryption

}  // namespace orvik
