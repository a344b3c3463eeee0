#pragma once

#include <cstdint>
#include <filesystem>

namespace orvik::PackStore {

/// Where a packed object's stored bytes lie.
struct Location {
  std::filesystem::path pack;  ///< the ".pack" file
  std::int64_t offset = 0;     ///< bytes from its begin
  std::int64_t length = 0;     ///< bytes
  bool operator==(const Location&) const = default;
};

}  // namespace orvik::PackStore
