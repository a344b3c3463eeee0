#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

void addDoctor(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("doctor", "Tell what stands in the way of a backup, and what will");
  const auto a = std::make_shared<DoctorArguments>();
  addServer(command, a->server);
  command.add_option("--to", a->to, "Folder of all instances, to look at what its file system can do")
      ->type_name("ROOT");
  addNumber(command, "--concurrency", a->concurrency, bounds::concurrency, "Requests side by side");
  addNumber(command, "--rate", a->rate, bounds::rate, "Requests a second at most; 0 is no limit");
  addNumber(command, "--attempts", a->attempts, 1, 100, "Attempts for each request");
  addTrustAnchors(command, a->caFile);
  addForm(command, *a);
  command.footer(
      "The server is only read, one request for each section. Nothing below ROOT changes: what the file\n"
      "system can do is tried in a hidden folder that is removed again. The status is 0 when a backup can "
      "be\n"
      "made, also with warnings, 1 when it would fail, and 12 when the client's credentials are at fault.\n\n"
      "Examples:\n"
      "  orvik doctor --instance school --to /srv/backups\n"
      "  orvik doctor --url https://school.example --client-id 4711 --secret-file ~/secret");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNoBlank(command);
                        requireServer(command, a->server);
                        requireOneSecret(command);
                        if (a->server.name && a->server.instance)
                          throw UsageError("--name goes with --url alone: a registered server has one.");
                        return *a;
                      }});
}

}  // namespace orvik::host::commandLine
