#pragma once

#include <string>
#include <string_view>

#include "Platform/Bytes.h"

namespace orvik {

/// What seals and opens the content of one encrypted instance, and hides its names. Immutable; any thread may
/// call.
///
/// A sealed blob begins with `magic`; that alone makes it sealed, file names play no part. Names always cover
/// the plain content, so equal objects keep one name although every sealing differs.
class BackupCipher {
 public:
  /// The first 12 bytes of every sealed blob.
  static constexpr std::string_view magic = "ORVIK-AEAD1\n";

  static bool isSealed(std::string_view bytes) noexcept { return bytes.starts_with(magic); }

  virtual ~BackupCipher() = default;

  /// Throws `tuv::Error`.
  virtual platform::Bytes seal(std::string_view plain) const = 0;
  /// Bytes that are not sealed come back as they are. Throws `BackupEncryptionError` (damaged).
  virtual platform::Bytes open(std::string_view bytes) const = 0;
  /// The hidden name of plain content: 64 lower-case hexadecimal digits.
  virtual std::string name(std::string_view plain) const = 0;
};

}  // namespace orvik
