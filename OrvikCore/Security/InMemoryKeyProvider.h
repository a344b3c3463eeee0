#pragma once

#include <filesystem>
#include <map>
#include <vector>

#include "OrvikCore/Security/DecryptionKeyProvider.h"
#include "Platform/Crypto/P256.h"

namespace orvik {

/// Private keys that this process holds, such as one of a PEM file on the command line.
class InMemoryKeyProvider final : public DecryptionKeyProvider {
 public:
  /// Each key is entered under the key ID of its public key.
  explicit InMemoryKeyProvider(std::vector<platform::P256PrivateKey> privateKeys);

  /// The first private key of a PEM file of at most 1 MB. Throws `tuv::Error`, which names the file.
  static InMemoryKeyProvider fromFile(const std::filesystem::path& path);

  /// Throws `SecretError` for a key that it doesn't have.
  platform::Secret256 sharedSecret(const std::string& keyID, std::string_view ephemeralX963) const override;
  PublicKeys publicKeys() const override;

 private:
  std::map<std::string, platform::P256PrivateKey> keys_;
};

}  // namespace orvik
