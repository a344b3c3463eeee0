#include "tests/Support/ExploreHost.h"

namespace orvik {
namespace {

using test::member;
using test::ProgramEnd;
using testing::HasSubstr;
using testing::MatchesRegex;

class History : public test::ExploreHost {
 protected:
  ProgramEnd history(const Arguments& more) const { return command("history", more); }
};

TEST_F(History, TellsEveryVersionOldestFirst) {
  const auto end = history({"policies", "1"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, MatchesRegex("Install Office  #1  policies\n"
                                       "\n"
                                       "2025-03-03T091500Z  [^\n]*  new\n"
                                       "\n"
                                       "2025-03-04T091500Z  [^\n]*  changed\n"
                                       "    General › Enabled: Yes -> No\n"
                                       "\n"
                                       "2025-03-05T091500Z  [^\n]*  changed\n"
                                       "    General › Frequency: Once per computer -> Ongoing\n"
                                       "\n"
                                       "3 versions.\n"));
  EXPECT_EQ(end.error, "");
}

TEST_F(History, FindsAnObjectByItsNameInTheNewestBackupThatHasIt) {
  const auto end = history({"policies", "old POLICY"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, MatchesRegex("Old policy  #2  policies\n"
                                       "\n"
                                       "2025-03-03T091500Z  [^\n]*  new\n"
                                       "\n"
                                       "2025-03-04T091500Z  [^\n]*  removed\n"
                                       "\n"
                                       "2 versions.\n"));
}

TEST_F(History, IsALineOfJSONForEachVersion) {
  const auto lines = linesOf(history({"policies", "Old policy", "--json"}));
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].text(),
            R"({"event":"version","backup":"2025-03-03T091500Z","finishedAt":"2025-03-03T09:15:00Z",)"
            R"("section":"policies","id":"2","name":"Old policy","change":"new"})");
  EXPECT_EQ(member(lines[1], "change"), "removed");
  EXPECT_EQ(lines[2].text(),
            R"({"event":"finished","section":"policies","id":"2","name":"Old policy","versions":2})");
  const auto changed = linesOf(history({"policies", "1", "--json"}));
  ASSERT_EQ(changed.size(), 4u);
  EXPECT_EQ(member(changed[1], "changes"), R"([{"path":"General › Enabled","old":"Yes","new":"No"}])");
}

TEST_F(History, ABackupWithADamagedIndexIsPassedOver) {
  test::write(indexOf(third, "policies"), "torn");
  const auto end = history({"policies", "Install Office"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("\n2 versions.\n"));
}

TEST_F(History, AnObjectThatNoBackupHasIsAFailure) {
  const auto end = history({"policies", "nothing"});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.output, "");
  EXPECT_THAT(end.error, HasSubstr("There is no object \"nothing\" in policies of any backup in "));
  EXPECT_EQ(history({"polices", "1"}).status, 2);
  EXPECT_EQ(history({"policies"}).status, 2);
}

}  // namespace
}  // namespace orvik
