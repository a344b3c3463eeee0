#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "OrvikCore/Security/BackupCipher.h"
#include "Platform/Date.h"
#include "Platform/JSON/Codable.h"
#include "TuvCore/Error.h"

namespace orvik {

/// Why sealed content can't be opened.
class BackupEncryptionError : public tuv::Error {
 public:
  enum class Kind { locked, damaged };

  /// None of these organisation keys is at hand.
  static BackupEncryptionError locked(std::vector<std::string> keyIDs);
  static BackupEncryptionError damaged(const std::string& what);

  Kind kind() const noexcept { return kind_; }
  const std::vector<std::string>& keyIDs() const noexcept { return keyIDs_; }

 private:
  BackupEncryptionError(Kind kind, std::string description, std::vector<std::string> keyIDs);
  Kind kind_;
  std::vector<std::string> keyIDs_;
};

/// "encryption.json": for which organisation keys an instance is sealed.
struct EncryptionInfo {
  struct WrappedKey {
    std::string keyID;
    std::string wrapped;  ///< the data key as a sealed value

    static constexpr auto fields() {
      using platform::json::field;
      return std::tuple{field("keyID", &WrappedKey::keyID), field("wrapped", &WrappedKey::wrapped)};
    }
    bool operator==(const WrappedKey&) const = default;
  };

  int formatVersion = 1;
  std::string scheme;
  platform::Date createdAt;
  std::vector<WrappedKey> keys;  ///< ascending by key ID

  static constexpr auto fields() {
    using platform::json::field;
    return std::tuple{field("formatVersion", &EncryptionInfo::formatVersion),
                      field("scheme", &EncryptionInfo::scheme),
                      field("createdAt", &EncryptionInfo::createdAt), field("keys", &EncryptionInfo::keys)};
  }
  bool operator==(const EncryptionInfo&) const = default;
};

/// The sealing of instance folders. Any thread may call.
namespace BackupEncryption {

/// The record of "encryption.json"; nothing when it can't be read or decoded.
std::optional<EncryptionInfo> info(const std::filesystem::path& directory) noexcept;

/// Whether `info` gives a record.
bool isEncrypted(const std::filesystem::path& directory) noexcept;

/// The cipher that this process has unlocked for the instance folder, or nothing.
std::shared_ptr<const BackupCipher> cipherFor(const std::filesystem::path& directory) noexcept;

/// Enters an unlocked cipher in the process's table.
void remember(const std::filesystem::path& directory, std::shared_ptr<const BackupCipher> cipher);

/// Empties the table.
void forgetKeys() noexcept;

}  // namespace BackupEncryption

}  // namespace orvik
