#pragma once

#include <optional>
#include <stop_token>
#include <string>

#include "JamfCore/Authentication/OAuthTokenManager.h"
#include "OrvikCore/Config/CredentialStore.h"
#include "orvik/Server/Secrets.h"

namespace orvik::host {

/// The client secrets of instances: what the organisation forces, sealed for a key of this machine as a rule,
/// and this user's keychain.
CredentialStore credentialStore();

/// Gets a secret anew at each call, from any thread, and says for people where it comes from.
struct SecretSupply {
  jamf::OAuthTokenManager::SecretProvider provider;
  std::string source;
};

/// A secret that is at hand already.
SecretSupply supplyOf(ClientSecret secret);

/// The instance's own secret, looked at once. Throws `CredentialError` with what to do when there is none or
/// it can't be opened.
SecretSupply instanceSecret(const InstanceConfig& instance);

}  // namespace orvik::host
