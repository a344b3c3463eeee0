#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "Platform/HTTP/URL.h"
#include "Platform/Locale/Text.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

void addServer(CLI::App& command, ServerArguments& a) {
  command.add_option("--instance", a.instance, "The server, as orvik instances list calls it")
      ->type_name("NAME");
  command.add_option("--url", a.url, "The server, when it is not registered")->type_name("URL");
  command.add_option("--client-id", a.clientID, "Client ID of an API client of the server")->type_name("ID");
  command.add_option("--name", a.name, "Display name of the server (default: its host)")->type_name("NAME");
  addSecret(command, a.secretFile, a.secretCommand);
}

void requireServer(const CLI::App& command, const ServerArguments& a, bool isAll) {
  const bool isNamed = !a.url.empty() || !a.clientID.empty();
  if (a.instance && a.instance->empty())
    throw UsageError(fmt::format("--instance is empty. See orvik {} --help.", nameOf(command)));
  if (int{a.instance.has_value()} + int{isAll} + int{isNamed} > 1)
    throw UsageError("--instance, --all and --url exclude each other.");
  if (a.instance || isAll) return;
  if (!isNamed)
    throw UsageError(fmt::format(
        "The server is missing: name it with --instance NAME, or with --url URL and --client-id ID. "
        "See orvik {} --help.",
        nameOf(command)));
  if (a.url.empty() || a.clientID.empty())
    throw UsageError(fmt::format("{} is missing. See orvik {} --help.",
                                 a.url.empty() ? "--url" : "--client-id", nameOf(command)));
}

void addNotify(CLI::App& command, NotifyArguments& notify) {
  command
      .add_option("--notify-command", notify.command,
                  "Command that is told what became of the run, as JSON on its standard input")
      ->type_name("CMD");
  command.add_option("--notify-url", notify.url, "Address that the same is posted to")->type_name("URL");
}

void requireNotify(const CLI::App& command, const NotifyArguments& notify) {
  if (notify.command && platform::locale::trimmed(*notify.command).empty())
    throw UsageError(fmt::format("--notify-command is blank. See orvik {} --help.", nameOf(command)));
  if (!notify.url) return;
  const auto url = platform::URL::parse(*notify.url);
  if (!url || url->host.empty() || (url->scheme != "https" && url->scheme != "http"))
    throw UsageError(
        fmt::format("--notify-url takes the address of a web server, such as "
                    "https://alerts.example/orvik. See orvik {} --help.",
                    nameOf(command)));
}

}  // namespace orvik::host::commandLine
