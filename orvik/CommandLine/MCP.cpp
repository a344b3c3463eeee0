#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

void addChoice(CLI::App& command, MCPToolsArguments& arguments) {
  command.add_flag("--write", arguments.write, "Offer the tools that change servers, too");
  command.add_option("--folder", arguments.folder, "Offer tools that read the backups in this folder, too")
      ->type_name("ROOT");
  addKey(command, arguments.key);
  addQuiet(command, arguments.quiet);
  addJSON(command, arguments.json);
}

void addTools(CLI::App& mcp, Commands& commands) {
  auto& command = *mcp.add_subcommand("tools", "List the tools with what they do and take");
  const auto a = std::make_shared<MCPToolsArguments>();
  addChoice(command, *a);
  command.footer("Example:\n  orvik mcp tools --write");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNoBlank(command);
                        return *a;
                      }});
}

}  // namespace

void addMCP(CLI::App& program, Commands& commands) {
  auto& command =
      *program.add_subcommand("mcp", "Serve tools to AI assistants on this machine, until it is stopped");
  const auto a = std::make_shared<MCPArguments>();
  addChoice(command, *a);
  command.add_option("--port", a->port, "Port on 127.0.0.1; 0 takes a free one")
      ->check(within(0, 65535))
      ->capture_default_str();
  command.add_flag("--stdio", a->stdio, "Serve the program that started this one, over its standard streams");
  command.add_flag("--no-token", a->noToken, "Ask clients for no token: any program here may call");
  command.add_option("--database", a->database, "Database of organizations (default: your own)")
      ->type_name("FILE");
  addTrustAnchors(command, a->caFile);
  command.footer(
      "Tools act on the organizations that orvik orgs has registered. Each call is told in a line on "
      "standard "
      "error: the tool, the organization, the outcome and the time.\n\n"
      "Examples:\n  orvik mcp\n  orvik mcp --stdio --folder /srv/backups");
  addTools(command, commands);
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNoBlank(command);
                        return *a;
                      }});
}

}  // namespace orvik::host::commandLine
