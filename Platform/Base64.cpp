#include "Platform/Base64.h"

#include <array>
#include <cstdint>

namespace platform {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t noDigit = 64;

constexpr std::array<std::uint8_t, 256> digitTable() {
  std::array<std::uint8_t, 256> table{};
  table.fill(noDigit);
  for (std::size_t i = 0; i < alphabet.size(); ++i)
    table[static_cast<std::uint8_t>(alphabet[i])] = static_cast<std::uint8_t>(i);
  return table;
}

constexpr std::uint32_t byteAt(std::string_view bytes, std::size_t i) {
  return i < bytes.size() ? static_cast<std::uint8_t>(bytes[i]) : 0U;
}

}  // namespace

std::string base64Encode(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::uint32_t group = byteAt(bytes, i) << 16 | byteAt(bytes, i + 1) << 8 | byteAt(bytes, i + 2);
    text += alphabet[group >> 18];
    text += alphabet[group >> 12 & 63];
    text += i + 1 < bytes.size() ? alphabet[group >> 6 & 63] : '=';
    text += i + 2 < bytes.size() ? alphabet[group & 63] : '=';
  }
  return text;
}

std::optional<Bytes> base64Decode(std::string_view text) {
  static constexpr auto digits = digitTable();
  if (text.size() % 4 != 0) return std::nullopt;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  text.remove_suffix(padding);

  Bytes bytes;
  bytes.reserve(text.size() / 4 * 3 + 2);
  std::uint32_t bits = 0;
  unsigned pending = 0;
  for (const char character : text) {
    const std::uint8_t digit = digits[static_cast<std::uint8_t>(character)];
    if (digit == noDigit) return std::nullopt;
    bits = bits << 6 | digit;
    pending += 6;
    if (pending >= 8) {
      pending -= 8;
      bytes += static_cast<char>(bits >> pending & 0xFF);
      bits &= (1U << pending) - 1;
    }
  }
  if (bits != 0) return std::nullopt;
  return bytes;
}

}  // namespace platform
