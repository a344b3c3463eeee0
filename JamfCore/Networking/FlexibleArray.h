#pragma once

#include <cstddef>
#include <vector>

#include "Platform/JSON/Codable.h"

namespace jamf {

/// A list as the Classic API writes it: some of its lists become `{}`, or one element without its list, on
/// the way to JSON. What does not decode as a list of `T`, whole, is an empty list, and so is a missing one.
/// Written as a plain array.
template <class T>
struct FlexibleArray {
  std::vector<T> elements;

  static constexpr bool mayBeAbsent = true;

  auto begin() const { return elements.begin(); }
  auto end() const { return elements.end(); }
  std::size_t size() const { return elements.size(); }
  bool empty() const { return elements.empty(); }
  const T& operator[](std::size_t index) const { return elements[index]; }

  void encode(platform::json::Writer& writer) const { platform::json::encodeValue(writer, elements); }
  static FlexibleArray decode(platform::json::View view) {
    try {
      return {platform::json::decodeValue<std::vector<T>>(view)};
    } catch (const platform::json::DecodingError&) {
      return {};
    }
  }

  bool operator==(const FlexibleArray&) const = default;
};

}  // namespace jamf
