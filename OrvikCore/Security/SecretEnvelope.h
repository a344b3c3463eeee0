#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Security/DecryptionKeyProvider.h"
#include "Platform/SecretString.h"

namespace orvik {

/// One short text as a printable value that only the holder of an organisation key can read: ECIES on P-256
/// with HKDF-SHA256 (RFC 5869) and AES-256-GCM (NIST SP 800-38D).
///
/// A value is "ORVIK-ENC:v1:", the key ID, ":" and the payload as unpadded URL-safe Base64 (RFC 4648, 5):
///
///     0       65  ephemeral public key, X9.63
///     65      12  nonce
///     77       n  ciphertext, as long as the text's UTF-8 bytes
///     77 + n  16  tag
///
/// The key is HKDF(shared secret, salt = ephemeral public key, info = "orvik-enc-v1", 32 bytes). The
/// additional authenticated data is the prefix and the key ID, so that a value is bound to its recipient.
/// Pure; any thread may call.
namespace SecretEnvelope {

inline constexpr std::string_view prefix = "ORVIK-ENC:v1:";
inline constexpr std::string_view info = "orvik-enc-v1";

/// Whether the text begins with `prefix`; nothing else is tested.
bool isEnvelope(std::string_view text) noexcept;

/// The first 8 bytes of the SHA-256 of a public key, as 16 lower-case hexadecimal digits. Hashes whatever it
/// is given.
std::string keyID(std::string_view publicKeyX963);

/// The value for a recipient's public key; it differs each time. Throws `platform::CryptoError` for a key
/// that is no point of P-256.
std::string encrypt(std::string_view plaintext, std::string_view recipientX963);

/// The key ID that a value names; nothing for a text that is no value.
std::optional<std::string> recipient(std::string_view value);

/// The text in a value; white space around it is ignored. Throws `SecretError`.
platform::SecretString decrypt(std::string_view value, const DecryptionKeyProvider& keys);

}  // namespace SecretEnvelope

}  // namespace orvik
