#include "TuvCore/KeychainStore.h"

#include <fmt/format.h>

#include "Platform/Locale/Text.h"
#include "TuvCore/UserPasswords.h"

namespace tuv {

namespace {

/// Asks the keychain, with its errors as ours.
template <typename Operation>
auto withPasswords(const Operation& operation) {
  try {
    return operation(*userPasswords());
  } catch (const platform::keychain::PasswordError& error) {
    throw KeychainError::unexpectedStatus(static_cast<std::int32_t>(error.reason()), error.description());
  }
}

}  // namespace

KeychainError KeychainError::unexpectedStatus(std::int32_t status, std::string_view message) {
  return {UnexpectedStatus{status},
          fmt::format("Keychain error {}: {}", status, message.empty() ? "unknown error" : message)};
}

KeychainError KeychainError::invalidData() {
  return {InvalidData{}, "Keychain item is not valid UTF-8 data"};
}

std::optional<platform::SecretString> KeychainStore::string(const std::string& account) const {
  auto value = withPasswords([&](auto& store) { return store.find(service, account); });
  if (value && !platform::locale::isValidUTF8(value->reveal())) throw KeychainError::invalidData();
  return value;
}

void KeychainStore::set(const platform::SecretString& value, const std::string& account) const {
  withPasswords([&](auto& store) { store.set(service, account, value); });
}

void KeychainStore::remove(const std::string& account) const {
  withPasswords([&](auto& store) { store.remove(service, account); });
}

}  // namespace tuv
