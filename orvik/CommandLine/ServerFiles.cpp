#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

void addExportServer(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("export-server",
                                          "Write objects of a server as JSON files, apart from any backup");
  const auto a = std::make_shared<ExportServerArguments>();
  command.add_option("--to", a->to, "Folder in which a new one is made, named after organization and time")
      ->type_name("DIR");
  addOrgServer(command, *a);
  command.footer(
      "Writes groups, policies, scripts, computer configuration profiles, packages without their files, and\n"
      "computer extension attributes, a file for each. Scripts and profiles may hold secrets. The status is "
      "1\n"
      "when one could not be exported; the others are.\n\n"
      "Example:\n  orvik export-server --org School --to ~/exports");
  pushComplete(commands, command, a, {"--org", "--to"});
  commands.back().withoutSetting = {"to"};
}

void addPatchReport(CLI::App& program, Commands& commands) {
  auto& command =
      *program.add_subcommand("patch-report", "Write which version of a patch title each computer has");
  const auto a = std::make_shared<PatchReportArguments>();
  command.add_option("TITLE", a->title, "The patch title by its name or its ID")->type_name("");
  command.add_option("--csv", a->csv, "Write a table for spreadsheets to this file")->type_name("FILE");
  command.add_option("--pdf", a->pdf, "Write a document to this file")->type_name("FILE");
  addOrgServer(command, *a);
  command.footer(
      "A file that is there is replaced. Spreadsheets take fields that begin with =, +, - or @ for "
      "formulas;\n"
      "import columns as text where names are not yours.\n\n"
      "Example:\n  orvik patch-report Firefox --org School --csv firefox.csv --pdf firefox.pdf");
  commands.push_back({&command, [&command, a]() -> Invocation {
                        requireNoBlank(command);
                        for (const char* name : {"TITLE", "--org"}) requireGiven(command, name);
                        if (!a->csv && !a->pdf) throw UsageError("patch-report needs --csv or --pdf.");
                        return *a;
                      }});
}

}  // namespace

void addServerFiles(CLI::App& program, Commands& commands) {
  addExportServer(program, commands);
  addPatchReport(program, commands);
}

}  // namespace orvik::host::commandLine
