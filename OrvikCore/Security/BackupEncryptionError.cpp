#include "OrvikCore/Security/BackupEncryptionError.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <utility>

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

BackupEncryptionError BackupEncryptionError::noOrganisationKey() {
  return {
      Kind::noOrganisationKey,
      "Backups must be encrypted (EncryptBackups), but the Orvik organisation key is not installed on this "
      "Mac. Deploy the organisation key profile, then back up again.",
      {}};
}

}  // namespace orvik
