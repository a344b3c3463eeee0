#include "OrvikCore/Config/CredentialStore.h"

#include <utility>

#include "JamfCore/Networking/APIError.h"
#include "OrvikCore/Security/SecretEnvelope.h"

namespace orvik {

namespace {

std::string accountOf(const InstanceConfig& instance) { return instance.id.text() + ".clientSecret"; }

}  // namespace

CredentialStore::CredentialStore(std::string service, std::shared_ptr<const DecryptionKeyProvider> keys)
    : keychain{std::move(service)}, keyProvider(std::move(keys)) {}

void CredentialStore::saveSecret(const platform::SecretString& secret, const InstanceConfig& instance) const {
  keychain.set(secret, accountOf(instance));
}

void CredentialStore::deleteSecret(const InstanceConfig& instance) const {
  keychain.remove(accountOf(instance));
}

bool CredentialStore::hasSecret(const InstanceConfig& instance) const try {
  return instance.managedSecret || keychain.string(accountOf(instance));
} catch (const tuv::KeychainError&) {
  return false;
}

jamf::OAuthTokenManager::SecretProvider CredentialStore::secretProvider(
    const InstanceConfig& instance) const {
  if (instance.managedSecret)
    return [secret = instance.managedSecret, keys = keyProvider] {
      const auto text = secret->reveal();
      return SecretEnvelope::isEnvelope(text) ? SecretEnvelope::decrypt(text, *keys)
                                              : platform::SecretString(std::string(text));
    };
  return [store = keychain, account = accountOf(instance)] {
    auto secret = store.string(account);
    if (!secret) throw jamf::APIError::notAuthenticated();
    return std::move(*secret);
  };
}

std::shared_ptr<jamf::APIClient> CredentialStore::makeClient(
    const InstanceConfig& instance, std::shared_ptr<platform::HTTPSession> session) const {
  const auto url = instance.normalizedURL();
  if (!url) throw jamf::APIError::invalidBaseURL();
  auto tokens = std::make_shared<jamf::OAuthTokenManager>(url->text(), instance.clientID, session,
                                                          secretProvider(instance));
  return std::make_shared<jamf::APIClient>(url->text(), std::move(tokens), std::move(session));
}

}  // namespace orvik
