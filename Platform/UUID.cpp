#include "Platform/UUID.h"

#include <algorithm>

#include "Platform/Crypto/Digest.h"
#include "Platform/Hex.h"

namespace platform {

namespace {

constexpr std::size_t textLength = 36;

constexpr bool isDashPosition(std::size_t i) { return i == 8 || i == 13 || i == 18 || i == 23; }

}  // namespace

UUID UUID::random() {
  UUID uuid;
  const Bytes source = randomBytes(uuid.bytes.size());
  std::transform(source.begin(), source.end(), uuid.bytes.begin(),
                 [](char byte) { return static_cast<std::uint8_t>(byte); });
  // RFC 4122, section 4.4: the version in the high half of octet 6, the variant in the top bits of octet 8.
  uuid.bytes[6] = static_cast<std::uint8_t>((uuid.bytes[6] & 0x0F) | 0x40);
  uuid.bytes[8] = static_cast<std::uint8_t>((uuid.bytes[8] & 0x3F) | 0x80);
  return uuid;
}

std::optional<UUID> UUID::parse(std::string_view text) {
  if (text.size() != textLength) return std::nullopt;
  std::string digits;
  digits.reserve(32);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!isDashPosition(i))
      digits += text[i];
    else if (text[i] != '-')
      return std::nullopt;
  }
  const auto decoded = hexDecode(digits);
  if (!decoded) return std::nullopt;
  UUID uuid;
  std::transform(decoded->begin(), decoded->end(), uuid.bytes.begin(),
                 [](char byte) { return static_cast<std::uint8_t>(byte); });
  return uuid;
}

std::string UUID::text() const {
  static constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  text.reserve(textLength);
  for (const std::uint8_t byte : bytes) {
    if (isDashPosition(text.size())) text += '-';
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

}  // namespace platform
