#pragma once

#include <cstddef>
#include <string_view>

/// The three standard streams of this process, without buffers. Any thread may call.
namespace platform::standardStreams {

/// Writes all of it. Returns 0, or the system's error number.
int writeOutput(std::string_view text) noexcept;
int writeError(std::string_view text) noexcept;

/// The descriptor of standard input.
int input() noexcept;

bool inputIsTerminal() noexcept;
bool outputIsTerminal() noexcept;
bool errorIsTerminal() noexcept;
/// Columns of the terminal behind standard error; nothing known is 0.
std::size_t errorWidth() noexcept;

/// Puts /dev/null where one of the three is closed, so that no file takes the number of standard output or
/// standard error. Writing to such an output still fails. Call it before any file is opened; without
/// /dev/null the process ends with status 1.
void reserve() noexcept;

}  // namespace platform::standardStreams
