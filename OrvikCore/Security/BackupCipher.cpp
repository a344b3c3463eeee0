#include "OrvikCore/Security/BackupCipher.h"

#include "OrvikCore/Security/BackupEncryptionError.h"
#include "Platform/Crypto/AESGCM.h"
#include "Platform/Crypto/KeyedHash.h"
#include "Platform/Hex.h"

namespace orvik {

struct BackupCipher::Keys {
  explicit Keys(const platform::Secret256& dataKey)
      : sealKey(platform::deriveKey(dataKey, {}, "orvik seal")),
        nameKey(platform::deriveKey(dataKey, {}, "orvik name")),
        box(sealKey),
        hash(nameKey) {}

  const platform::Secret256 sealKey;
  const platform::Secret256 nameKey;
  const platform::AESGCM box;
  const platform::HMACSHA256 hash;
};

BackupCipher::BackupCipher(const platform::Secret256& dataKey)
    : keys_(std::make_shared<const Keys>(dataKey)) {}

platform::Bytes BackupCipher::seal(std::string_view plain) const {
  platform::Bytes sealed;
  sealed.reserve(magic.size() + platform::AESGCM::nonceSize + plain.size() + platform::AESGCM::tagSize);
  sealed = magic;
  keys_->box.seal(plain, {}, sealed);
  return sealed;
}

platform::Bytes BackupCipher::open(std::string_view bytes) const {
  platform::Bytes plain;
  open(bytes, plain);
  return plain;
}

void BackupCipher::open(std::string_view bytes, platform::Bytes& plain) const {
  if (!isSealed(bytes)) {
    plain = bytes;
    return;
  }
  if (!keys_->box.open(bytes.substr(magic.size()), {}, plain))
    throw BackupEncryptionError::damaged("authentication failed");
}

std::string BackupCipher::name(std::string_view plain) const {
  return platform::hexEncode(keys_->hash(plain));
}

bool BackupCipher::operator==(const BackupCipher& other) const noexcept {
  return keys_->sealKey == other.keys_->sealKey && keys_->nameKey == other.keys_->nameKey;
}

}  // namespace orvik
