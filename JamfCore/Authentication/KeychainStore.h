#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Platform/SecretString.h"
#include "Platform/UUID.h"
#include "TuvCore/Error.h"

namespace jamf {

/// A failed operation of the keychain.
class KeychainError : public tuv::Error {
 public:
  /// The keychain's number for it.
  struct UnexpectedStatus {
    std::int32_t status;
    bool operator==(const UnexpectedStatus&) const = default;
  };
  /// What is stored, or to be stored, is no text.
  struct DataConversionFailed {
    bool operator==(const DataConversionFailed&) const = default;
  };
  using Case = std::variant<UnexpectedStatus, DataConversionFailed>;

  /// `message` is the keychain's own; empty when it has none.
  static KeychainError unexpectedStatus(std::int32_t status, std::string_view message = {});
  static KeychainError dataConversionFailed();

  const Case& which() const noexcept { return case_; }

 private:
  KeychainError(Case which, std::string description) : Error(std::move(description)), case_(which) {}
  Case case_;
};

/// The secrets of organizations in the user's keychain (`tuv::userPasswords`), each under the account
/// "ORGANIZATION'S UUID.KEY" of one service.
///
/// A plain value; every operation asks the keychain anew, and nobody is asked for a password. Any thread may
/// call. Operations throw `KeychainError`.
struct KeychainStore {
  std::string service;

  /// Stores or replaces it.
  void setSecret(const platform::SecretString& value, const platform::UUID& orgID,
                 const std::string& key) const;
  /// The text, or nothing when there is none.
  std::optional<platform::SecretString> secret(const platform::UUID& orgID, const std::string& key) const;
  /// An absent one is no error.
  void deleteSecret(const platform::UUID& orgID, const std::string& key) const;
};

}  // namespace jamf
