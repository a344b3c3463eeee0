#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvik {

/// The name of an object or package file as its 32 bytes: what 64 lower-case hexadecimal digits spell. Orders
/// as the text does.
struct ObjectKey {
  std::array<unsigned char, 32> bytes{};

  /// Nothing for any other text, upper-case digits included.
  static std::optional<ObjectKey> parse(std::string_view text) noexcept;
  std::string text() const;

  /// Spreads keys over a table. Seeded afresh in each process, so that nobody can choose names that fall
  /// together.
  std::uint64_t spread() const noexcept;

  auto operator<=>(const ObjectKey&) const = default;
  bool operator==(const ObjectKey& other) const noexcept { return words() == other.words(); }

 private:
  friend class KeySet;
  using Words = std::array<std::uint64_t, 4>;
  Words words() const noexcept { return std::bit_cast<Words>(bytes); }
};

/// A set of keys, 32 bytes each in one flat table of open addressing. Reading is for any thread, inserting
/// for one alone.
class KeySet {
 public:
  /// False when it was in already.
  bool insert(const ObjectKey& key);
  void insertAll(const KeySet& other);
  bool contains(const ObjectKey& key) const noexcept;
  /// Fetches what `insert` will look at: a table of millions doesn't fit the processor's memory.
  void prepare(const ObjectKey& key) const noexcept;
  /// Calls with each key, in no order.
  template <class Visit>
  void forEach(const Visit& visit) const {
    if (hasZero_) visit(ObjectKey());
    for (const auto& key : slots_)
      if (key != ObjectKey()) visit(key);
  }
  std::size_t size() const noexcept { return count_ + (hasZero_ ? 1 : 0); }
  bool empty() const noexcept { return size() == 0; }

 private:
  std::size_t slotOf(const ObjectKey& key) const noexcept;
  void grow();

  std::vector<ObjectKey> slots_;  ///< a power of two of them; zero bytes are a free slot
  std::size_t count_ = 0;         ///< slots taken
  bool hasZero_ = false;          ///< the key that looks like a free slot
};

}  // namespace orvik
