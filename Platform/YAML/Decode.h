#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Platform/Error.h"
#include "Platform/JSON/Codable.h"
#include "Platform/YAML/Node.h"

/// Records from YAML. A record states its fields once, for JSON and for YAML alike; a type of another shape
/// has `static T decode(const yaml::Place&)` instead. Scalars are read as the record wants them: a plain 12
/// is a number for a number and a text for a text. What is missing and what is null is alike, and absent.
/// Unknown keys are ignored.
namespace platform::yaml {

/// A document that is YAML but not the record that was asked for. `description()` begins with the path, the
/// names of its keys joined by full stops, an element of a list as "Index 3".
class DecodingError : public Error {
 public:
  DecodingError(const std::string& path, const std::string& problem)
      : Error(path.empty() ? problem : path + ": " + problem) {}
};

/// A node, and how it was come to. Lives while the decoding of its parent does.
class Place {
 public:
  /// The root of a document.
  Place(const Node& node, std::size_t& decoded) : node_(node), decoded_(decoded) { count(); }
  /// A member below `parent`; `key` must outlive it.
  Place(const Node& node, const Place& parent, std::string_view key)
      : node_(node), parent_(&parent), key_(key), decoded_(parent.decoded_) {
    count();
  }
  /// An element below `parent`.
  Place(const Node& node, const Place& parent, std::size_t index)
      : node_(node), parent_(&parent), index_(index), decoded_(parent.decoded_) {
    count();
  }

  const Node& node() const { return node_; }
  /// The member that a record wants; nothing when it is missing or null. Throws where this is no mapping.
  const Node* find(std::string_view key) const;

  // All throw `DecodingError` for what is no such value.
  bool boolean() const;
  std::int64_t integer() const;
  const std::string& text() const;
  const std::vector<std::shared_ptr<const Node>>& elements() const;

  [[noreturn]] void fail(const std::string& problem) const;

 private:
  /// An alias that is decoded is decoded again; a document may not unfold without end.
  void count() const;
  [[noreturn]] void expected(std::string_view what) const;
  std::string path() const;

  const Node& node_;
  const Place* const parent_ = nullptr;
  const std::string_view key_ = {};
  const std::optional<std::size_t> index_ = {};
  std::size_t& decoded_;
};

template <class T>
concept DecodableByPlace = requires(const Place& place) {
  { T::decode(place) } -> std::same_as<T>;
};

template <class T>
T decodeValue(const Place& place);

/// The value of one key of a record.
template <class T>
T decodeMember(const Place& place, std::string_view key) {
  const Node* const found = place.find(key);
  if constexpr (json::detail::isOptional<T>) {
    if (!found) return std::nullopt;
    return decodeValue<typename T::value_type>(Place(*found, place, key));
  } else {
    if (!found) place.fail("No value associated with key \"" + std::string(key) + "\".");
    return decodeValue<T>(Place(*found, place, key));
  }
}

template <class T>
T decodeValue(const Place& place) {
  if constexpr (DecodableByPlace<T>) {
    return T::decode(place);
  } else if constexpr (std::same_as<T, bool>) {
    return place.boolean();
  } else if constexpr (std::signed_integral<T>) {
    static_assert(sizeof(T) == sizeof(std::int64_t));
    return place.integer();
  } else if constexpr (std::same_as<T, std::string>) {
    return place.text();
  } else if constexpr (json::CodableEnum<T>) {
    if (const auto value = json::enumFromText<T>(place.text())) return *value;
    place.fail("\"" + place.text() + "\" is not a known value.");
  } else if constexpr (json::detail::ListTraits<T>::value) {
    T list;
    for (const auto& element : place.elements())
      list.push_back(decodeValue<typename T::value_type>(Place(*element, place, list.size())));
    return list;
  } else {
    static_assert(json::CodableRecord<T>, "this type does not state its fields");
    T record{};
    T::fields().forEach([&](const auto& field, std::size_t /*index*/) {
      using Member = std::remove_cvref_t<decltype(record.*(field.member))>;
      record.*(field.member) = decodeMember<Member>(place, field.key);
    });
    return record;
  }
}

/// Reads a whole document. Throws `ParseError` and `DecodingError`.
template <class T>
T decode(std::string_view text) {
  const auto root = parse(text);
  std::size_t decoded = 0;
  return decodeValue<T>(Place(*root, decoded));
}

}  // namespace platform::yaml
