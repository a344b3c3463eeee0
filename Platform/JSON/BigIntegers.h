#pragma once

#include <optional>
#include <string_view>

#include "Platform/Bytes.h"

namespace platform::json::detail {

/// A copy of JSON text in which "e0" stands behind every integer that 64 bits can't hold, so that a reader of
/// 64-bit integers takes it for a double. Nothing when there is no such integer. Texts and whatever is no
/// JSON integer stay as they are; malformed input gives some copy of the same defects.
std::optional<Bytes> markBigIntegers(std::string_view json);

}  // namespace platform::json::detail
