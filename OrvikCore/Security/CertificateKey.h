#pragma once

#include <optional>
#include <string_view>

#include "Platform/Bytes.h"
#include "Platform/Crypto/Certificate.h"

namespace orvik {

/// The public key of an organisation's certificate. Pure; any thread may call.
namespace CertificateKey {

/// The X9.63 form of the key in a PEM or DER certificate. A PEM text must hold nothing but one certificate.
/// The curve isn't tested: `SecretEnvelope::encrypt` refuses a key that is not of P-256. Throws
/// `SecretError`.
platform::Bytes x963PublicKey(std::string_view certificateData);

/// The same for a parsed certificate; nothing when it has no elliptic-curve key.
std::optional<platform::Bytes> x963PublicKey(const platform::Certificate& certificate);

}  // namespace CertificateKey

}  // namespace orvik
