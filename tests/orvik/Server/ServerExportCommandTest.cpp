#include "orvik/Server/ServerExportCommand.h"

#include <csignal>
#include <regex>

#include "Platform/JSON/View.h"
#include "tests/Support/PlaybookHost.h"

namespace orvik {
namespace {

using test::jsonLines;
using test::member;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
namespace files = platform::files;

class ServerExportCommand : public test::PlaybookHost {
 protected:
  std::filesystem::path to() const { return folder / "out"; }
  test::ProgramEnd exported(const Arguments& more = {}, const std::string& org = "School") const {
    Arguments all{"export-server", "--org", org, "--to", to().string()};
    all.insert(all.end(), more.begin(), more.end());
    return run(all);
  }
  std::vector<std::filesystem::path> written() const {
    std::vector<std::filesystem::path> found;
    if (!files::isDirectory(to())) return found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(to()))
      if (!entry.is_directory()) found.push_back(entry.path());
    return found;
  }
  void expectWhole() const {
    for (const auto& file : written())
      EXPECT_TRUE(platform::json::Document::parse(files::read(file))) << file;
  }
};

TEST_F(ServerExportCommand, ObjectsAreFilesInANewFolder) {
  const auto end = exported();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_TRUE(std::regex_match(
      end.lastLine(),
      std::regex("[0-9]+ exported in .*/out/School-backup-[0-9]{4}-[0-9]{2}-[0-9]{2}-[0-9]{6}")))
      << end.lastLine();
  EXPECT_THAT(end.error, AllOf(StartsWith("Smart Groups\nStatic Groups\nPolicies\n"), HasSubstr("Packages")));
  EXPECT_EQ(std::to_string(written().size()) + " ", end.lastLine().substr(0, end.lastLine().find(' ') + 1));
  expectWhole();
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(ServerExportCommand, JSONLinesTellEachObject) {
  const auto end = exported({"--json"});
  EXPECT_EQ(end.error, "");
  const auto entries = named("entry", end);
  EXPECT_EQ(entries.size(), written().size());
  for (const auto& line : entries) EXPECT_EQ(member(line, "outcome"), "exported");
  EXPECT_THAT(named("category", end), SizeIs(7));
  const auto last = jsonLines(end.output).back();
  EXPECT_EQ(member(last, "exported"), std::to_string(entries.size()));
  EXPECT_EQ(member(last, "failed"), "0");
  EXPECT_TRUE(files::isDirectory(member(last, "folder")));
}

TEST_F(ServerExportCommand, AFailingListEndsWith1AndTheRestIsExported) {
  server.faults().add({.path = "JSSResource/policies", .action = sample::FaultAnswer{.status = 403}});
  const auto end = exported({"--quiet"});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.output,
              AllOf(HasSubstr("failed  Policies  (list): "), HasSubstr("403"), HasSubstr(", 1 failed in ")));
  EXPECT_EQ(end.error, "");
  EXPECT_GT(written().size(), 30U);
}

TEST_F(ServerExportCommand, NamesThatShareAFileAreTold) {
  ASSERT_EQ(onSchool("apply",
                     playbook("  - {type: script, name: 'Clean/Up', priority: AFTER, scriptContents: a}\n"
                              "  - {type: script, name: 'Clean:Up', priority: AFTER, scriptContents: b}\n"),
                     {"--yes"})
                .status,
            0);
  const auto end = exported();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.error,
              HasSubstr("Scripts: Clean:Up has the file of Clean/Up, Clean-Up.json, and replaced it."));
}

TEST_F(ServerExportCommand, ATerminalShowsABarAndASignalLeavesWholeFiles) {
  server.setDelay(std::chrono::milliseconds(20));
  auto with = start({"export-server", "--org", "School", "--to", to().string()});
  with.error = test::ProgramStart::Error::terminal;
  with.environment["TERM"] = "xterm";
  test::RunningProgram running(with);
  EXPECT_TRUE(running.waitFor("Policies  "));
  EXPECT_TRUE(running.waitFor(" of " + std::to_string(server.ids("policies").size())));
  running.send(SIGINT);
  EXPECT_EQ(running.wait().status, 130);
  EXPECT_THAT(written(), Not(IsEmpty()));
  expectWhole();
}

TEST_F(ServerExportCommand, WithoutAnAnswerNoFolderIsMade) {
  writeSecret("wrong\n");
  ASSERT_EQ(run(adding("Wrong", {"--secret-file", secretFile.string()})).status, 0);
  EXPECT_EQ(exported({}, "Wrong").status, 12);
  EXPECT_FALSE(files::exists(to()));
  for (const auto& each : secrets()) exempt.insert(secretsFolder() / each);
  server.stop();
  EXPECT_EQ(exported().status, 1);
  EXPECT_FALSE(files::exists(to()));
}

TEST_F(ServerExportCommand, AServerThatDoesNotTellItsVersionIsExported) {
  server.faults().add({.path = "api/v1/jamf-pro-version", .action = sample::FaultAnswer{.status = 403}});
  EXPECT_EQ(exported().status, 0);
}

TEST_F(ServerExportCommand, AFolderThatCanNotBeMadeIsNamed) {
  files::atomicWrite("x", to());
  const auto end = exported();
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("/out"));
}

TEST_F(ServerExportCommand, WrongUsageEndsWith2) {
  EXPECT_EQ(run({"export-server", "--org", "School"}).status, 2);
  EXPECT_EQ(run({"export-server", "--to", to().string()}).status, 2);
  EXPECT_EQ(exported({}, "Nobody").status, 10);
}

}  // namespace
}  // namespace orvik
