#include "Platform/Hex.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace platform {

namespace {

constexpr std::string_view digits = "0123456789abcdef";
constexpr std::uint8_t noDigit = 16;

constexpr std::array<std::uint8_t, 256> valueTable() {
  std::array<std::uint8_t, 256> table{};
  table.fill(noDigit);
  for (std::uint8_t i = 0; i < 16; ++i) table[static_cast<std::uint8_t>(digits[i])] = i;
  for (std::uint8_t i = 10; i < 16; ++i) table[static_cast<std::uint8_t>('A' + i - 10)] = i;
  return table;
}

constexpr bool isLowerDigit(char c) noexcept { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); }

}  // namespace

std::string hexEncode(std::string_view bytes) {
  std::string text(bytes.size() * 2, '\0');
  std::size_t at = 0;
  for (const char byte : bytes) {
    const auto value = static_cast<std::uint8_t>(byte);
    text[at++] = digits[value >> 4];
    text[at++] = digits[value & 15];
  }
  return text;
}

std::optional<Bytes> hexDecode(std::string_view text) {
  static constexpr auto values = valueTable();
  if (text.size() % 2 != 0) return std::nullopt;
  Bytes bytes(text.size() / 2, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const std::uint8_t high = values[static_cast<std::uint8_t>(text[2 * i])];
    const std::uint8_t low = values[static_cast<std::uint8_t>(text[2 * i + 1])];
    if (high == noDigit || low == noDigit) return std::nullopt;
    bytes[i] = static_cast<char>(high << 4 | low);
  }
  return bytes;
}

bool isLowerHex64(std::string_view text) noexcept {
  return text.size() == 64 && std::all_of(text.begin(), text.end(), isLowerDigit);
}

}  // namespace platform
