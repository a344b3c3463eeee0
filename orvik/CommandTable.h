#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "orvik/Arguments.h"
#include "orvik/Settings/Settings.h"

namespace orvik::host {

/// Reads a command line, without the program's name. What a long option doesn't say, its environment variable
/// does, then the setting, if there are any, and then the default.
///
/// Throws `UsageError`. Its message names options, never a stray argument: that might be a secret.
Invocation parseCommandLine(const std::vector<std::string>& arguments, const Settings* settings = nullptr);

/// Whether a command line, even one that can't be read, asks for JSON lines.
bool asksForJSON(const std::vector<std::string>& arguments);

}  // namespace orvik::host
