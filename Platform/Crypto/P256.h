#pragma once

#include <memory>
#include <string_view>
#include <utility>

#include "Platform/Bytes.h"
#include "Platform/Crypto/CryptoError.h"
#include "Platform/Crypto/Secret256.h"

/// Key agreement on the curve P-256 (secp256r1, NIST SP 800-186).
///
/// A public key travels in its X9.63 form, the uncompressed point: 0x04, 32 bytes X, 32 bytes Y.
namespace platform {

constexpr std::size_t x963Size = 65;

/// Throws `CryptoError` unless the bytes are the X9.63 form of a point of the curve.
void requireP256PublicKey(std::string_view x963);

/// A private key in memory. A value: copies share one key, which is wiped with the last of them. Any thread
/// may call.
class P256PrivateKey {
 public:
  static P256PrivateKey generate();

  /// The first private key of a PEM text (RFC 7468): PKCS #8 ("PRIVATE KEY", RFC 5958) or SEC 1 ("EC PRIVATE
  /// KEY", RFC 5915); other blocks are passed over. Throws `CryptoError` for a text without one, and for an
  /// encrypted key, another kind of key or another curve; nothing ever asks for a password.
  static P256PrivateKey fromPEM(std::string_view pem);

  /// X9.63.
  const Bytes& publicKey() const noexcept;

  /// The raw result of ECDH (NIST SP 800-56A, 5.7.1.2), the X coordinate, without any hashing. Throws
  /// `CryptoError` for a peer that is no point of the curve.
  Secret256 sharedSecret(std::string_view peerX963) const;

 private:
  struct Key;
  explicit P256PrivateKey(std::shared_ptr<const Key> key) : key_(std::move(key)) {}
  std::shared_ptr<const Key> key_;
};

}  // namespace platform
