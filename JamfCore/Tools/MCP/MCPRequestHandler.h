#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "JamfCore/OrgManagement/OrgManager.h"
#include "JamfCore/Tools/JamfTool.h"
#include "JamfCore/Tools/MCP/JSONRPC.h"
#include "Platform/Bytes.h"

namespace jamf {

/// Answers requests of the Model Context Protocol: `initialize`, `tools/list` and `tools/call`. It knows no
/// transport: the host hands it a request and sends what it gives.
///
/// Immutable; any thread may call, at once too. A call blocks while its tool works.
class MCPRequestHandler {
 public:
  // What is given in place of an answer that can't be encoded. It names no request.
  static constexpr std::string_view resultNotEncoded =
      R"({"jsonrpc":"2.0","error":{"code":-32603,"message":"Internal error encoding response"}})";
  static constexpr std::string_view errorNotEncoded =
      R"({"jsonrpc":"2.0","error":{"code":-32603,"message":"Internal error encoding error response"}})";

  /// Tools are listed in the order given; of two with one name the first counts. `orgManager` outlives the
  /// handler.
  MCPRequestHandler(std::vector<JamfTool> tools, OrgManager& orgManager);

  /// The one answer, or nothing for a notification, which is never looked at. Every failure is an answer,
  /// that of a tool a result with `isError`. Throws `platform::CancellationError` alone.
  std::optional<platform::Bytes> handle(const JSONRPCRequest& request,
                                        const std::stop_token& stop = {}) const;

 private:
  platform::Bytes call(const JSONRPCRequest& request, const std::stop_token& stop) const;

  const std::vector<JamfTool> tools_;
  OrgManager& orgManager_;
  const platform::Bytes list_;  ///< of the tools, as the answer to a request whose ID is null
};

}  // namespace jamf
