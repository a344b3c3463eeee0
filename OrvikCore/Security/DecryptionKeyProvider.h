#pragma once

#include <map>
#include <string>
#include <string_view>

#include "Platform/Bytes.h"
#include "Platform/Crypto/Secret256.h"

namespace orvik {

/// Public keys in X9.63 form (65 bytes) by key ID.
using PublicKeys = std::map<std::string, platform::Bytes, std::less<>>;

/// Where organisation private keys are used. It hands out shared secrets, never keys, so that a key can stay
/// in a token. Any thread may call.
class DecryptionKeyProvider {
 public:
  virtual ~DecryptionKeyProvider() = default;

  /// The raw shared secret (ECDH on P-256) of the private key `keyID` and an ephemeral public key in X9.63
  /// form. Throws `SecretError`, or `platform::Error` for a point that is none.
  virtual platform::Secret256 sharedSecret(const std::string& keyID,
                                           std::string_view ephemeralX963) const = 0;

  /// The keys that can be asked for; empty when there is none. A key that isn't listed may never be asked
  /// for.
  virtual PublicKeys publicKeys() const = 0;
};

}  // namespace orvik
