#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <type_traits>

#include "Platform/JSON/Codable.h"

namespace platform::json {

/// Looks at a value that should decode as `T`, as strictly as `decodeValue`, and builds nothing: for passing
/// over many large documents for the sake of a few fields. (Stricter in one point: every member of a map is
/// looked at, also one that is repeated later.)
///
/// `onField(field, view)` is called for every field of every record within that has a value, once that value
/// has passed. Throws `DecodingError`, and what `onField` throws; by then it has seen a part of the value.
template <class T, class OnField>
void walkValue(View view, const OnField& onField) {
  if constexpr (detail::isOptional<T>) {
    if (!view.isNull()) walkValue<typename T::value_type>(view, onField);
  } else if constexpr (std::same_as<T, std::string>) {
    if (!view.string()) throw DecodingError("", "not a text");
  } else if constexpr (detail::ListTraits<T>::value) {
    if (!view.isArray()) throw DecodingError("", "not an array");
    std::size_t index = 0;
    for (const View element : view.elements()) {
      try {
        walkValue<typename T::value_type>(element, onField);
      } catch (const DecodingError& error) {
        throw error.below(index);
      }
      ++index;
    }
  } else if constexpr (detail::MapTraits<T>::value) {
    if (!view.isObject()) throw DecodingError("", "not an object");
    for (const auto& [key, element] : view.members()) {
      try {
        walkValue<typename T::mapped_type>(element, onField);
      } catch (const DecodingError& error) {
        throw error.below(key);
      }
    }
  } else if constexpr (CodableRecord<T> && !DecodableByMember<T>) {
    static constexpr auto fields = T::fields();
    const auto found = detail::findFields<T>(view);
    fields.forEach([&]<class Member>(const Field<T, Member>& each, std::size_t index) {
      const auto& value = found[index];
      if (!detail::isGiven<Member>(each.key, value)) return;
      try {
        walkValue<Member>(*value, onField);
      } catch (const DecodingError& error) {
        throw error.below(each.key);
      }
      onField(each, *value);
    });
  } else {
    static_cast<void>(decodeValue<T>(view));
  }
}

}  // namespace platform::json
