#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/JSON/Codable.h"

namespace orvik {

/// What a clean-up deleted.
struct CleanupResult {
  std::vector<std::string> removedBackups;  ///< IDs
  std::int64_t removedObjects = 0;          ///< loose and packed together
  std::int64_t removedFiles = 0;            ///< package files
  std::int64_t bytesFreed = 0;

  bool removedAnything() const { return !removedBackups.empty() || removedObjects > 0 || removedFiles > 0; }

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("removedBackups", &CleanupResult::removedBackups),
                     field("removedObjects", &CleanupResult::removedObjects),
                     field("removedFiles", &CleanupResult::removedFiles),
                     field("bytesFreed", &CleanupResult::bytesFreed));
  }
  bool operator==(const CleanupResult&) const = default;
};

}  // namespace orvik
