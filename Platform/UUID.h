#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// A 128-bit identifier (RFC 4122). A plain value; the nil UUID when default-made.
struct UUID {
  std::array<std::uint8_t, 16> bytes{};

  /// A fresh random UUID (version 4) from the system's random source.
  static UUID random();

  /// Reads the canonical 8-4-4-4-12 form in either case; nothing for any other text.
  static std::optional<UUID> parse(std::string_view text);

  /// The canonical text in upper case.
  std::string text() const;

  auto operator<=>(const UUID&) const = default;
};

}  // namespace platform
