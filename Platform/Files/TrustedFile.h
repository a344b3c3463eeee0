#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "Platform/Files/Files.h"

namespace platform::files {

/// Reads a file that nobody but a user can have written: it is the user's, and neither its group nor others
/// may write it. Nothing when there is no file. Throws `Error` with what is wrong with it, without its path.
std::optional<Bytes> readTrustedFile(const Path& path, std::uint32_t owner, std::size_t limit);

}  // namespace platform::files
