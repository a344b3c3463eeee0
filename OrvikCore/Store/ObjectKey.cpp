#include "OrvikCore/Store/ObjectKey.h"

#include <bit>
#include <cstring>
#include <utility>

#include "Platform/Crypto/Digest.h"
#include "Platform/Hex.h"

namespace orvik {

namespace {

static_assert(std::endian::native == std::endian::little, "digits are taken apart in that order");

/// Eight digits at once: their values in the low halves of the bytes, and in the high halves nothing unless
/// one of them is no lower-case hexadecimal digit.
std::uint64_t digitsOf(const char* text) noexcept {
  constexpr std::uint64_t each = 0x0101'0101'0101'0101;
  constexpr std::uint64_t high = 0x80 * each;
  std::uint64_t chars = 0;
  std::memcpy(&chars, text, sizeof chars);
  // With the top bit of every byte set beforehand no byte borrows from the next: it stays set for x >= limit.
  const auto atLeast = [](std::uint64_t x, std::uint64_t limit) {
    return ((x | high) - limit * each) & high;
  };
  const std::uint64_t letters = atLeast(chars, 'a');
  const std::uint64_t wrong = (chars & high) | (high & ~atLeast(chars, '0')) | atLeast(chars, 'f' + 1) |
                              (atLeast(chars, '9' + 1) & ~letters);
  const std::uint64_t isLetter = letters >> 7;  // 1 in each such byte
  const std::uint64_t values = (chars & (0x0F * each)) + isLetter * 9;
  return values | wrong;
}

const auto& processSeed() {
  using Words = std::array<std::uint64_t, 4>;
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
  std::uint64_t all = 0;
  for (std::size_t part = 0; part < 8; ++part) {
    const std::uint64_t digits = digitsOf(text.data() + 8 * part);
    all |= digits;
    // Two digits make a byte in every second place; then the empty places are closed.
    std::uint64_t packed = (digits << 4 | digits >> 8) & 0x00FF'00FF'00FF'00FF;
    packed = (packed | packed >> 8) & 0x0000'FFFF'0000'FFFF;
    const auto four = static_cast<std::uint32_t>(packed | packed >> 16);
    std::memcpy(key->bytes.data() + 4 * part, &four, sizeof four);
  }
  if (all & 0xF0F0'F0F0'F0F0'F0F0) key.reset();
  return key;
}

std::string ObjectKey::text() const {
  return platform::hexEncode({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

std::uint64_t ObjectKey::spread() const noexcept {
  const auto& seed = processSeed();
  const auto parts = words();
  return mixed(parts[0] ^ seed[0], parts[1] ^ seed[1]) ^ mixed(parts[2] ^ seed[2], parts[3] ^ seed[3]);
}

std::size_t KeySet::slotOf(const ObjectKey& key) const noexcept {
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = key.spread() & mask;
  while (slots_[slot] != key && slots_[slot] != ObjectKey()) slot = (slot + 1) & mask;
  return slot;
}

void KeySet::prepare(const ObjectKey& key) const noexcept {
  if (!slots_.empty()) __builtin_prefetch(&slots_[key.spread() & (slots_.size() - 1)]);
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

void KeySet::insertAll(const KeySet& other) {
  for (const auto& key : other.slots_)
    if (key != ObjectKey()) insert(key);
  hasZero_ = hasZero_ || other.hasZero_;
}

bool KeySet::contains(const ObjectKey& key) const noexcept {
  if (key == ObjectKey()) return hasZero_;
  return !slots_.empty() && slots_[slotOf(key)] == key;
}

}  // namespace orvik
