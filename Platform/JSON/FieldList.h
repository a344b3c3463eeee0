#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

namespace platform::json {

/// One field of a record: its key and its member.
template <class Record, class Member>
struct Field {
  std::string_view key;
  Member Record::*member;
  std::string_view secondKey;  ///< empty for none
};

template <class Record, class Member>
constexpr Field<Record, Member> field(std::string_view key, Member Record::*member,
                                      std::string_view secondKey = {}) {
  return {key, member, secondKey};
}

template <std::size_t index, class Item>
struct FieldPlace {
  Item item;
};

template <class Positions, class... Items>
struct FieldPlaces;

template <std::size_t... indices, class... Items>
struct FieldPlaces<std::index_sequence<indices...>, Items...> : FieldPlace<indices, Items>... {
  static constexpr std::size_t size = sizeof...(Items);

  constexpr explicit FieldPlaces(const Items&... items) : FieldPlace<indices, Items>{items}... {}

  /// `use(first, second, ...)`.
  template <class Use>
  constexpr decltype(auto) apply(const Use& use) const {
    return use(static_cast<const FieldPlace<indices, Items>&>(*this).item...);
  }
  /// `use(field, index)` for each, in their order.
  template <class Use>
  constexpr void forEach(const Use& use) const {
    (use(static_cast<const FieldPlace<indices, Items>&>(*this).item, indices), ...);
  }
  constexpr std::array<std::string_view, size> keys() const {
    return {static_cast<const FieldPlace<indices, Items>&>(*this).item.key...};
  }
};

/// The fields of a record, in the order in which it states them. A tuple of the standard library would do,
/// but every include of a header of records builds the lists anew, and a tuple of twenty takes many times as
/// long.
template <class... Items>
using FieldList = FieldPlaces<std::index_sequence_for<Items...>, Items...>;

template <class... Items>
constexpr FieldList<Items...> fieldList(const Items&... items) {
  return FieldList<Items...>(items...);
}

/// The field at a position.
template <std::size_t index, class Item>
constexpr const Item& fieldAt(const FieldPlace<index, Item>& place) {
  return place.item;
}

}  // namespace platform::json
