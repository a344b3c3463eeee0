#include "tests/Support/ExploreHost.h"

namespace orvik {
namespace {

using test::member;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Status = SectionSummary::Status;

class Sections : public test::ExploreHost {};

TEST_F(Sections, StandBelowTheHeadingsOfTheirGroupsInTheOrderOfTheCatalog) {
  test::WrittenBackup(stored, "2025-03-06T091500Z")
      .section("categories")
      .item("1", "Tools", "{}")
      .section("policies")
      .section("computers")
      .item("1", "Mac", "{}", Change::new_)
      .removed("2", "Gone")
      .publish(third);
  const auto end = command("sections");
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, StartsWith("Backup 2025-03-06T091500Z of North, "));
  EXPECT_THAT(end.output, HasSubstr("\nParent 2025-03-05T091500Z\n"));
  EXPECT_THAT(end.output, HasSubstr("\n\n"
                                    "Devices & users\n"
                                    "     1  computers   Computers  1 new, 1 removed\n"
                                    "\n"
                                    "Configuration\n"
                                    "     0  policies    Policies\n"
                                    "\n"
                                    "Other settings\n"
                                    "     1  categories  Categories\n"));
}

TEST_F(Sections, OneThatIsIncompleteSaysWhy) {
  test::WrittenBackup(stored, "2025-03-06T091500Z")
      .section("policies")
      .failed("1", "Broken", "timed out")
      .unread("scripts", Status::notPermitted, "HTTP 403\x1b[2J")
      .unread("users", Status::disabled, "")
      .unread("noCatalogKnowsIt", Status::failed, "gone")
      .publish();
  const auto end = command("sections");
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("\nWithout a parent: everything is new\n"));
  EXPECT_THAT(end.output,
              HasSubstr("  policies          Policies  1 failed\n        not all could be read\n"));
  EXPECT_THAT(end.output,
              HasSubstr("     –  scripts           Scripts\n        not permitted: HTTP 403␛[2J\n"));
  EXPECT_THAT(
      end.output,
      HasSubstr("Other settings\n     –  noCatalogKnowsIt  noCatalogKnowsIt\n        failed: gone\n"));
  EXPECT_THAT(end.output, HasSubstr("\nSwitched off: 1 section.\n"));
  EXPECT_THAT(end.output, Not(HasSubstr("users")));
}

TEST_F(Sections, OfABackupThatIsNamed) {
  const auto end = command("sections", {first});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, StartsWith("Backup 2025-03-03T091500Z of North, "));
  EXPECT_THAT(end.output, HasSubstr("     2  policies  Policies  2 new\n"));
}

TEST_F(Sections, AreALineOfJSONEach) {
  test::WrittenBackup(stored, "2025-03-06T091500Z")
      .section("policies")
      .unread("scripts", Status::notPermitted, "HTTP 403")
      .publish(third);
  const auto lines = linesOf(command("sections", {"--json"}));
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(member(lines[0], "event"), "backup");
  EXPECT_EQ(member(lines[0], "backup"), "2025-03-06T091500Z");
  EXPECT_EQ(member(lines[0], "finishedAt"), "2025-03-06T09:15:00Z");
  EXPECT_EQ(member(lines[0], "parent"), third);
  EXPECT_EQ(member(lines[1], "id"), "scripts");
  EXPECT_EQ(member(lines[1], "group"), "Configuration");
  EXPECT_EQ(member(lines[1], "status"), "notPermitted");
  EXPECT_EQ(member(lines[1], "message"), "HTTP 403");
  EXPECT_EQ(member(lines[2], "id"), "policies");
  EXPECT_EQ(member(*lines[2].find("counts"), "total"), "0");
}

TEST_F(Sections, OfAFolderThatIsNoneOrHasNoSuchBackupAreNotFound) {
  EXPECT_EQ(run({"sections", (home.path() / "none").string()}).status, 10);
  EXPECT_EQ(run({"sections", home.path().string()}).status, 10);
  for (const std::string& id : Arguments{"2025-01-01T000000Z", "../" + std::string(first), ".."}) {
    const auto end = command("sections", {id});
    EXPECT_EQ(end.status, 10) << id;
    EXPECT_THAT(end.error, HasSubstr("There is no backup " + id)) << id;
  }
  platform::files::removeTree(repository.backupsDirectory());
  const auto end = command("sections");
  EXPECT_EQ(end.status, 10);
  EXPECT_THAT(end.error, HasSubstr("holds no finished backup"));
}

TEST_F(Sections, OfABackupWhoseManifestIsDamagedCannotBeRead) {
  test::write(repository.backupDirectory(second) / BackupFormat::manifestFile, "torn");
  const auto end = command("sections", {second});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("manifest.json"));
}

TEST_F(Sections, GetColoursOnATerminalThatWantsThem) {
  const auto emphasis = HasSubstr("\x1b[1mConfiguration\x1b[0m");
  EXPECT_THAT(command("sections").output, Not(HasSubstr("\x1b")));
  auto start = onTerminal(starting("sections"));
  EXPECT_THAT(runToEnd(start).output, emphasis);
  start.environment["NO_COLOR"] = "1";
  EXPECT_THAT(runToEnd(start).output, Not(HasSubstr("\x1b")));
  start.environment["NO_COLOR"] = "";
  EXPECT_THAT(runToEnd(start).output, emphasis);
  start.environment["TERM"] = "dumb";
  EXPECT_THAT(runToEnd(start).output, Not(HasSubstr("\x1b")));
  start.environment["TERM"] = "xterm";
  start.arguments.push_back("--json");
  EXPECT_THAT(runToEnd(start).output, Not(HasSubstr("\x1b")));
}

TEST_F(Sections, AReaderWhoLeftIsToldNothing) {
  for (const std::string name : {"sections", "diff"}) {
    auto start = starting(name);
    start.output = test::ProgramStart::Output::closedPipe;
    const auto end = runToEnd(start);
    EXPECT_EQ(end.status, 1) << name;
    EXPECT_EQ(end.error, "") << name;
  }
}

}  // namespace
}  // namespace orvik
