#include "OrvikCore/Care/ContentProof.h"

#include "OrvikCore/Security/BackupEncryptionError.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/JSON/Canonical.h"

namespace orvik {

namespace {

/// Kept, so that a check of many objects takes memory once.
platform::Bytes& buffer() {
  thread_local platform::Bytes bytes;
  return bytes;
}

}  // namespace

const platform::Bytes* ContentProof::opened(const platform::Bytes& stored, platform::Bytes& buffer) const {
  if (!BackupCipher::isSealed(stored)) return &stored;
  if (!cipher_) return nullptr;
  try {
    cipher_->open(stored, buffer);
    return &buffer;
  } catch (const BackupEncryptionError&) {
    return nullptr;
  }
}

ContentProof::Judgement ContentProof::judge(std::string_view name, const platform::Bytes& stored) const {
  const bool isSealed = BackupCipher::isSealed(stored);
  if (isSealed && !cipher_) return {Verdict::sealed, true};
  const auto* plain = opened(stored, buffer());
  if (plain == nullptr || (isSealed ? cipher_->name(*plain) : platform::sha256Hex(*plain)) != name) return {};
  return {Verdict::intact, platform::json::validate(*plain)};
}

std::optional<std::string> ContentProof::nameOf(const platform::Bytes& stored) const {
  const auto* plain = opened(stored, buffer());
  if (plain == nullptr) return std::nullopt;
  return plain == &stored ? platform::sha256Hex(stored) : cipher_->name(*plain);
}

}  // namespace orvik
