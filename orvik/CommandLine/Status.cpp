#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

void addStatus(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("status", "Tell how old the backups of all servers are");
  const auto a = std::make_shared<StatusArguments>();
  command.add_option("--to", a->to, "Folder of all instances")->type_name("ROOT");
  command.add_option("--max-age", a->maxAge, "Hours that the last backup may be old; 0 is no limit")
      ->type_name("HOURS")
      ->check(wholeNumber(bounds::hours))
      ->capture_default_str();
  command.add_flag("--no-sizes", a->noSizes, "Don't measure the folders, which takes long on slow shares");
  command.add_option("--metrics", a->metrics, "Write what was found for Prometheus too, as a text file")
      ->type_name("FILE");
  addQuiet(command, a->quiet);
  addJSON(command, a->json);
  command.footer(
      "For monitoring: the exit status is 5 when a backup is missing or too old, or when a scheduled run is\n"
      "more than an hour late.\n\n"
      "Example:\n  orvik status --to /srv/backups --max-age 26");
  commands.push_back({&command, [a]() -> Invocation {
                        if (a->metrics && a->metrics->empty())
                          throw UsageError("--metrics is empty. See orvik status --help.");
                        if (a->to.empty()) throw UsageError("--to is missing. See orvik status --help.");
                        return *a;
                      }});
}

}  // namespace orvik::host::commandLine
