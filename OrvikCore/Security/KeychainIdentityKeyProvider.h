#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "OrvikCore/Security/DecryptionKeyProvider.h"
#include "Platform/Keychain/Identity.h"

namespace orvik {

/// The organisation identities of this machine: PKCS #11 tokens, then the identities folders of the user and
/// of the system. Nothing is kept: each call asks them again, so a key that arrives or goes while the process
/// runs counts at the next one.
class KeychainIdentityKeyProvider final : public DecryptionKeyProvider {
 public:
  /// Throws `SecretError`. The reason why a token refuses is logged.
  platform::Secret256 sharedSecret(const std::string& keyID, std::string_view ephemeralX963) const override;
  PublicKeys publicKeys() const override;

  /// The key IDs of all usable identities, in the keychain's order; one that is there twice is named twice.
  std::vector<std::string> availableKeyIDs() const;

 private:
  using KeyIDAndIdentity = std::pair<std::string, std::shared_ptr<const platform::keychain::Identity>>;
  static std::vector<KeyIDAndIdentity> identities();
};

}  // namespace orvik
