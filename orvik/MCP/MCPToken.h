#pragma once

#include <filesystem>
#include <stop_token>

#include "Platform/SecretString.h"

namespace orvik::host {

/// The text that clients of the tool server have to show, from a file that its owner alone can read. It is
/// made where there is none, and stays the same then, so that clients are set up once. Throws `FileError`,
/// and `CredentialError` for a file that others can read or that holds no token.
platform::SecretString mcpToken(const std::filesystem::path& file, const std::stop_token& stop);

}  // namespace orvik::host
