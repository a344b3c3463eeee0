#pragma once

#include <optional>
#include <string>

#include "Platform/JSON/Codable.h"

namespace orvik {

/// One field of an object that differs between two versions of it. A side that lacks it has no text.
struct FieldChange {
  std::string path;  ///< in words, "General › Category › Name"
  std::optional<std::string> old;
  std::optional<std::string> new_;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("path", &FieldChange::path), field("old", &FieldChange::old),
                     field("new", &FieldChange::new_));
  }
  bool operator==(const FieldChange&) const = default;
};

}  // namespace orvik
