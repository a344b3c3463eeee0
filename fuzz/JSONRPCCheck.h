#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "JamfCore/OrgManagement/OrgManager.h"
#include "JamfCore/Persistence/PersistenceController.h"
#include "Platform/Files/Files.h"
#include "Platform/JSON/View.h"
#include "Platform/Locale/Text.h"
#include "orvik/MCP/MCPExchange.h"

/// What holds for a message of any bytes to the tool server.
namespace orvik::fuzz {

/// An exchange with one tool, which takes what it is given apart and fails when it finds nothing.
class JSONRPCExchange {
 public:
  host::MCPReply reply(std::string_view message) const { return exchange_.reply(message, {}); }

 private:
  using Arguments = jamf::JamfTool::Arguments;

  static platform::Bytes work(jamf::OrgManager&, const Arguments& arguments, const std::stop_token&) {
    const auto text = jamf::JamfTool::stringArgument(arguments, "text");
    const auto count = jamf::JamfTool::optionalIntArgument(arguments, "count").value_or(0);
    const auto flag = jamf::JamfTool::optionalBoolArgument(arguments, "flag").value_or(false);
    return text + std::to_string(count) + (flag ? "!" : "");
  }

  const platform::files::TempFolder folder_{"orvik-fuzz"};
  jamf::OrgManager organizations_{jamf::PersistenceController::makeContainer(folder_ / "organizations"),
                                  jamf::KeychainStore{"org.orvik.fuzz"}};
  const host::MCPExchange exchange_{{{"work",
                                      "Takes arguments apart",
                                      {{"text", "Any", jamf::ParameterType::string, true},
                                       {"count", "How many", jamf::ParameterType::integer, false},
                                       {"flag", "Whether", jamf::ParameterType::boolean, false}},
                                      work}},
                                    organizations_};
};

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenJSONRPCRule(std::string_view bytes) {
  using Kind = host::MCPReply::Kind;
  static const JSONRPCExchange exchange;
  const auto reply = exchange.reply(bytes);
  if (const auto again = exchange.reply(bytes); again.kind != reply.kind || again.body != reply.body)
    return "a message is answered in two ways";
  if (reply.kind == Kind::nothing)
    return reply.body.empty() ? std::nullopt : std::optional("a body of nothing");
  if (reply.body.find('\n') != reply.body.npos) return "a reply takes more than one line";
  if (!platform::locale::isValidUTF8(reply.body)) return "a reply is not UTF-8";

  const auto document = platform::json::Document::parse(reply.body);
  const auto root = document->root();
  if (!root["jsonrpc"] || root["jsonrpc"]->string() != "2.0") return "a reply of another protocol";
  if (root["result"].has_value() == root["error"].has_value())
    return "neither a result nor an error, or both";
  if (!root["id"]) return "a reply to nobody";
  if (reply.kind == Kind::answer && root["id"]->isNull()) return "an answer to a notification";
  if (reply.kind == Kind::refusal && !root["error"]) return "a refusal without an error";
  if (const auto error = root["error"]; error && (!(*error)["code"] || !(*error)["message"]))
    return "an error without its members";
  return std::nullopt;
}

}  // namespace orvik::fuzz
