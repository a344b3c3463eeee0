#include "OrvikCore/Store/ObjectKey.h"

#include <cstring>
#include <utility>

#include "Platform/Crypto/Digest.h"
#include "Platform/Hex.h"

namespace orvik {

namespace {

constexpr unsigned char noDigit = 0xFF;

constexpr std::array<unsigned char, 256> digitValues = [] {
  std::array<unsigned char, 256> values{};
  values.fill(noDigit);
  for (unsigned char i = 0; i < 10; ++i) values['0' + i] = i;
  for (unsigned char i = 0; i < 6; ++i) values['a' + i] = static_cast<unsigned char>(10 + i);
  return values;
}();

using Words = std::array<std::uint64_t, 4>;

const Words& seed() {
  static const Words words = [] {
    Words random{};
    platform::fillRandomly({reinterpret_cast<char*>(random.data()), sizeof random});
    return random;
  }();
  return words;
}

/// Both halves of the full product, folded.
std::uint64_t mixed(std::uint64_t a, std::uint64_t b) noexcept {
  __extension__ using Wide = unsigned __int128;
  const auto product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

}  // namespace

std::optional<ObjectKey> ObjectKey::parse(std::string_view text) noexcept {
  std::optional<ObjectKey> key;
  if (text.size() != 64) return key;
  key.emplace();
  unsigned char wrong = 0;
  for (std::size_t i = 0; i < 32; ++i) {
    const auto high = digitValues[static_cast<unsigned char>(text[2 * i])];
    const auto low = digitValues[static_cast<unsigned char>(text[2 * i + 1])];
    wrong |= high | low;
    key->bytes[i] = static_cast<unsigned char>(high << 4 | low);
  }
  if (wrong & 0xF0) key.reset();
  return key;
}

std::string ObjectKey::text() const {
  return platform::hexEncode({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

std::uint64_t ObjectKey::spread() const noexcept {
  Words words{};
  std::memcpy(words.data(), bytes.data(), sizeof words);
  static const Words& by = seed();
  return mixed(words[0] ^ by[0], words[1] ^ by[1]) ^ mixed(words[2] ^ by[2], words[3] ^ by[3]);
}

std::size_t KeySet::slotOf(const ObjectKey& key) const noexcept {
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = key.spread() & mask;
  while (slots_[slot] != key && slots_[slot] != ObjectKey()) slot = (slot + 1) & mask;
  return slot;
}

void KeySet::grow() {
  constexpr std::size_t smallest = 64;
  const auto old =
      std::exchange(slots_, std::vector<ObjectKey>(slots_.empty() ? smallest : slots_.size() * 2));
  for (const auto& key : old)
    if (key != ObjectKey()) slots_[slotOf(key)] = key;
}

bool KeySet::insert(const ObjectKey& key) {
  if (key == ObjectKey()) return !std::exchange(hasZero_, true);
  if ((count_ + 1) * 4 > slots_.size() * 3) grow();
  auto& slot = slots_[slotOf(key)];
  if (slot == key) return false;
  slot = key;
  ++count_;
  return true;
}

bool KeySet::contains(const ObjectKey& key) const noexcept {
  if (key == ObjectKey()) return hasZero_;
  return !slots_.empty() && slots_[slotOf(key)] == key;
}

}  // namespace orvik
