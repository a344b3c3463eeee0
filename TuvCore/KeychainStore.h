#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Platform/SecretString.h"
#include "TuvCore/Error.h"

namespace tuv {

/// A failed operation of the keychain.
class KeychainError : public Error {
 public:
  /// The keychain's number for it.
  struct UnexpectedStatus {
    std::int32_t status;
    bool operator==(const UnexpectedStatus&) const = default;
  };
  /// What is stored is no text.
  struct InvalidData {
    bool operator==(const InvalidData&) const = default;
  };
  using Case = std::variant<UnexpectedStatus, InvalidData>;

  /// `message` is the keychain's own; empty when it has none.
  static KeychainError unexpectedStatus(std::int32_t status, std::string_view message = {});
  static KeychainError invalidData();

  const Case& which() const noexcept { return case_; }

 private:
  KeychainError(Case which, std::string description) : Error(std::move(description)), case_(which) {}
  Case case_;
};

/// Short secret texts in the keychain of the user, under a service's name and an account: in the Secret
/// Service of the session where there is one, else in files of the folder "secrets" below the user's data
/// folder.
///
/// A plain value; every operation asks the keychain anew, so one that was locked or restarted meanwhile is no
/// matter. Nobody is asked for a password. Any thread may call. Operations throw `KeychainError`.
struct KeychainStore {
  std::string service;
  bool useDataProtectionKeychain = false;  ///< for systems that have two keychains; no difference here

  /// The text, or nothing when there is none.
  std::optional<platform::SecretString> string(const std::string& account) const;
  /// Stores or replaces it.
  void set(const platform::SecretString& value, const std::string& account) const;
  /// An absent one is no error.
  void remove(const std::string& account) const;
};

}  // namespace tuv
