#include "Platform/Locale/UTF8.h"

#include <algorithm>
#include <cstring>

#include "Platform/Locale/Text.h"

namespace platform::locale {

namespace {

constexpr char32_t replacement = 0xFFFD;

bool isASCIIWord(const char* eightBytes) noexcept {
  std::uint64_t word;
  std::memcpy(&word, eightBytes, sizeof word);
  return (word & 0x8080808080808080) == 0;
}

bool isASCIIByte(char c) noexcept { return static_cast<unsigned char>(c) < 0x80; }

bool continuesSequence(char c) noexcept { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

// The ranges are those of the Unicode standard, table 3-7.
char32_t nextScalar(std::string_view text, std::size_t& at) noexcept {
  const auto lead = static_cast<unsigned char>(text[at++]);
  if (lead < 0x80) return lead;
  if (lead < 0xC2 || lead > 0xF4) return noScalar;
  const unsigned following = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  char32_t scalar = lead & (0x3Fu >> following);
  for (unsigned i = 0; i < following; ++i) {
    if (at == text.size()) return noScalar;
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < low || byte > high) return noScalar;
    scalar = scalar << 6 | (byte & 0x3Fu);
    ++at;
    low = 0x80;
    high = 0xBF;
  }
  return scalar;
}

bool isASCII(std::string_view text) noexcept {
  while (text.size() >= 8 && isASCIIWord(text.data())) text.remove_prefix(8);
  return std::ranges::all_of(text, isASCIIByte);
}

std::size_t sequenceBegin(std::string_view text, std::size_t offset) noexcept {
  for (std::size_t back = 0; back < 4 && back <= offset; ++back)
    if (offset - back == text.size() || !continuesSequence(text[offset - back])) return offset - back;
  return offset;
}

std::vector<char32_t> scalars(std::string_view text) {
  std::vector<char32_t> all;
  all.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const char32_t scalar = nextScalar(text, at);
    all.push_back(scalar == noScalar ? replacement : scalar);
  }
  return all;
}

void appendUTF8(std::string& out, char32_t scalar) {
  if (scalar > 0x10FFFF || (scalar >= 0xD800 && scalar <= 0xDFFF)) scalar = replacement;
  const auto following = [&](unsigned shift) { out += static_cast<char>(0x80 | ((scalar >> shift) & 0x3F)); };
  if (scalar < 0x80) {
    out += static_cast<char>(scalar);
  } else if (scalar < 0x800) {
    out += static_cast<char>(0xC0 | scalar >> 6);
    following(0);
  } else if (scalar < 0x10000) {
    out += static_cast<char>(0xE0 | scalar >> 12);
    following(6);
    following(0);
  } else {
    out += static_cast<char>(0xF0 | scalar >> 18);
    following(12);
    following(6);
    following(0);
  }
}

std::string_view beginning(std::string_view text, std::size_t mostBytes) noexcept {
  if (text.size() <= mostBytes) return text;
  return text.substr(0, sequenceBegin(text, mostBytes));
}

std::string wellFormed(std::string_view text) {
  std::string repaired;
  repaired.reserve(text.size());
  for (const char32_t scalar : scalars(text)) appendUTF8(repaired, scalar);
  return repaired;
}

bool isValidUTF8(std::string_view text) noexcept {
  for (std::size_t at = 0; at < text.size();) {
    while (text.size() - at >= 8 && isASCIIWord(text.data() + at)) at += 8;
    if (at < text.size() && nextScalar(text, at) == noScalar) return false;
  }
  return true;
}

}  // namespace platform::locale
