#include <algorithm>
#include <chrono>

#include "OrvikCore/Config/InstanceStore.h"
#include "OrvikCore/Config/ScheduleStore.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/FileLock.h"
#include "tests/Support/Folders.h"
#include "tests/Support/InstanceHost.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::jsonLines;
using test::member;
using test::RunningProgram;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
namespace files = platform::files;

/// A registered server with its secret, and runs of it and of others.
class RunCommand : public test::InstanceHost {
 protected:
  RunCommand() { EXPECT_EQ(add("School").status, 0); }

  platform::UUID school() const { return InstanceStore(data()).load().at(0).id; }

  ScheduledRun plan(const platform::UUID& instanceID, std::chrono::seconds ahead) const {
    auto runs = schedule().load();
    const ScheduledRun run{platform::UUID::random(), instanceID,
                           std::chrono::floor<std::chrono::seconds>(platform::now()) + ahead};
    runs.push_back(run);
    schedule().save(runs);
    return run;
  }
  ScheduleStore schedule() const { return ScheduleStore(data()); }

  Arguments arguments(const Arguments& more) const {
    Arguments all{"schedule", "run",        "--to", root.string(), "--rate",
                  "0",        "--attempts", "1",    "--only",      "buildings,categories,departments"};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  test::ProgramEnd runSchedule(const Arguments& more = {}) const { return run(arguments(more)); }

  /// A second server that nobody answers for.
  platform::UUID registerUnreachable() const {
    auto all = InstanceStore(data()).load();
    all.push_back({platform::UUID::random(), "Gone", "http://127.0.0.1:1", "4711", {}});
    InstanceStore(data()).save(all);
    return all.back().id;
  }
};

TEST_F(RunCommand, DueRunsOfAnInstanceAreOneBackupAndLeaveTheSchedule) {
  plan(school(), -3h);
  plan(school(), -1h);
  const auto later = plan(school(), 24h);
  const auto end = runSchedule();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("School"));
  EXPECT_EQ(repository().completeBackups().size(), 1u);
  EXPECT_THAT(schedule().load(), ElementsAre(later));
}

TEST_F(RunCommand, WhatIsNotDueIsNotMade) {
  plan(school(), 3h);
  const auto end = runSchedule();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.error, AllOf(HasSubstr("Nothing is due. The next run: School, "), HasSubstr("(in 3 h).")));
  EXPECT_EQ(end.output, "");
  EXPECT_FALSE(files::exists(root));
  EXPECT_EQ(schedule().load().size(), 1u);
}

TEST_F(RunCommand, AnEmptyScheduleSaysSo) {
  const auto end = runSchedule();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.error, HasSubstr("Nothing is scheduled."));
  EXPECT_EQ(runSchedule({"--quiet"}).error, "");
}

TEST_F(RunCommand, AFailedRunStaysAndTheOthersAreMade) {
  const auto failing = plan(registerUnreachable(), -3h);
  plan(school(), -1h);
  auto end = runSchedule();
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.output, AllOf(HasSubstr("School"), HasSubstr("Gone")));
  EXPECT_EQ(repository().completeBackups().size(), 1u);
  EXPECT_THAT(schedule().load(), ElementsAre(failing));
  end = runSchedule();
  EXPECT_EQ(end.status, 1) << "it is due again";
  EXPECT_EQ(repository().completeBackups().size(), 1u);
}

TEST_F(RunCommand, ARunWithWarningsIsDone) {
  server.faults().add({"JSSResource/categories*", "GET", {}, 0, sample::FaultAnswer{}});
  plan(school(), -1h);
  EXPECT_EQ(runSchedule().status, 3);
  EXPECT_THAT(schedule().load(), IsEmpty());
}

TEST_F(RunCommand, ARunThatComesTooSoonStaysAndIsNoFailure) {
  plan(school(), -2h);
  ASSERT_EQ(runSchedule().status, 0);
  const auto waiting = plan(school(), -1h);
  auto end = runSchedule({"--minimum-hours", "24"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.error, AllOf(HasSubstr("1 day must lie between two backups"),
                               HasSubstr("The run of School stays in the schedule.")));
  EXPECT_THAT(schedule().load(), ElementsAre(waiting));
  EXPECT_EQ(repository().completeBackups().size(), 1u);
  EXPECT_EQ(runSchedule({"--minimum-hours", "0"}).status, 0);
  EXPECT_THAT(schedule().load(), IsEmpty());
}

TEST_F(RunCommand, ALastBackupAheadOfTheClockIsCalledSo) {
  plan(school(), -2h);
  ASSERT_EQ(runSchedule().status, 0);
  auto last = repository().latestComplete().value();
  last.manifest.finishedAt = platform::now() + 100h;
  test::write(repository().backupDirectory(last.id) / BackupFormat::manifestFile,
              BackupFormat::makeEncoder().encode(last.manifest));
  plan(school(), -1h);
  const auto end = runSchedule({"--minimum-hours", "1"});
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.error, HasSubstr("lies ahead of this machine's clock"));
  EXPECT_EQ(schedule().load().size(), 1u);
}

TEST_F(RunCommand, ARunOfAnInstanceThatIsGoneIsToldAndKept) {
  const auto stray = plan(platform::UUID::random(), -2h);
  plan(school(), -1h);
  const auto end = runSchedule();
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("orvik schedule remove " + stray.id.text().substr(0, 8)));
  EXPECT_THAT(end.output, HasSubstr(stray.instanceID.text()));
  EXPECT_THAT(schedule().load(), ElementsAre(stray));
  EXPECT_EQ(repository().completeBackups().size(), 1u);
}

TEST_F(RunCommand, OnlyOneIsAtWorkAtATime) {
  const auto waiting = plan(school(), -1h);
  const files::FileLock other(data() / "schedule-run.lock");
  const auto end = runSchedule();
  EXPECT_EQ(end.status, 11);
  EXPECT_THAT(end.error, HasSubstr("Another orvik schedule run is at work"));
  EXPECT_THAT(schedule().load(), ElementsAre(waiting));
  EXPECT_FALSE(files::exists(root));
}

TEST_F(RunCommand, TheScheduleMayBeChangedWhileABackupRunsAndAStopKeepsTheRun) {
  const auto waiting = plan(school(), -1h);
  server.faults().add({"JSSResource/categories*", "GET", {}, 0, sample::FaultHang{}});
  RunningProgram running(start(arguments({})));
  ASSERT_TRUE(running.waitFor("buildings  "));
  EXPECT_EQ(runSchedule().status, 11);
  EXPECT_EQ(run({"schedule", "add", "School", "--in", "5"}).status, 0);
  running.send(SIGTERM);
  EXPECT_EQ(running.wait().status, 130);
  const auto runs = schedule().load();
  ASSERT_EQ(runs.size(), 2u);
  EXPECT_EQ(runs[0], waiting);
  EXPECT_EQ(repository().partialBackupIDs().size(), 1u);
}

TEST_F(RunCommand, ADamagedScheduleIsAFailureAndNoServerIsAsked) {
  test::write(schedule().fileURL, "torn");
  const auto requests = server.log().total();
  const auto end = runSchedule();
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("can't be read"));
  EXPECT_EQ(server.log().total(), requests);
  EXPECT_EQ(files::read(schedule().fileURL), "torn");
}

TEST_F(RunCommand, ARunThatCannotBeTakenFromTheScheduleIsAFailureOfAPublishedBackup) {
  plan(school(), -1h);
  // Nobody can lock a folder.
  std::filesystem::create_directories(data() / "schedule.lock");
  const auto end = runSchedule();
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("can't be taken from the schedule"));
  EXPECT_EQ(repository().completeBackups().size(), 1u);
  EXPECT_EQ(schedule().load().size(), 1u);
}

TEST_F(RunCommand, EveryRunIsALineOfJSONAndTheRoundTheLast) {
  const auto first = plan(school(), -3h);
  const auto second = plan(school(), -1h);
  const auto stray = plan(platform::UUID::random(), -2h);
  const auto lines = jsonLines(runSchedule({"--json"}).output);
  std::vector<std::string> outcomes;
  for (const auto& line : lines)
    if (member(line, "event") == "run")
      outcomes.push_back(member(line, "id") + " " + member(line, "outcome"));
  EXPECT_THAT(outcomes, ElementsAre(first.id.text() + " published", second.id.text() + " published",
                                    stray.id.text() + " failed"));
  EXPECT_EQ(member(lines.back(), "event"), "round");
  EXPECT_EQ(member(lines.back(), "exit"), "1");
  EXPECT_EQ(run({"schedule", "remove", stray.id.text()}).status, 0);
  EXPECT_EQ(member(jsonLines(runSchedule({"--json"}).output).back(), "exit"), "0");
}

TEST_F(RunCommand, OptionsThatNameAServerAreNone) {
  for (const Arguments& more : {Arguments{"--instance", "School"}, Arguments{"--url", "https://a.example"},
                                Arguments{"--all"}, Arguments{"--secret-file", secretFile.string()}})
    EXPECT_EQ(runSchedule(more).status, 2) << more[0];
  EXPECT_EQ(run({"schedule", "run"}).status, 2) << "without a folder";
}

}  // namespace
}  // namespace orvik
