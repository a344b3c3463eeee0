#pragma once

#include <stop_token>

#include "orvik/MCP/MCPExchange.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

/// Serves one client that started this program: a JSON-RPC message a line from the descriptor, a reply a line
/// to `results`. Calls run side by side, so replies come in any order. Ends when the input does, once all
/// replies are written. Throws `platform::Error` for an input that can't be read, and `CancellationError`.
void serveStdio(const MCPExchange& exchange, int input, Results& results, const std::stop_token& stop);

}  // namespace orvik::host
