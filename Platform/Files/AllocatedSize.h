#pragma once

#include <cstdint>
#include <stop_token>

#include "Platform/Files/Files.h"

namespace platform::files {

/// `allocatedSize` of a folder that may be large, or far away. Throws `CancellationError` on a stop.
std::int64_t allocatedSize(const Path& folder, const std::stop_token& stop);

}  // namespace platform::files
