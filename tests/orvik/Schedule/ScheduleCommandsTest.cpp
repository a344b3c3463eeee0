#include "orvik/Schedule/ScheduleCommands.h"

#include <chrono>

#include "Platform/Locale/Text.h"
#include "tests/Support/RegisteredHost.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::member;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
namespace files = platform::files;

class ScheduleCommands : public test::RegisteredHost {
 protected:
  test::ProgramEnd add(const Arguments& more) const { return command("add", more); }
  test::ProgramEnd list(const Arguments& more = {}) const { return command("list", more); }
  test::ProgramEnd remove(const Arguments& more) const { return command("remove", more); }
  static std::string beginning(const ScheduledRun& run) { return run.id.text().substr(0, 8); }

  const InstanceConfig school = registered("School", "https://school.example.com");
  const InstanceConfig north = registered("North", "https://north.example.com");

 private:
  test::ProgramEnd command(const std::string& name, const Arguments& more) const {
    Arguments all{"schedule", name};
    all.insert(all.end(), more.begin(), more.end());
    return run(all);
  }
};

TEST_F(ScheduleCommands, AnAddedRunIsKeptAndTold) {
  const auto before = platform::now();
  const auto end = add({"school", "--in", "3"});
  EXPECT_EQ(end.status, 0) << end.error;
  const auto runs = schedule().load();
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].instanceID, school.id);
  EXPECT_GE(runs[0].date, before + 3h - 1s);
  EXPECT_LE(runs[0].date, platform::now() + 3h);
  EXPECT_THAT(end.output, testing::StartsWith("Run " + beginning(runs[0]) + " of School: "));
  EXPECT_THAT(end.output, HasSubstr("(in 3 h).\n"));
}

TEST_F(ScheduleCommands, ATimeWithAZoneIsThatMoment) {
  const auto day = std::chrono::floor<std::chrono::days>(platform::now()) + std::chrono::days(3);
  const auto date = platform::iso8601(day).substr(0, 10);
  const auto line = linesOf(add({"School", "--json", "--at", date + "T23:00:00+02:00"})).at(0);
  EXPECT_EQ(member(line, "event"), "run");
  EXPECT_EQ(member(line, "instance"), "School");
  EXPECT_EQ(member(line, "instanceID"), school.id.text());
  EXPECT_EQ(member(line, "date"), date + "T21:00:00Z");
  EXPECT_EQ(member(line, "due"), "false");
  ASSERT_EQ(schedule().load().size(), 1u);
  EXPECT_EQ(member(line, "id"), schedule().load()[0].id.text());
}

TEST_F(ScheduleCommands, ATimeOnTheClockIsThatOfTheUsersZone) {
  auto start = this->start({"schedule", "add", "School", "--at", "2031-07-04 23:00"});
  start.environment["TZ"] = "Europe/Berlin";
  const auto end = test::runToEnd(start);
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("11:00"));
  EXPECT_EQ(platform::iso8601(schedule().load().at(0).date), "2031-07-04T21:00:00Z");
}

TEST_F(ScheduleCommands, TheVariableOfOneTimeGivesWayToTheOtherOption) {
  auto start = this->start({"schedule", "add", "School", "--in", "1"});
  start.environment["ORVIK_AT"] = "2031-07-04 23:00";
  EXPECT_EQ(test::runToEnd(start).status, 0);
  EXPECT_LT(schedule().load().at(0).date, platform::now() + 2h);
}

TEST_F(ScheduleCommands, ATimeThatCannotBeIsAUsageErrorAndWritesNothing) {
  for (const Arguments& more :
       {Arguments{}, Arguments{"--at", "2020-01-01 10:00"}, Arguments{"--at", "2020-01-01T10:00:00Z"},
        Arguments{"--at", "9999-01-01 10:00"}, Arguments{"--at", "tomorrow"}, Arguments{"--in", "-1"},
        Arguments{"--in", "nan"}, Arguments{"--in", "87601"}, Arguments{"--at", ""},
        Arguments{"--at", "23:00", "--in", "1"}}) {
    Arguments all{"School"};
    all.insert(all.end(), more.begin(), more.end());
    const auto end = add(all);
    EXPECT_EQ(end.status, 2) << end.output << end.error;
  }
  EXPECT_EQ(add({"--in", "1"}).status, 2);
  EXPECT_FALSE(files::exists(schedule().fileURL));
}

TEST_F(ScheduleCommands, AnUnknownInstanceIsNotFoundAndThoseThatThereAreListed) {
  const auto end = add({"South", "--in", "1"});
  EXPECT_EQ(end.status, 10);
  EXPECT_THAT(end.error, HasSubstr("School, North"));
  EXPECT_FALSE(files::exists(schedule().fileURL));
}

TEST_F(ScheduleCommands, AScheduleThatIsFullTakesNoMore) {
  std::vector<ScheduledRun> runs(1000, {platform::UUID::random(), school.id, platform::now()});
  schedule().save(runs);
  const auto end = add({"School", "--in", "1"});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("1,000 runs"));
  EXPECT_EQ(schedule().load().size(), 1000u);
}

TEST_F(ScheduleCommands, TheListIsInOrderOfTime) {
  const auto later = planned(school.id, platform::now() + 72h + 1min);
  const auto due = planned(north.id, platform::now() - 3h);
  const auto end = list();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output,
              testing::ContainsRegex("^WHEN +INSTANCE +ID\n.*\\(due 3 h ago\\) +North +" + beginning(due) +
                                     "\n.*\\(in 3 days\\) +School +" + beginning(later) + "\n$"));
  const auto lines = linesOf(list({"--json"}));
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(member(lines[0], "due"), "true");
  EXPECT_EQ(member(lines[1], "id"), later.id.text());
  EXPECT_EQ(member(lines[2], "event"), "finished");
  EXPECT_EQ(member(lines[2], "runs"), "2");
  EXPECT_EQ(member(lines[2], "due"), "1");
}

TEST_F(ScheduleCommands, AnEmptyScheduleSaysSo) {
  EXPECT_EQ(list().output, "Nothing is scheduled.\n");
  EXPECT_EQ(linesOf(list({"--json"})).size(), 1u);
}

TEST_F(ScheduleCommands, AnInstanceThatIsGoneIsShownByItsID) {
  const auto gone = platform::UUID::random();
  planned(gone, platform::now() + 1h);
  EXPECT_THAT(list().output, HasSubstr("unknown (" + gone.text() + ")"));
  const auto line = linesOf(list({"--json"})).at(0);
  EXPECT_EQ(member(line, "instance"), "(none)");
  EXPECT_EQ(member(line, "instanceID"), gone.text());
}

TEST_F(ScheduleCommands, NamesCannotMoveTheCursor) {
  const auto odd = registered("Odd\x1b[2J\nName", "https://odd.example.com");
  planned(odd.id, platform::now() + 1h);
  EXPECT_THAT(list().output, HasSubstr("Odd␛[2J␊Name"));
  EXPECT_THAT(add({odd.id.text(), "--in", "1"}).output, Not(HasSubstr("\x1b")));
}

TEST_F(ScheduleCommands, ARunGoesByTheBeginningOfItsID) {
  const auto first = planned(school.id, platform::now() + 1h);
  const auto second = planned(school.id, platform::now() + 2h);
  const auto end = remove({platform::locale::lowercased(beginning(first))});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, testing::StartsWith("Removed run " + beginning(first) + " of School: "));
  EXPECT_THAT(schedule().load(), ElementsAre(second));
  const auto lines = linesOf(remove({second.id.text(), "--json"}));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(member(lines[0], "id"), second.id.text());
  EXPECT_EQ(member(lines[1], "removed"), "1");
  EXPECT_TRUE(schedule().load().empty());
}

TEST_F(ScheduleCommands, ABeginningThatSeveralRunsHaveRemovesNone) {
  const auto one = platform::UUID::parse("6F9619FF-8B86-D011-B42D-00CF4FC964FF").value();
  const auto other = platform::UUID::parse("6F9619FF-8B86-D011-B42D-00CF4FC964FE").value();
  schedule().save({{one, school.id, platform::now()}, {other, north.id, platform::now()}});
  const auto end = remove({"6F9619FF"});
  EXPECT_EQ(end.status, 2);
  EXPECT_THAT(end.error, HasSubstr(one.text() + ", " + other.text()));
  EXPECT_EQ(schedule().load().size(), 2u);
  EXPECT_EQ(remove({"6F9619FF", "--instance", "North"}).status, 0);
  EXPECT_EQ(schedule().load().size(), 1u);
}

TEST_F(ScheduleCommands, AllRunsOfAnInstanceGoTogether) {
  planned(school.id, platform::now() + 1h);
  const auto other = planned(north.id, platform::now() + 2h);
  planned(school.id, platform::now() + 3h);
  const auto end = remove({"--instance", "SCHOOL"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(schedule().load(), ElementsAre(other));
  EXPECT_EQ(remove({"--instance", "School"}).status, 10);
}

TEST_F(ScheduleCommands, RunsOfAnInstanceThatIsGoneCanBeRemoved) {
  const auto run = planned(platform::UUID::random(), platform::now() + 1h);
  EXPECT_EQ(remove({"--instance", run.instanceID.text()}).status, 0);
  EXPECT_TRUE(schedule().load().empty());
}

TEST_F(ScheduleCommands, WhatIsNotScheduledIsNotFound) {
  planned(school.id, platform::now() + 1h);
  EXPECT_EQ(remove({"00000000"}).status, 10);
  EXPECT_EQ(remove({"--instance", "North"}).status, 10);
  EXPECT_EQ(remove({"--instance", "South"}).status, 10);
  EXPECT_EQ(remove({}).status, 2);
  EXPECT_EQ(remove({"0000"}).status, 2) << "too short to be sure";
  EXPECT_EQ(schedule().load().size(), 1u);
}

TEST_F(ScheduleCommands, ADamagedScheduleIsNeverWrittenOver) {
  for (const char* text : {"", "torn", "{}", "[{\"id\":\"x\"}]"}) {
    test::write(schedule().fileURL, text);
    for (const Arguments& arguments :
         {Arguments{"list"}, Arguments{"add", "School", "--in", "1"}, Arguments{"remove", "00000000"}}) {
      Arguments all{"schedule"};
      all.insert(all.end(), arguments.begin(), arguments.end());
      const auto end = run(all);
      EXPECT_EQ(end.status, 1) << text;
      EXPECT_THAT(end.error, HasSubstr(schedule().fileURL.string() + " can't be read"));
    }
    EXPECT_EQ(files::read(schedule().fileURL), text);
  }
}

TEST_F(ScheduleCommands, AScheduleTooLongToBeTrueIsDamagedToo) {
  test::makeSparse(schedule().fileURL, 1ull << 40);
  EXPECT_EQ(list().status, 1);
}

TEST_F(ScheduleCommands, TheCommandNamesItsOwnCommands) {
  const auto end = run({"schedule"});
  EXPECT_EQ(end.status, 2);
  EXPECT_THAT(end.error, HasSubstr("list, add, remove or run"));
}

}  // namespace
}  // namespace orvik
