#include "Platform/Crypto/Secret256.h"

#include <openssl/crypto.h>
#include <string.h>

#include <algorithm>

#include "Platform/Crypto/Digest.h"

namespace platform {

Secret256::~Secret256() { explicit_bzero(bytes_.data(), bytes_.size()); }

Secret256 Secret256::random() {
  Secret256 secret;
  fillRandomly(secret.bytes_);
  return secret;
}

std::optional<Secret256> Secret256::copyOf(std::string_view bytes) noexcept {
  if (bytes.size() != size) return std::nullopt;
  Secret256 secret;
  std::ranges::copy(bytes, secret.bytes_.begin());
  return secret;
}

bool Secret256::operator==(const Secret256& other) const noexcept {
  return CRYPTO_memcmp(bytes_.data(), other.bytes_.data(), size) == 0;
}

}  // namespace platform
