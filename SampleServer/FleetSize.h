#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace sample {

/// How large the made-up fleet is: about 300, 5,000 and 50,000 objects beside the devices,
/// of which there are about 40, 1,100 and 50,000.
enum class FleetSize { small, school, enterprise };

inline constexpr std::array<std::string_view, 3> fleetSizeNames{"small", "school", "enterprise"};

/// Reads "small", "school" or "enterprise"; nothing for any other text.
constexpr std::optional<FleetSize> parseFleetSize(std::string_view text) {
  for (std::size_t i = 0; i < fleetSizeNames.size(); ++i) {
    if (fleetSizeNames[i] == text) return static_cast<FleetSize>(i);
  }
  return std::nullopt;
}

}  // namespace sample
