#include "orvik/Documents/DocumentCommands.h"

#include <filesystem>
#include <string>

#include "Platform/Files/Files.h"
#include "orvik/CommandTable.h"
#include "orvik/Documents/Completion.h"
#include "orvik/Documents/ManualPages.h"

namespace orvik::host {

ExitStatus printCompletion(const CompletionArguments& arguments, Results& results) {
  const auto program = describeCommands();
  auto script = arguments.shell == "zsh"    ? completion::zsh(program)
                : arguments.shell == "fish" ? completion::fish(program)
                                            : completion::bash(program);
  script.pop_back();  // the line has an end of its own
  results.line(script);
  results.requireWritten();
  return ExitStatus::done;
}

ExitStatus writeManual(const ManualArguments& arguments, Results& results) {
  const std::filesystem::path folder(arguments.out);
  platform::files::createDirectories(folder);
  for (const auto& page : manualPages(describeCommands())) {
    platform::files::atomicWrite(page.text, folder / page.fileName);
    if (!arguments.quiet) results.line((folder / page.fileName).string());
  }
  results.requireWritten();
  return ExitStatus::done;
}

}  // namespace orvik::host
