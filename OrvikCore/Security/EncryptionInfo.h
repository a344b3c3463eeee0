#pragma once

#include <string>
#include <vector>

#include "Platform/Date.h"
#include "Platform/JSON/Codable.h"

namespace orvik {

/// "encryption.json": for which organisation keys an instance is sealed.
struct EncryptionInfo {
  struct WrappedKey {
    std::string keyID;
    std::string wrapped;  ///< the data key as a sealed value

    static constexpr auto fields() {
      using platform::json::field;
      return fieldList(field("keyID", &WrappedKey::keyID), field("wrapped", &WrappedKey::wrapped));
    }
    bool operator==(const WrappedKey&) const = default;
  };

  int formatVersion = 1;
  std::string scheme;
  platform::Date createdAt;
  std::vector<WrappedKey> keys;  ///< ascending by key ID

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("formatVersion", &EncryptionInfo::formatVersion),
                     field("scheme", &EncryptionInfo::scheme), field("createdAt", &EncryptionInfo::createdAt),
                     field("keys", &EncryptionInfo::keys));
  }
  bool operator==(const EncryptionInfo&) const = default;
};

}  // namespace orvik
