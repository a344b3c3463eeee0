#include <CLI/CLI.hpp>
#include <memory>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"

namespace orvik::host::commandLine {

namespace {

void addCompletion(CLI::App& program, Commands& commands) {
  auto& command =
      *program.add_subcommand("completion", "Print a script with which a shell completes commands");
  const auto a = std::make_shared<CompletionArguments>();
  command.add_option("SHELL", a->shell, "bash, zsh or fish")
      ->type_name("bash|zsh|fish")
      ->check(CLI::IsMember(std::vector<std::string>{"bash", "zsh", "fish"}).description(""));
  command.footer(
      "The package installs all three. Without it:\n\n"
      "Examples:\n"
      "  orvik completion bash > ~/.local/share/bash-completion/completions/orvik\n"
      "  orvik completion fish > ~/.config/fish/completions/orvik.fish\n"
      "  orvik completion zsh > _orvik    (in a folder of fpath)");
  pushComplete(commands, command, a, {"SHELL"});
}

void addManual(CLI::App& program, Commands& commands) {
  auto& command = *program.add_subcommand("manual", "Write the manual pages of all commands");
  const auto a = std::make_shared<ManualArguments>();
  command.add_option("--out", a->out, "Folder for the pages; made when it is missing")->type_name("DIR");
  addQuiet(command, a->quiet);
  command.footer(
      "The package installs them: man orvik-backup.\n\n"
      "Example:\n  orvik manual --out ~/.local/share/man/man1");
  pushComplete(commands, command, a, {"--out"});
}

}  // namespace

void addDocuments(CLI::App& program, Commands& commands) {
  addCompletion(program, commands);
  addManual(program, commands);
}

}  // namespace orvik::host::commandLine
