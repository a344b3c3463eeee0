#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

template <class Arguments>
void add(CLI::App& relations, Commands& commands, const char* name, const char* text, const char* argument,
         const char* argumentText, const char* footer) {
  auto& command = *relations.add_subcommand(name, text);
  const auto a = std::make_shared<Arguments>();
  command.add_option(argument, a->name, argumentText)->type_name("");
  command.add_flag("--dot", a->dot, "Print a drawing in the language of Graphviz");
  addOrgServer(command, *a);
  command.footer(footer);
  commands.push_back({&command, [&command, a, argument]() -> Invocation {
                        requireNoBlank(command);
                        for (const char* required : {argument, "--org"}) requireGiven(command, required);
                        if (a->dot && a->json) throw UsageError("--dot and --json can't be given together.");
                        return *a;
                      }});
}

}  // namespace

void addRelations(CLI::App& program, Commands& commands) {
  auto& relations =
      *program.add_subcommand("relations", "Tell what is scoped where: of a group, a computer, an attribute");
  relations.footer("orvik relations COMMAND --help explains a command with an example.");
  add<GroupRelationsArguments>(
      relations, commands, "group", "What is scoped to a group of computers, and who is in it", "NAME",
      "The group by its name or its ID",
      "Policies and computer configuration profiles whose scope names the group, the packages and scripts "
      "of\n"
      "these policies, the extension attributes that its criteria name, and its computers. What is for all\n"
      "computers is not listed. Nothing changes on the server.\n\n"
      "Examples:\n  orvik relations group 'Lab Macs' --org School\n"
      "  orvik relations group 'Lab Macs' --org School --dot | dot -Tsvg > lab.svg");
  add<DeviceRelationsArguments>(
      relations, commands, "device", "The groups of a computer, and what is scoped to them", "ID",
      "The computer by its ID or serial number",
      "What is for all computers, or for this one alone, is not listed. Nothing changes on the server.\n\n"
      "Example:\n  orvik relations device 118 --org School");
  add<AttributeRelationsArguments>(
      relations, commands, "attribute", "The values of an extension attribute, and which computers have them",
      "NAME", "The computer extension attribute by its name",
      "Reads 100,000 computers at most, and says so when there are more. Nothing changes on the server.\n\n"
      "Example:\n  orvik relations attribute 'Battery cycles' --org School");
  commands.push_back({&relations, []() -> Invocation {
                        throw UsageError(
                            "relations needs a command: group, device or attribute. See orvik relations "
                            "--help.");
                      }});
}

}  // namespace orvik::host::commandLine
