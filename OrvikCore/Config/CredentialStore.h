#pragma once

#include <memory>
#include <string>

#include "JamfCore/Authentication/OAuthTokenManager.h"
#include "JamfCore/Networking/APIClient.h"
#include "OrvikCore/Config/InstanceConfig.h"
#include "OrvikCore/Security/DecryptionKeyProvider.h"
#include "Platform/HTTP/HTTPSession.h"
#include "Platform/SecretString.h"
#include "TuvCore/KeychainStore.h"

namespace orvik {

/// Finds the client secrets of instances: what the organisation forces for them, else what the keychain holds
/// under their ID. A plain value; any thread may call.
struct CredentialStore {
  tuv::KeychainStore keychain;
  std::shared_ptr<const DecryptionKeyProvider> keyProvider;  ///< opens managed secrets; not null

  CredentialStore(std::string service, std::shared_ptr<const DecryptionKeyProvider> keys);

  /// Both throw `tuv::KeychainError`.
  void saveSecret(const platform::SecretString& secret, const InstanceConfig& instance) const;
  void deleteSecret(const InstanceConfig& instance) const;

  /// Whether there is a secret, not whether it can be opened. A keychain that fails holds none.
  bool hasSecret(const InstanceConfig& instance) const;

  /// Gets the secret anew at every call, from any thread. It throws `SecretError` for a managed one that
  /// can't be opened, `tuv::KeychainError`, and `jamf::APIError` when the keychain holds none.
  jamf::OAuthTokenManager::SecretProvider secretProvider(const InstanceConfig& instance) const;

  /// A client of the instance's server. Throws `jamf::APIError` when its URL is none.
  std::shared_ptr<jamf::APIClient> makeClient(const InstanceConfig& instance,
                                              std::shared_ptr<platform::HTTPSession> session) const;
};

}  // namespace orvik
