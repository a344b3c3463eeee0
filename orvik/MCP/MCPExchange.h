#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "JamfCore/OrgManagement/OrgManager.h"
#include "JamfCore/Tools/JamfTool.h"
#include "JamfCore/Tools/MCP/JSONRPC.h"
#include "JamfCore/Tools/MCP/MCPRequestHandler.h"
#include "Platform/Bytes.h"
#include "Platform/JSON/View.h"

namespace orvik::host {

/// A call of a tool, as it may be told to whoever runs the server: nothing of its arguments but whose
/// server it was about.
struct MCPCall {
  enum class Outcome {
    done,
    failed,   ///< the tool says why
    refused,  ///< no such tool, or an argument is missing
  };

  std::string tool;
  std::optional<std::string> organization;
  Outcome outcome = Outcome::done;
  std::chrono::duration<double> duration{};
};

/// What is sent back for a message.
struct MCPReply {
  enum class Kind {
    answer,
    nothing,  ///< it was a notification
    refusal,  ///< it was no request; `body` says why
  };

  Kind kind = Kind::nothing;
  platform::Bytes body;  ///< JSON-RPC
};

/// Between a transport and the request handler: from the text of one JSON-RPC message to the text of its
/// reply. It does what clients in use expect beyond the handler: `ping` is answered, a number for an integer
/// argument is passed on, and every error says to which request it belongs. Batches are refused, and so is a
/// message of more than 100,000 values, which would take many times the room of its text.
///
/// Any thread may call, at once too. A reply blocks while its tool works.
class MCPExchange {
 public:
  using OnCall = std::function<void(const MCPCall&)>;

  /// `organizations` outlives it. `onCall`, which may be empty, is called on the thread of the call.
  MCPExchange(std::vector<jamf::JamfTool> tools, jamf::OrgManager& organizations, OnCall onCall = {});

  /// Throws `platform::CancellationError` alone.
  MCPReply reply(std::string_view message, const std::stop_token& stop) const;

  /// For a message that the transport could not take.
  static MCPReply refusal(const std::string& reason);

 private:
  std::optional<platform::Bytes> handle(jamf::JSONRPCRequest& request, platform::json::View message,
                                        const std::stop_token& stop) const;
  void passIntegers(jamf::JSONRPCRequest& request, platform::json::View message) const;

  const std::vector<jamf::JamfTool> tools_;
  const jamf::MCPRequestHandler handler_;
  const OnCall onCall_;
};

}  // namespace orvik::host
