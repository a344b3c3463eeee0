#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Error.h"
#include "Platform/SecretString.h"

namespace platform::keychain {

/// Why a store of secrets refuses.
class PasswordError : public Error {
 public:
  /// The numbers by which keychains are told about.
  enum class Reason : std::int32_t { notAvailable = -25291, locked = -25308, failed = -2070 };

  PasswordError(Reason reason, std::string description) : Error(std::move(description)), reason_(reason) {}
  Reason reason() const noexcept { return reason_; }

 private:
  Reason reason_;
};

/// Short secrets, each of a service and an account. Nobody is ever asked for a password: a store that is
/// locked refuses. Any thread may call. Operations throw `PasswordError`.
class PasswordStore {
 public:
  virtual ~PasswordStore() = default;

  /// The secret's bytes; nothing when it isn't there.
  virtual std::optional<SecretString> find(const std::string& service, const std::string& account) = 0;
  /// Stores or replaces it.
  virtual void set(const std::string& service, const std::string& account, const SecretString& secret) = 0;
  /// An absent one is no error.
  virtual void remove(const std::string& service, const std::string& account) = 0;
};

/// The Secret Service of the user's session (freedesktop.org Secret Service API 0.2), its default collection.
/// Null where no session bus answers, or nobody on it offers the service.
std::unique_ptr<PasswordStore> secretService();

/// A file for each secret, named by service and account, in a folder that is the user's alone (0700, files
/// 0600). A folder or file with wider rights is refused with the command that mends it. The folder is made
/// with the first secret.
std::unique_ptr<PasswordStore> secretFolder(std::filesystem::path folder);

/// The Secret Service where there is one, else the folder.
std::unique_ptr<PasswordStore> passwords(const std::filesystem::path& folder);

}  // namespace platform::keychain
