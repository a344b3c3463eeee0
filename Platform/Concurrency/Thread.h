#pragma once

#include <string_view>

namespace platform {

/// Names the calling thread for debuggers and process listings. What is longer than the system's 15 bytes is
/// cut off.
void nameThisThread(std::string_view name) noexcept;

}  // namespace platform
