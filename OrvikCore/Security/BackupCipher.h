#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Platform/Bytes.h"
#include "Platform/Crypto/Secret256.h"

namespace orvik {

/// What seals and opens the content of one encrypted instance, and hides its names. A value: copies share
/// their keys, which are wiped with the last of them. Any thread may call.
///
/// Two keys are derived from the instance's data key with HKDF-SHA256 (RFC 5869) without salt: `sealKey`
/// (info "orvik seal") and `nameKey` (info "orvik name"). A sealed blob is AES-256-GCM (NIST SP 800-38D)
/// without additional data:
///
///     0       12  magic
///     12      12  nonce, random for each sealing
///     24       n  ciphertext, as long as the plain bytes
///     24 + n  16  tag
///
/// `magic` alone makes a blob sealed, file names play no part. A blob is bound to nothing but the key. Names
/// are HMAC-SHA256 (RFC 2104) over the plain content, so equal objects keep one name although every sealing
/// differs.
class BackupCipher {
 public:
  static constexpr std::string_view magic = "ORVIK-AEAD1\n";
  static constexpr std::string_view scheme = "ORVIK-AEAD-v1";

  /// The data key is kept nowhere.
  explicit BackupCipher(const platform::Secret256& dataKey);

  static bool isSealed(std::string_view bytes) noexcept { return bytes.starts_with(magic); }

  /// Throws `platform::CryptoError`.
  platform::Bytes seal(std::string_view plain) const;

  /// Bytes that are not sealed come back as they are: that is how content from before the sealing stays
  /// readable. Throws `BackupEncryptionError` (damaged).
  platform::Bytes open(std::string_view bytes) const;
  /// The same into a buffer that is used again and again; it must not be the one that holds `bytes`.
  void open(std::string_view bytes, platform::Bytes& plain) const;

  /// The hidden name of plain content: 64 lower-case hexadecimal digits.
  std::string name(std::string_view plain) const;

  /// Whether both have the same keys.
  bool operator==(const BackupCipher& other) const noexcept;

 private:
  struct Keys;
  std::shared_ptr<const Keys> keys_;
};

}  // namespace orvik
