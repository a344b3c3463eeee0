#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Security/BackupCipher.h"
#include "OrvikCore/Security/BackupEncryptionError.h"

/// What holds for sealed blobs of any bytes.
namespace orvik::fuzz {

/// The cipher of the corpus: a data key of 32 zero bytes.
inline const BackupCipher& exampleCipher() {
  static const BackupCipher cipher(platform::Secret256::copyOf(std::string(32, '\0')).value());
  return cipher;
}

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenSealedBlobRule(std::string_view bytes) {
  const auto& cipher = exampleCipher();
  platform::Bytes plain = "what was there";
  try {
    cipher.open(bytes, plain);
    if (!BackupCipher::isSealed(bytes) && plain != bytes) return "plain bytes don't pass through";
    if (BackupCipher::isSealed(bytes) && plain.size() + 40 != bytes.size()) return "the sizes don't fit";
  } catch (const BackupEncryptionError& error) {
    if (error.kind() != BackupEncryptionError::Kind::damaged) return "another failure than damage";
    if (!BackupCipher::isSealed(bytes)) return "plain bytes are refused";
    if (!plain.empty()) return "what was not authentic is handed out";
  }
  const auto sealed = cipher.seal(bytes);
  if (!BackupCipher::isSealed(sealed)) return "a sealed blob isn't recognised";
  if (cipher.open(sealed) != bytes) return "bytes change in their blob";
  if (cipher.name(bytes) != cipher.name(cipher.open(sealed))) return "a name isn't stable";
  return std::nullopt;
}

}  // namespace orvik::fuzz
