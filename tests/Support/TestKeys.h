#pragma once

#include <string_view>

#include "OrvikCore/Security/BackupCipher.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/InMemoryKeyProvider.h"
#include "OrvikCore/Security/SecretEnvelope.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Crypto/P256.h"
#include "Platform/Crypto/Secret256.h"

namespace orvik::test {

/// A data key that is the same for the same text.
inline platform::Secret256 dataKey(std::string_view text = "key") {
  return *platform::Secret256::copyOf(platform::digest(platform::DigestAlgorithm::sha256, text));
}

inline BackupCipher cipherOf(std::string_view text = "key") { return BackupCipher(dataKey(text)); }

/// An organisation's key, made for this process.
inline const platform::P256PrivateKey& organisationKey() {
  static const auto key = platform::P256PrivateKey::generate();
  return key;
}

inline std::string organisationKeyID() { return SecretEnvelope::keyID(organisationKey().publicKey()); }

inline const InMemoryKeyProvider& organisationKeys() {
  static const InMemoryKeyProvider keys({organisationKey()});
  return keys;
}

/// Seals the folder for the organisation's key and leaves it unlocked.
inline BackupCipher sealFolder(const std::filesystem::path& folder) {
  return BackupEncryption::prepare(folder, organisationKeys());
}

}  // namespace orvik::test
