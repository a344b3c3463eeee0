#include "orvik/MCP/MCPCommands.h"

#include <fmt/format.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "JamfCore/Networking/APIError.h"
#include "JamfCore/Tools/JamfTool.h"
#include "JamfCore/Tools/MCP/MinimalHTTPServer.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Terminal/StandardStreams.h"
#include "orvik/Loopback.h"
#include "orvik/MCP/BackupTools.h"
#include "orvik/MCP/MCPEndpoint.h"
#include "orvik/MCP/MCPExchange.h"
#include "orvik/MCP/MCPStdio.h"
#include "orvik/MCP/MCPToken.h"
#include "orvik/Orgs/Organizations.h"
#include "orvik/Report.h"
#include "orvik/VisibleText.h"
#include "orvik/Wording.h"

namespace orvik::host {

namespace {

using jamf::JamfTool;
using jamf::JamfToolCatalog;
using platform::json::Value;

/// The tool that changes a computer's record, which older servers don't know how to.
constexpr std::string_view changesDevice = "update_device";

/// A refusal that leaves open what is missing, with the likely reason.
JamfTool explained(JamfTool tool) {
  if (tool.name != changesDevice) return tool;
  tool.handler = [call = std::move(tool.handler)](auto& organizations, const auto& arguments,
                                                  const auto& stop) {
    try {
      return call(organizations, arguments, stop);
    } catch (const jamf::APIError& error) {
      const auto* const failure = error.as<jamf::APIError::RequestFailed>();
      if (!failure || failure->statusCode != 404) throw;
      throw jamf::JamfToolError(
          error.description() +
          " If the computer exists, the server is too old: changing a computer's record "
          "needs Jamf Pro 11.30.0 or later.");
    }
  };
  return tool;
}

std::vector<JamfTool> offeredTools(const MCPToolsArguments& arguments) {
  auto tools = JamfToolCatalog::readOnlyTools();
  if (arguments.write)
    for (const auto& tool : JamfToolCatalog::writeTools()) tools.push_back(explained(tool));
  if (arguments.folder)
    for (auto& tool : backupTools(*arguments.folder, arguments.key)) tools.push_back(std::move(tool));
  return tools;
}

std::string outcomeText(MCPCall::Outcome outcome) {
  switch (outcome) {
    case MCPCall::Outcome::done:
      return "ok";
    case MCPCall::Outcome::failed:
      return "failed";
    case MCPCall::Outcome::refused:
      break;
  }
  return "refused";
}

/// A name in the log: what a client made up may be long.
std::string logged(const std::string& name) {
  constexpr std::size_t width = 60;
  return name.empty() ? "-" : fitted(visibleLine(name), width);
}

void logCall(const MCPCall& call) {
  const auto milliseconds = std::chrono::round<std::chrono::milliseconds>(call.duration).count();
  remarks::line(fmt::format("{}  {}  {}  {} ms", logged(call.tool), logged(call.organization.value_or("")),
                            outcomeText(call.outcome), milliseconds));
}

/// Where clients connect, and what they have to show.
void announce(const MCPArguments& arguments, std::uint16_t port, const std::filesystem::path& tokenFile,
              Results& results) {
  const auto url = fmt::format("http://127.0.0.1:{}{}", port, MCPEndpoint::path);
  if (arguments.json) {
    auto line = Value::object({{"event", "listening"}, {"url", url}});
    if (!arguments.noToken) line.set("tokenFile", tokenFile.string());
    results.line(line.text());
  } else {
    results.line("URL         " + url);
    if (!arguments.noToken) results.line("Token file  " + visibleLine(tokenFile.string()));
  }
  results.requireWritten();
}

}  // namespace

ExitStatus serveTools(const MCPArguments& arguments, const HostPlaces& places, Results& results,
                      const std::stop_token& stop) {
  const auto tools = offeredTools(arguments);
  const auto count = static_cast<std::int64_t>(tools.size());
  const auto organizations =
      openOrganizations(organizationsFile(arguments.database, places), arguments.caFile);
  const MCPExchange exchange(tools, *organizations, arguments.quiet ? MCPExchange::OnCall() : logCall);
  const auto tellCount = [&] {
    if (arguments.quiet) return;
    remarks::line(
        fmt::format("{} are offered, {}.", wording::counted(count, "tool"),
                    arguments.write ? "some of which change servers" : "none of which changes a server"));
  };
  if (arguments.stdio) {
    tellCount();
    serveStdio(exchange, platform::standardStreams::input(), results, stop);
    return ExitStatus::done;
  }

  const auto tokenFile = places.data / "mcp-token";
  const auto token = arguments.noToken ? platform::SecretString() : mcpToken(tokenFile, stop);
  const MCPEndpoint endpoint(exchange, arguments.noToken ? nullptr : &token, stop);
  jamf::MinimalHTTPServer server([&](const auto& request) { return endpoint.answer(request); },
                                 jamf::MinimalHTTPServer::Limits());
  loopback::listen(server, arguments.port, "orvik mcp");
  announce(arguments, server.port(), tokenFile, results);
  tellCount();
  while (true) platform::sleep(std::chrono::hours(1), stop);
}

ExitStatus listTools(const MCPToolsArguments& arguments, Results& results) {
  const Report report(arguments, results);
  const auto& paint = report.paint();
  for (const auto& tool : offeredTools(arguments)) {
    auto line = Value::object({{"event", "tool"}, {"name", tool.name}, {"description", tool.description}});
    auto text = paint(Paint::Ink::strong, tool.name) + "\n  " + tool.description;
    Value::Array parameters;
    for (const auto& each : tool.parameters) {
      const auto type = platform::json::textOf(each.type);
      parameters.push_back(Value::object({{"name", each.name},
                                          {"type", type},
                                          {"required", each.required},
                                          {"description", each.description}}));
      text += fmt::format("\n    {} ({}{})  {}", each.name, type, each.required ? ", required" : "",
                          each.description);
    }
    line.set("parameters", std::move(parameters));
    report.record(line);
    report.text(text);
  }
  report.requireReader();
  return ExitStatus::done;
}

}  // namespace orvik::host
