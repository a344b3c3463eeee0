#pragma once

#include <cstddef>
#include <stop_token>
#include <string>
#include <vector>

#include "Platform/SecretString.h"

namespace platform {

/// This process's environment for programs that it starts, "NAME=value", without a token's PIN.
std::vector<std::string> environmentForPrograms();

/// Runs a program to its end with this process's standard streams; `arguments` begin with its path. Returns
/// its exit status, or 128 and the number of the signal that ended it. No signal is blocked in it, and a
/// token's PIN is not in its environment.
///
/// Throws `Error` when it can't be started. A stop ends it, with SIGTERM and after a second with SIGKILL, and
/// throws `CancellationError`.
int runProgram(const std::vector<std::string>& arguments, const std::stop_token& stop);

/// What a program ran to and wrote to its standard output.
struct SecretOutput {
  int status = 0;
  SecretString text;
};

/// The same with standard output read in; more than `limit` bytes are an `Error`.
SecretOutput runForSecret(const std::vector<std::string>& arguments, std::size_t limit,
                          const std::stop_token& stop);

}  // namespace platform
