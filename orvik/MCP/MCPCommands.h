#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

// The tool server for AI assistants on this machine. Both throw what `describe` knows.

/// `orvik mcp`: serves until the program is stopped, or until standard input ends. Only with `write` a call
/// can change a server.
ExitStatus serveTools(const MCPArguments& arguments, const HostPlaces& places, Results& results,
                      const std::stop_token& stop);

/// `orvik mcp tools`: what it offers. Asks nobody.
ExitStatus listTools(const MCPToolsArguments& arguments, Results& results);

}  // namespace orvik::host
