#pragma once

#include <optional>
#include <stop_token>
#include <string_view>

#include "JamfCore/Tools/MCP/HTTPMessage.h"
#include "Platform/SecretString.h"
#include "orvik/MCP/MCPExchange.h"

namespace orvik::host {

/// The tool server's side of HTTP: which requests reach the exchange, and with which status its replies
/// leave.
///
/// Served is POST of the path "/mcp" alone. A request that was sent to another host's name is refused, so
/// that a web page can't come in by a name of its own that leads to this machine, and so is one without the
/// token, when there is one. Any thread may call.
class MCPEndpoint {
 public:
  static constexpr std::string_view path = "/mcp";

  /// `exchange` and `token`, which may be null, outlive it.
  MCPEndpoint(const MCPExchange& exchange, const platform::SecretString* token, std::stop_token stop)
      : exchange_(exchange), token_(token), stop_(std::move(stop)) {}

  /// Throws `platform::CancellationError` when the server stops meanwhile.
  jamf::HTTPResponse answer(const jamf::HTTPRequest& request) const;

 private:
  const MCPExchange& exchange_;
  const platform::SecretString* const token_;
  const std::stop_token stop_;
};

}  // namespace orvik::host
