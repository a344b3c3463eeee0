#include "orvik/Documents/ManualPages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/Support/Commands.h"

namespace orvik::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
namespace files = platform::files;

/// The page as a terminal of 120 columns shows it.
std::string shown(const ManualPage& page) {
  const files::TempFolder folder;
  files::atomicWrite(page.text, folder / page.fileName);
  const auto result = test::runProgram(
      "groff", {"-man", "-Tascii", "-P-cbou", "-rLL=120n", "-ww", (folder / page.fileName).string()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "") << page.fileName;
  return result.out;
}

const ManualPage& pageOf(const std::vector<ManualPage>& pages, const std::string& name) {
  const auto found = std::ranges::find(pages, name, &ManualPage::fileName);
  if (found == pages.end()) throw std::runtime_error("there is no page " + name);
  return *found;
}

TEST(ManualPages, EveryCommandHasAPageThatTheFormatterTakes) {
  const auto program = describeCommands();
  const auto pages = manualPages(program);
  ASSERT_EQ(pages.size(), program.commands.size() + 1);
  for (std::size_t i = 0; i < program.commands.size(); ++i) {
    const auto& command = program.commands[i];
    EXPECT_EQ(pages[i + 1].fileName, "orvik-" + command.name + ".1");
    const auto text = shown(pages[i + 1]);
    for (const auto& option : command.options)
      for (const auto& name : option.names) EXPECT_THAT(text, HasSubstr(name)) << command.name;
    for (const auto& each : command.commands) EXPECT_THAT(text, HasSubstr("orvik " + each.name));
  }
}

TEST(ManualPages, TheFirstPageLeadsToTheOthers) {
  const auto text = shown(manualPages(describeCommands()).front());
  EXPECT_THAT(text, AllOf(HasSubstr("orvik-backup(1)"), HasSubstr("orvik-format(5)"),
                          HasSubstr("EXIT STATUS"), HasSubstr("ORVIK_CLIENT_SECRET")));
}

TEST(ManualPages, ExamplesStandAsTheyAreTyped) {
  const auto text = shown(pageOf(manualPages(describeCommands()), "orvik-check.1"));
  EXPECT_THAT(text, HasSubstr("\n           orvik check /srv/backups --read-data 1/7\n"));
}

TEST(ManualPages, TextThatLooksLikeARequestIsText) {
  const CommandDescription command{.name = "odd",
                                   .summary = ".SH 'tis a \\fBsummary\\fP",
                                   .footer = ".so /etc/passwd\n'quoted\n\n  .example \\n",
                                   .arguments = {},
                                   .options = {{{"--odd"}, "\\fI", "", ".TP"}},
                                   .commands = {}};
  const auto pages = manualPages({.name = "",
                                  .summary = "program",
                                  .footer = "",
                                  .arguments = {},
                                  .options = {},
                                  .commands = {command}});
  const auto text = shown(pages.at(1));
  EXPECT_THAT(text, AllOf(HasSubstr(".SH 'tis a \\fBsummary\\fP"), HasSubstr(".so /etc/passwd"),
                          HasSubstr("'quoted"), HasSubstr(".example \\n"), HasSubstr("--odd \\fI")));
}

}  // namespace
}  // namespace orvik::host
