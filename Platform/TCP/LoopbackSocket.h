#pragma once

#include <cstdint>

namespace platform::detail {

/// A listening socket on 127.0.0.1 that does not block, for the caller to close. Port 0 becomes the free one
/// that was taken. Throws `Error` that names the port.
int listenOnLoopback(std::uint16_t& port);

/// Whether accepting failed for a want of descriptors or memory: the connection waits, and the next try may
/// succeed.
bool isOutOfResources(int errorNumber) noexcept;

}  // namespace platform::detail
