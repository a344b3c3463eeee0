#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Platform/Bytes.h"
#include "Platform/Crypto/Secret256.h"
#include "Platform/SecretString.h"

namespace platform {

/// HMAC-SHA256 (RFC 2104, FIPS 198-1) under one key. Any thread may call; contexts that hold the key are kept
/// and reused, and wiped when this goes.
class HMACSHA256 {
 public:
  explicit HMACSHA256(const Secret256& key);
  /// A key of any length but an empty one.
  explicit HMACSHA256(std::string_view key);
  ~HMACSHA256();
  HMACSHA256(const HMACSHA256&) = delete;
  HMACSHA256& operator=(const HMACSHA256&) = delete;

  /// The 32 raw bytes. Throws `CryptoError`.
  Bytes operator()(std::string_view bytes) const;

 private:
  struct State;
  const std::unique_ptr<State> state_;
};

/// HKDF with SHA-256 (RFC 5869). An empty salt is no salt. `length` is 1 to 8160 bytes. Throws `CryptoError`.
SecretString hkdfSHA256(std::string_view keyMaterial, std::string_view salt, std::string_view info,
                        std::size_t length);

/// The same with 32 bytes of output.
Secret256 deriveKey(const Secret256& keyMaterial, std::string_view salt, std::string_view info);

}  // namespace platform
