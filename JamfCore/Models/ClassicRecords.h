#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "Platform/JSON/Codable.h"

namespace jamf {

/// Another object, as Classic records name it.
struct NamedReference {
  std::int64_t id = 0;  ///< -1 for none
  std::string name;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &NamedReference::id), field("name", &NamedReference::name));
  }
  bool operator==(const NamedReference&) const = default;
};

/// A list of the Classic API. An object without elements (`{}`, `{"size":0}`) stands for an empty one; what
/// else is no list fails, so that damage is never taken for emptiness.
template <class T>
struct ClassicList {
  std::vector<T> elements;

  static ClassicList decode(platform::json::View view) {
    using namespace platform::json;
    const auto isCount = [](const Member& member) {
      return member.key == "size" && member.value.int64() == 0;
    };
    if (view.isObject() && std::ranges::all_of(view.sortedMembers(), isCount)) return {};
    return {decodeValue<std::vector<T>>(view)};
  }
};

}  // namespace jamf
