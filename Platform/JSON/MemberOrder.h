#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Platform/JSON/Tape.h"

namespace platform::json::detail {

/// Finds the order in which the members of an object are rendered: keys ascending by their bytes, of a
/// repeated key the last member alone.
///
/// Records of one kind follow each other, so the orders of the last objects are remembered and tried first:
/// a remembered order that gives strictly ascending keys is right, whatever object it came from. Allocates
/// nothing but the room for the largest object it has met. One per thread.
class MemberOrder {
 public:
  /// Appends the indexes of the keys of the object at `object` to `keys`; each value stands behind its key.
  void append(const Tape& tape, std::size_t object, std::vector<std::uint32_t>& keys);

  /// Gives back the room that a large object took.
  void shrink();

 private:
  static constexpr unsigned slotBits = 6;
  static constexpr std::size_t longestRemembered = 64;

  struct Member {
    std::uint64_t prefix;    // the first 8 bytes of the key, big-endian, zeros behind a shorter key
    std::uint32_t index;     // of the key on the tape
    std::uint32_t position;  // in the document
  };

  struct Order {
    std::size_t count = 0;
    std::array<std::uint8_t, longestRemembered> positions{};
  };

  static std::uint64_t prefixOf(std::string_view key);
  static bool less(const Tape& tape, const Member& a, const Member& b);
  static void insertionSort(const Tape& tape, std::span<Member> members);

  /// Fills `members_`. Whether they stand in strictly ascending order.
  bool collect(const Tape& tape, std::size_t object);
  /// Writes the keys in a remembered order. Whether that is the right one.
  bool apply(const Order& order, const Tape& tape, std::uint32_t* keys) const;
  Order& slot();
  void sort(const Tape& tape);
  void remember(Order& order) const;

  std::vector<Member> members_;
  std::array<Order, std::size_t{1} << slotBits> orders_{};
};

}  // namespace platform::json::detail
