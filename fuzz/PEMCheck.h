#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Security/CertificateKey.h"
#include "OrvikCore/Security/SecretError.h"
#include "Platform/Crypto/Certificate.h"
#include "Platform/Crypto/P256.h"

/// What holds for key and certificate files of any bytes.
namespace orvik::fuzz {

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenPEMRule(std::string_view bytes) {
  try {
    const auto key = platform::P256PrivateKey::fromPEM(bytes);
    platform::requireP256PublicKey(key.publicKey());
    const auto peer = platform::P256PrivateKey::generate();
    if (!(key.sharedSecret(peer.publicKey()) == peer.sharedSecret(key.publicKey())))
      return "a key doesn't agree with its public key";
  } catch (const platform::CryptoError& error) {
    if (error.description().empty()) return "a key is refused without a reason";
  }
  for (const auto& certificate : platform::Certificate::allOfPEM(bytes))
    if (const auto point = certificate.ellipticCurvePoint())
      if (point->front() != '\x04' || point->size() % 2 == 0) return "a point has another form";
  try {
    const auto point = CertificateKey::x963PublicKey(bytes);
    if (point.front() != '\x04' || point.size() % 2 == 0) return "a certificate's point has another form";
  } catch (const SecretError&) {
  }
  return std::nullopt;
}

}  // namespace orvik::fuzz
