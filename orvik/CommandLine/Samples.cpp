#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "SampleServer/FleetSize.h"
#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"

namespace orvik::host::commandLine {

namespace {

void addFleet(CLI::App& command, std::string& fleet, const char* text) {
  command.add_option("--fleet", fleet, text)
      ->check(CLI::IsMember(
          std::vector<std::string>(sample::fleetSizeNames.begin(), sample::fleetSizeNames.end())))
      ->capture_default_str();
}

void addDemo(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("demo", "Back up a made-up server twice and show what changed");
  const auto a = std::make_shared<DemoArguments>();
  command.add_option("--to", a->to, "Folder to keep the backups in (default: a fresh temporary one)")
      ->type_name("DIR");
  addFleet(command, a->fleet, "Size of the made-up server");
  addQuiet(command, a->quiet);
  command.footer("It needs no configuration and no network.\n\nExample:\n  orvik demo --fleet school");
  commands.push_back({&command, [a]() -> Invocation { return *a; }, {"to"}});
}

void addSampleServer(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("sample-server", "Run a made-up server until it is stopped");
  const auto a = std::make_shared<SampleServerArguments>();
  command.add_option("--port", a->port, "Port on 127.0.0.1; 0 takes a free one")
      ->check(within(0, 65535))
      ->capture_default_str();
  addFleet(command, a->fleet, "Size of the made-up fleet");
  command.add_option("--seed", a->seed, "The same number makes the same fleet")->capture_default_str();
  addQuiet(command, a->quiet);
  addJSON(command, a->json);
  command.footer("Example:\n  orvik sample-server --port 8080 --fleet small");
  commands.push_back({&command, [a]() -> Invocation { return *a; }});
}

}  // namespace

void addSamples(CLI::App& program, Commands& commands) {
  addDemo(program, commands);
  addSampleServer(program, commands);
}

}  // namespace orvik::host::commandLine
