#pragma once

#include <string>
#include <string_view>

namespace platform {

/// Owned bytes of any content. A `std::string` used as bytes; look at them through `std::string_view`.
using Bytes = std::string;

}  // namespace platform
