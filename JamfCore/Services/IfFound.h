#pragma once

#include <cstdint>
#include <optional>

#include "JamfCore/Networking/APIError.h"

namespace jamf {

/// What `get` gives, or nothing when the server answers that there is no such object (404). Throws all else
/// that `get` throws.
template <class Get>
auto ifFound(const Get& get) -> std::optional<decltype(get())> {
  constexpr std::int64_t notFound = 404;
  try {
    return get();
  } catch (const APIError& error) {
    const auto* const failed = error.as<APIError::RequestFailed>();
    if (!failed || failed->statusCode != notFound) throw;
  }
  return std::nullopt;
}

}  // namespace jamf
