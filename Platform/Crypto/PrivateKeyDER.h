#pragma once

#include <optional>
#include <string_view>

#include "Platform/Bytes.h"
#include "Platform/Crypto/Secret256.h"

namespace platform {

/// The private key of P-256 in the two forms that key files have; for the rooms of this folder alone.
struct PrivateKeyParts {
  Secret256 scalar;
  Bytes publicKey;  ///< a point in any form, as it stands beside the scalar; empty when it isn't there
};

/// Reads ECPrivateKey (RFC 5915) and PrivateKeyInfo (RFC 5208) with that inside, where the curve is named and
/// nothing unusual stands. Nothing for all else, which is for the cryptographic library to judge; this exists
/// because its readers leave copies of the key in memory.
std::optional<PrivateKeyParts> p256PrivateKeyParts(std::string_view der);

}  // namespace platform
