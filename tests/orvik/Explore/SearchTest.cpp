#include "tests/Support/ExploreHost.h"

namespace orvik {
namespace {

using platform::json::Value;
using test::member;
using test::ProgramEnd;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class Search : public test::ExploreHost {
 protected:
  static constexpr const char* fourth = "2025-03-06T091500Z";

  ProgramEnd search(const Arguments& more) const { return command("search", more); }
};

TEST_F(Search, FindsNamesInWhateverCaseBelowTheirSections) {
  const auto end = search({"INSTALL"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, StartsWith("Policies  policies\n"
                                     "  Install Office  #1\n"
                                     "  Install Wi-Fi  #3\n"
                                     "\n"
                                     "2 hits in 1 section of 2025-03-05T091500Z, "));
}

TEST_F(Search, InAnOlderBackupRemovedObjectsAreFoundToo) {
  const auto end = search({"old", "--backup", second});
  EXPECT_THAT(end.output, StartsWith("Policies  policies\n  Old policy  #2  removed\n"));
}

TEST_F(Search, ContentsGiveExcerpts) {
  EXPECT_THAT(search({"echo two"}).output, StartsWith("No name of 2025-03-05T091500Z, "));
  const auto end = search({"ECHO two", "--contents"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, StartsWith("Scripts  scripts\n"
                                     "  Hello  #5\n"
                                     "      Script contents: #!/bin/sh ⏎ echo two ⏎ exit 0 ⏎\n"
                                     "\n"
                                     "1 hit in 1 section of "));
  EXPECT_EQ(end.error, "");
}

TEST_F(Search, NothingIsAResultToo) {
  const auto end = search({"nowhere", "--contents"});
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.output, HasSubstr("has \"nowhere\" in it."));
  EXPECT_EQ(linesOf(search({"nowhere", "--json"})).at(0).text(),
            R"({"event":"finished","backup":"2025-03-05T091500Z","hits":0,"limited":false})");
}

TEST_F(Search, ALimitThatIsReachedIsSaid) {
  for (const bool contents : {false, true}) {
    const auto arguments = [&](const std::string& limit) {
      Arguments all{"install", "--limit", limit};
      if (contents) all.push_back("--contents");
      return all;
    };
    EXPECT_THAT(search(arguments("2")).output, Not(HasSubstr("There are more")));
    const auto end = search(arguments("1"));
    EXPECT_THAT(end.output, HasSubstr("\n1 hit in 1 section of "));
    EXPECT_THAT(end.output, EndsWith("\nThere are more; --limit 2 shows twice as many.\n"));
    EXPECT_THAT(end.output, Not(HasSubstr("Wi-Fi")));
    auto asJSON = arguments("1");
    asJSON.push_back("--json");
    EXPECT_EQ(member(linesOf(search(asJSON)).back(), "limited"), "true");
  }
  EXPECT_EQ(search({"install", "--limit", "0"}).status, 2);
}

TEST_F(Search, AHitIsALineOfJSON) {
  const auto lines = linesOf(search({"echo two", "--contents", "--json"}));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].text(), R"({"event":"hit","backup":"2025-03-05T091500Z","section":"scripts","id":"5",)"
                             R"("name":"Hello","change":"changed",)"
                             R"("excerpts":["Script contents: #!/bin/sh ⏎ echo two ⏎ exit 0 ⏎"]})");
}

TEST_F(Search, MatchesAreHighlightedOnATerminal) {
  const auto end = runToEnd(onTerminal(starting("search", {"Install", "--contents"})));
  EXPECT_THAT(end.output, HasSubstr("  \x1b[7mInstall\x1b[0m Office"));
  EXPECT_THAT(end.output, HasSubstr("Name: \x1b[7mInstall\x1b[0m Wi-Fi"));
}

TEST_F(Search, AQueryMayLookLikeACommandOrAnOption) {
  EXPECT_EQ(search({"backup"}).status, 0);
  EXPECT_EQ(search({"show"}).status, 0);
  test::WrittenBackup(stored, fourth).section("policies").item("1", "--json", "{}").publish();
  auto start = starting("search", {"--", "--json"});
  start.environment["ORVIK_LIMIT"] = "5";
  const auto end = runToEnd(start);
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, StartsWith("Policies  policies\n  --json  #1\n"));
}

TEST_F(Search, ABlankQueryIsAUsageError) {
  for (const std::string query : {"", "  ", "\t"}) EXPECT_EQ(search({query}).status, 2) << query;
  EXPECT_THAT(search({}).error, HasSubstr("QUERY is missing."));
}

TEST_F(Search, HitsCannotControlATerminal) {
  test::WrittenBackup(stored, fourth)
      .section("scripts")
      .item("1", "x\x1b[2J", script("needle \x1b[2J \xE2\x80\xAE"))
      .publish();
  for (const auto& end :
       {search({"needle", "--contents"}), runToEnd(onTerminal(starting("search", {"x"})))}) {
    EXPECT_EQ(end.status, 0) << end.error;
    EXPECT_THAT(end.output, HasSubstr("␛[2J"));
    EXPECT_THAT(end.output, Not(HasSubstr("\x1b[2J")));
    EXPECT_THAT(end.output, Not(HasSubstr("\xE2\x80\xAE")));
  }
}

/// A backup of many items that all match and take their time, though they are one object.
TEST_F(Search, ASignalEndsASearchOfContentsAndWhatWasFoundIsPrinted) {
  constexpr int count = 20'000;
  auto words = Value::array();
  for (int i = 0; i < 4000; ++i) words.append("word " + std::to_string(i));
  words.append("needle");
  auto item = test::itemWithID("");
  item.objects = {{"classic", repository.store().put(Value::object({{"words", words}}).text())}};
  test::WrittenBackup backup(stored, fourth);
  backup.section("policies");
  for (int i = 0; i < count; ++i) {
    item.id = std::to_string(i);
    backup.add(item);
  }
  backup.publish();

  auto start = starting("search", {"needle", "--contents", "--limit", std::to_string(count)});
  start.error = test::ProgramStart::Error::terminal;
  start.environment["TERM"] = "xterm";
  test::RunningProgram running(start);
  // Not before the first hits are there.
  ASSERT_TRUE(running.waitFor("00 of 20000"));
  running.send(SIGINT);
  const auto end = running.wait();
  EXPECT_EQ(end.status, 130);
  EXPECT_THAT(end.error, HasSubstr("orvik: cancelled"));
  EXPECT_THAT(end.output, HasSubstr("Words › [4001]: needle\n"));
  EXPECT_THAT(end.output, Not(HasSubstr(" hits in ")));
  EXPECT_LT(std::ranges::count(end.output, '\n'), 2 * count);
}

}  // namespace
}  // namespace orvik
