#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "Platform/Bytes.h"
#include "Platform/Crypto/Secret256.h"

namespace platform {

/// AES-256-GCM (NIST SP 800-38D) under one key, with random 96-bit nonces and 128-bit tags.
///
/// A box is the nonce (12 bytes), the ciphertext (as long as the plain bytes) and the tag (16 bytes). Any
/// thread may call; contexts that hold the key schedule are kept and reused, and wiped when this goes.
class AESGCM {
 public:
  static constexpr std::size_t nonceSize = 12;
  static constexpr std::size_t tagSize = 16;

  explicit AESGCM(const Secret256& key);
  ~AESGCM();
  AESGCM(const AESGCM&) = delete;
  AESGCM& operator=(const AESGCM&) = delete;

  /// Appends the box of `plain` to `out`. `additional` is authenticated and not stored. Throws `CryptoError`.
  void seal(std::string_view plain, std::string_view additional, Bytes& out) const;

  /// Replaces `plain` by what the box holds. False, with `plain` wiped, for a box that is too short, was
  /// changed, or belongs to another key or other additional data. Throws `CryptoError` when the algorithm
  /// can't be used at all. `plain` must not be the buffer that holds `box`.
  bool open(std::string_view box, std::string_view additional, Bytes& plain) const;

 private:
  struct State;
  const std::unique_ptr<State> state_;
};

}  // namespace platform
