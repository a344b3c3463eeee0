#include "OrvikCore/Config/ManagedInstances.h"

#include <algorithm>
#include <string>

#include "Platform/Crypto/Digest.h"
#include "Platform/Locale/Text.h"

namespace orvik::ManagedInstances {

platform::UUID stableID(std::string_view url, std::string_view clientID) {
  const std::string text = platform::locale::lowercased(url) + "|" + std::string(clientID);
  const auto digest = platform::digest(platform::DigestAlgorithm::sha256, text);
  platform::UUID id;
  std::copy_n(digest.begin(), id.bytes.size(), id.bytes.begin());
  id.bytes[6] = static_cast<std::uint8_t>((id.bytes[6] & 0x0F) | 0x50);
  id.bytes[8] = static_cast<std::uint8_t>((id.bytes[8] & 0x3F) | 0x80);
  return id;
}

}  // namespace orvik::ManagedInstances
