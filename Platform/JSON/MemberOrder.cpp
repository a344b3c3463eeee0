#include "Platform/JSON/MemberOrder.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>

namespace platform::json::detail {

inline std::uint64_t MemberOrder::prefixOf(std::string_view key) {
  std::uint64_t prefix = 0;
  std::memcpy(&prefix, key.data(), sizeof prefix);
  if constexpr (std::endian::native == std::endian::little) prefix = __builtin_bswap64(prefix);
  if (key.size() >= sizeof prefix) return prefix;
  return key.empty() ? 0 : prefix & (~std::uint64_t{0} << (64 - 8 * key.size()));
}

inline bool MemberOrder::less(const Tape& tape, const Member& a, const Member& b) {
  if (a.prefix != b.prefix) return a.prefix < b.prefix;
  return tape.string(a.index) < tape.string(b.index);
}

bool MemberOrder::collect(const Tape& tape, std::size_t object) {
  members_.clear();
  bool ascending = true;
  std::uint32_t position = 0;
  const std::size_t end = tape.next(object) - 1;
  for (std::size_t key = object + 1; key < end; key = tape.next(key + 1)) {
    const Member member{prefixOf(tape.string(key)), static_cast<std::uint32_t>(key), position++};
    ascending = ascending && (members_.empty() || less(tape, members_.back(), member));
    members_.push_back(member);
  }
  return ascending;
}

bool MemberOrder::apply(const Order& order, const Tape& tape, std::uint32_t* keys) const {
  if (order.count != members_.size()) return false;
  const Member* previous = &members_[order.positions[0]];
  keys[0] = previous->index;
  for (std::size_t i = 1; i < order.count; ++i) {
    const Member* member = &members_[order.positions[i]];
    if (!less(tape, *previous, *member)) return false;
    keys[i] = member->index;
    previous = member;
  }
  return true;
}

void MemberOrder::append(const Tape& tape, std::size_t object, std::vector<std::uint32_t>& keys) {
  const bool ascending = collect(tape, object);
  const std::size_t first = keys.size();
  keys.resize(first + members_.size());
  std::uint32_t* out = keys.data() + first;
  if (!ascending) {
    if (members_.size() <= longestRemembered) {
      Order& order = slot();
      if (apply(order, tape, out)) return;
      sort(tape);
      remember(order);
    } else {
      sort(tape);
    }
  }
  for (std::size_t i = 0; i < members_.size(); ++i) {
    const bool repeated = i + 1 < members_.size() && members_[i].prefix == members_[i + 1].prefix &&
                          tape.string(members_[i].index) == tape.string(members_[i + 1].index);
    if (!repeated) *out++ = members_[i].index;
  }
  keys.resize(static_cast<std::size_t>(out - keys.data()));
}

/// Where an object with these keys would have left its order.
MemberOrder::Order& MemberOrder::slot() {
  const std::uint64_t mixed = members_.front().prefix + 3 * members_.back().prefix + members_.size();
  return orders_[(mixed * 0x9E37'79B9'7F4A'7C15U) >> (64 - slotBits)];
}

/// Equal keys stay in the document's order.
void MemberOrder::sort(const Tape& tape) {
  constexpr std::size_t insertionLimit = 24;
  if (members_.size() <= insertionLimit) return insertionSort(tape, members_);
  std::sort(members_.begin(), members_.end(), [&tape](const Member& a, const Member& b) {
    if (a.prefix != b.prefix) return a.prefix < b.prefix;
    const int order = tape.string(a.index).compare(tape.string(b.index));
    return order != 0 ? order < 0 : a.position < b.position;
  });
}

void MemberOrder::insertionSort(const Tape& tape, std::span<Member> members) {
  for (std::size_t i = 1; i < members.size(); ++i) {
    const Member moving = members[i];
    std::size_t hole = i;
    for (; hole > 0 && less(tape, moving, members[hole - 1]); --hole) members[hole] = members[hole - 1];
    members[hole] = moving;
  }
}

void MemberOrder::remember(Order& order) const {
  order.count = members_.size();
  for (std::size_t i = 0; i < members_.size(); ++i)
    order.positions[i] = static_cast<std::uint8_t>(members_[i].position);
}

void MemberOrder::shrink() {
  constexpr std::size_t largestKept = std::size_t{1} << 16;
  if (members_.capacity() > largestKept) members_ = {};
}

}  // namespace platform::json::detail
