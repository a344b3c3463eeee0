#include "JamfCore/Authentication/KeychainStore.h"

#include <fmt/format.h>

#include "Platform/Locale/Text.h"
#include "TuvCore/UserPasswords.h"

namespace jamf {

namespace {

/// Asks the keychain, with its errors as ours.
template <typename Operation>
auto withPasswords(const Operation& operation) {
  try {
    return operation(*tuv::userPasswords());
  } catch (const platform::keychain::PasswordError& error) {
    throw KeychainError::unexpectedStatus(static_cast<std::int32_t>(error.reason()), error.description());
  }
}

std::string account(const platform::UUID& orgID, const std::string& key) { return orgID.text() + "." + key; }

void requireText(const platform::SecretString& value) {
  if (!platform::locale::isValidUTF8(value.reveal())) throw KeychainError::dataConversionFailed();
}

}  // namespace

KeychainError KeychainError::unexpectedStatus(std::int32_t status, std::string_view message) {
  return {UnexpectedStatus{status}, message.empty()
                                        ? fmt::format("Keychain error with status {}", status)
                                        : fmt::format("Keychain error ({}): {}", status, message)};
}

KeychainError KeychainError::dataConversionFailed() {
  return {DataConversionFailed{}, "Failed to convert secret to/from Data"};
}

void KeychainStore::setSecret(const platform::SecretString& value, const platform::UUID& orgID,
                              const std::string& key) const {
  requireText(value);
  withPasswords([&](auto& store) { store.set(service, account(orgID, key), value); });
}

std::optional<platform::SecretString> KeychainStore::secret(const platform::UUID& orgID,
                                                            const std::string& key) const {
  auto value = withPasswords([&](auto& store) { return store.find(service, account(orgID, key)); });
  if (value) requireText(*value);
  return value;
}

void KeychainStore::deleteSecret(const platform::UUID& orgID, const std::string& key) const {
  withPasswords([&](auto& store) { store.remove(service, account(orgID, key)); });
}

}  // namespace jamf
