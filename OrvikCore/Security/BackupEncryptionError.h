#pragma once

#include <string>
#include <vector>

#include "TuvCore/Error.h"

namespace orvik {

/// Why content can't be sealed or opened.
class BackupEncryptionError : public tuv::Error {
 public:
  enum class Kind { locked, damaged, noOrganisationKey };

  /// None of these organisation keys is at hand.
  static BackupEncryptionError locked(std::vector<std::string> keyIDs);
  static BackupEncryptionError damaged(const std::string& what);
  /// A backup is to be sealed, and there is no key to seal it for.
  static BackupEncryptionError noOrganisationKey();

  Kind kind() const noexcept { return kind_; }
  const std::vector<std::string>& keyIDs() const noexcept { return keyIDs_; }

 private:
  BackupEncryptionError(Kind kind, std::string description, std::vector<std::string> keyIDs);
  Kind kind_;
  std::vector<std::string> keyIDs_;
};

}  // namespace orvik
