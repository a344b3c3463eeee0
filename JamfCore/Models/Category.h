#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/JSON/Codable.h"

namespace jamf {

/// A category, by which objects are grouped for people. `priority` orders categories, 1 to 20.
struct Category {
  std::string id;
  std::string name;
  std::int64_t priority = 0;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &Category::id), field("name", &Category::name),
                     field("priority", &Category::priority));
  }
  bool operator==(const Category&) const = default;
};

}  // namespace jamf
