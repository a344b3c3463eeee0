#pragma once

#include <optional>
#include <stop_token>
#include <string>
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
  /// Tools are listed in the order given; of two with one name the first counts. `orgManager` outlives the
  /// handler.
  MCPRequestHandler(std::vector<JamfTool> tools, OrgManager& orgManager)
      : tools_(std::move(tools)), orgManager_(orgManager) {}

  /// The one answer, or nothing for a notification, which is never looked at. Every failure is an answer,
  /// that of a tool a result with `isError`. Throws `platform::CancellationError` alone.
  std::optional<platform::Bytes> handle(const JSONRPCRequest& request,
                                        const std::stop_token& stop = {}) const;

 private:
  platform::Bytes call(const JSONRPCRequest& request, const std::stop_token& stop) const;

  const std::vector<JamfTool> tools_;
  OrgManager& orgManager_;
};

}  // namespace jamf
