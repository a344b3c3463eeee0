#pragma once

#include <optional>
#include <string>

#include "Platform/JSON/Codable.h"

namespace jamf {

/// What the modern API answers to a creation.
struct CreatedObject {
  std::string id;
  std::optional<std::string> href;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &CreatedObject::id), field("href", &CreatedObject::href));
  }
  bool operator==(const CreatedObject&) const = default;
};

}  // namespace jamf
