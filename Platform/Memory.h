#pragma once

namespace platform {

/// From now on a program that has no memory left, and nobody who could do without, says so on standard error
/// and ends with status 1, where the C++ runtime would abort it. `program` must live as long as the process.
/// Any thread may call; the last call counts.
void tellWhenMemoryEnds(const char* program) noexcept;

}  // namespace platform
