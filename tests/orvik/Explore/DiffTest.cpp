#include "tests/Support/ExploreHost.h"

namespace orvik {
namespace {

using platform::json::Value;
using test::member;
using test::ProgramEnd;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
namespace files = platform::files;

class Diff : public test::ExploreHost {
 protected:
  static constexpr const char* fourth = "2025-03-06T091500Z";

  ProgramEnd diff(const Arguments& more = {}) const { return command("diff", more); }
  std::vector<Value> jsonDiff(Arguments more = {}) const {
    more.push_back("--json");
    return linesOf(diff(more));
  }
};

TEST_F(Diff, WithoutBackupsTheNewestIsComparedWithItsParent) {
  const auto end = diff();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, StartsWith("From 2025-03-04T091500Z, "));
  EXPECT_THAT(end.output, HasSubstr("\nto   2025-03-05T091500Z, "));
  EXPECT_THAT(end.output, HasSubstr("\n\n"
                                    "Scripts  scripts\n"
                                    "  changed  Hello  #5\n"
                                    "      Script contents: from line 2 on\n"
                                    "        - echo one\n"
                                    "        + echo two\n"
                                    "\n"
                                    "Policies  policies\n"
                                    "  changed  Install Office  #1\n"
                                    "      General › Frequency: Once per computer -> Ongoing\n"
                                    "\n"
                                    "2 changed in 2 sections.\n"));
  EXPECT_EQ(end.error, "");
}

TEST_F(Diff, AnyTwoBackupsCanBeCompared) {
  const auto end = diff({first, third});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("\n"
                                    "  changed  Install Office  #1\n"
                                    "      General › Enabled: Yes -> No\n"
                                    "      General › Frequency: Once per computer -> Ongoing\n"
                                    "  new      Install Wi-Fi  #3\n"
                                    "  removed  Old policy  #2\n"));
  EXPECT_THAT(end.output, EndsWith("\n1 new, 2 changed, 1 removed in 2 sections.\n"));
}

TEST_F(Diff, WithoutTheSecondTheNewestIsMeant) {
  EXPECT_EQ(diff({first}).output, diff({first, third}).output);
}

TEST_F(Diff, WhereTheParentIsGoneTheBackupBeforeIsMeant) {
  test::WrittenBackup(stored, fourth).section("policies").publish("2025-03-05T120000Z");
  EXPECT_THAT(diff().output, StartsWith("From 2025-03-05T091500Z, "));
  test::WrittenBackup(stored, "2025-03-07T091500Z").section("policies").publish(first);
  EXPECT_THAT(diff().output, StartsWith("From 2025-03-03T091500Z, "));
}

TEST_F(Diff, ASingleBackupHasNothingToBeComparedWith) {
  files::removeTree(repository.backupDirectory(second));
  files::removeTree(repository.backupDirectory(third));
  const auto end = diff();
  EXPECT_EQ(end.status, 10);
  EXPECT_THAT(end.error, HasSubstr("There is no backup before 2025-03-03T091500Z"));
  EXPECT_THAT(diff({first}).output, EndsWith("\nNothing differs.\n"));
}

TEST_F(Diff, BackwardsIsAllowedAndSaid) {
  const auto end = diff({third, first});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("\nBackwards: "));
  EXPECT_THAT(end.output, HasSubstr("  removed  Install Wi-Fi  #3\n"));
  EXPECT_THAT(end.output, HasSubstr("      General › Enabled: No -> Yes\n"));
}

TEST_F(Diff, OneSectionAlone) {
  const auto end = diff({first, third, "--section", "scripts"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, Not(HasSubstr("policies")));
  EXPECT_THAT(end.output, EndsWith("\n1 changed in 1 section.\n"));
  EXPECT_EQ(diff({"--section", "polices"}).status, 2);
  const auto unread = diff({"--section", "buildings"});
  EXPECT_EQ(unread.status, 1);
  EXPECT_THAT(unread.error, HasSubstr("did not read the section buildings"));
}

TEST_F(Diff, ASectionThatCannotBeComparedSaysWhy) {
  test::WrittenBackup(stored, fourth)
      .section("policies")
      .unread("scripts", SectionSummary::Status::notPermitted, "HTTP 403")
      .publish(third);
  test::write(indexOf(third, "policies"), "torn");
  const auto end = diff();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("\nScripts  scripts\n  can't be compared: " + std::string(fourth)));
  EXPECT_THAT(end.output, HasSubstr("HTTP 403"));
  EXPECT_THAT(end.output,
              HasSubstr("\nPolicies  policies\n  can't be compared: Its index in " + std::string(third)));
  EXPECT_THAT(end.output, EndsWith("\nNothing differs; 2 sections can't be compared.\n"));
  const auto lines = jsonDiff();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(member(lines[0], "event"), "problem");
  EXPECT_EQ(member(lines[0], "section"), "scripts");
  EXPECT_THAT(member(lines[0], "message"), HasSubstr("HTTP 403"));
  EXPECT_EQ(member(lines[2], "problems"), "2");
}

TEST_F(Diff, AnObjectThatOneBackupCouldNotReadIsNeitherNewNorRemoved) {
  test::WrittenBackup(stored, fourth)
      .section("policies")
      .failed("1", "Install Office", "HTTP 500")
      .item("3", "Install Wi-Fi", policy("Install Wi-Fi", true, "Ongoing"))
      .publish(third);
  const auto end = diff({"--section", "policies"});
  EXPECT_THAT(end.output, HasSubstr("  not readable  Install Office  #1: HTTP 500"));
  EXPECT_THAT(end.output, EndsWith("\n1 failed in 1 section.\n"));
}

TEST_F(Diff, LinesOfJSONHoldWholeValues) {
  const auto lines = jsonDiff({first, third});
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[0].text(),
            R"({"event":"difference","section":"scripts","id":"5","name":"Hello","change":"changed",)"
            R"("changes":[{"path":"Script contents","old":"#!/bin/sh\necho one\nexit 0\n",)"
            R"("new":"#!/bin/sh\necho two\nexit 0\n"}]})");
  EXPECT_EQ(lines[2].text(),
            R"({"event":"difference","section":"policies","id":"3","name":"Install Wi-Fi","change":"new"})");
  EXPECT_EQ(member(lines[3], "change"), "removed");
  EXPECT_EQ(lines[4].text(), R"({"event":"finished","from":"2025-03-03T091500Z","to":"2025-03-05T091500Z",)"
                             R"("new":1,"changed":2,"removed":1,"failed":0,"problems":0})");
}

TEST_F(Diff, AnUnknownBackupIsNotFound) {
  for (const auto& arguments : {Arguments{"2020-01-01T000000Z"}, Arguments{first, "2020-01-01T000000Z"}}) {
    const auto end = diff(arguments);
    EXPECT_EQ(end.status, 10);
    EXPECT_EQ(end.output, "");
    EXPECT_THAT(end.error, HasSubstr("There is no backup 2020-01-01T000000Z"));
  }
}

TEST_F(Diff, ColoursStandOnATerminal) {
  const auto end = runToEnd(onTerminal(starting("diff", {first, third})));
  EXPECT_THAT(end.output, HasSubstr("\x1b[1;32mnew    \x1b[0m  Install Wi-Fi"));
  EXPECT_THAT(end.output, HasSubstr("Enabled: \x1b[1;31mYes\x1b[0m -> \x1b[1;32mNo\x1b[0m"));
}

TEST_F(Diff, OnATerminalTheLineInMotionIsGoneBeforeResultsFollow) {
  auto start = starting("diff", {first, third});
  start.error = test::ProgramStart::Error::terminal;
  start.environment["TERM"] = "xterm";
  const auto end = runToEnd(start);
  EXPECT_EQ(end.status, 0);
  EXPECT_TRUE(end.error.empty() || end.error.ends_with("\r\x1b[K")) << end.error;
}

}  // namespace
}  // namespace orvik
