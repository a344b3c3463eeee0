#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvik/Status/InstanceState.h"
#include "tests/Support/SampleRecords.h"

namespace orvik::host {
namespace {

using std::chrono::hours;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class StatusVerdictTest : public testing::Test {
 protected:
  StatusVerdictTest() {
    state.folder = "/backups/school.example";
    state.hasFolder = true;
    state.last = InstanceState::Backup{"2026-11-22T073000Z", now - hours(2)};
  }

  StatusVerdict verdict(int maximumAge = 48) const { return StatusVerdict::of(state, maximumAge, now); }
  std::vector<std::string> kinds(int maximumAge = 48) const {
    std::vector<std::string> kinds;
    for (const auto& trouble : verdict(maximumAge).troubles) kinds.push_back(trouble.kind);
    return kinds;
  }
  void lock(std::chrono::seconds silence) {
    state.lock.state = FoundLock::State::lock;
    state.lock.lock =
        BackupLock{"another host", "admin", 1, now - hours(1), now - silence, "0.1.0", platform::UUID()};
  }

  const platform::Date now = test::date("2026-11-22T09:30:00Z");
  InstanceState state;
};

TEST_F(StatusVerdictTest, ARecentBackupIsGood) {
  EXPECT_FALSE(verdict().isOverdue);
  EXPECT_THAT(kinds(), IsEmpty());
}

TEST_F(StatusVerdictTest, TheLimitItselfIsNotTooOld) {
  state.last->finishedAt = now - hours(48);
  EXPECT_FALSE(verdict().isOverdue);
  state.last->finishedAt -= seconds(1);
  EXPECT_TRUE(verdict().isOverdue);
  EXPECT_THAT(kinds(), ElementsAre("tooOld"));
  EXPECT_EQ(verdict().troubles[0].text, "no backup within 2 days");
  EXPECT_FALSE(verdict(49).isOverdue);
}

TEST_F(StatusVerdictTest, WithoutALimitNoBackupIsTooOld) {
  state.last->finishedAt = now - hours(100'000);
  EXPECT_FALSE(verdict(0).isOverdue);
}

TEST_F(StatusVerdictTest, NoBackupIsOverdueWhateverTheLimit) {
  state.last.reset();
  EXPECT_TRUE(verdict(0).isOverdue);
  EXPECT_THAT(kinds(0), ElementsAre("noBackup"));
  state.hasFolder = false;
  EXPECT_TRUE(verdict(0).isOverdue);
  EXPECT_THAT(kinds(0), ElementsAre("noFolder"));
  EXPECT_THAT(verdict().troubles[0].text, HasSubstr("/backups/school.example"));
  state.problem = "The folder holds backups of another server.";
  EXPECT_TRUE(verdict(0).isOverdue);
  EXPECT_THAT(kinds(0), ElementsAre("folder"));
}

TEST_F(StatusVerdictTest, ABackupInTheFutureIsToldAndBeyondTheLimitOverdue) {
  state.last->finishedAt = now + hours(1);
  EXPECT_THAT(kinds(), IsEmpty()) << "clocks differ";
  state.last->finishedAt = now + hours(2);
  EXPECT_FALSE(verdict().isOverdue);
  EXPECT_THAT(kinds(), ElementsAre("future"));
  state.last->finishedAt = now + hours(49);
  EXPECT_TRUE(verdict().isOverdue) << "nobody knows that it is recent";
  EXPECT_FALSE(verdict(0).isOverdue);
}

TEST_F(StatusVerdictTest, WarningsAreToldAndNotOverdue) {
  state.last->status = BackupManifest::Status::completeWithWarnings;
  state.last->warnings = 3;
  EXPECT_FALSE(verdict().isOverdue);
  EXPECT_EQ(verdict().troubles.at(0).text, "complete with warnings: 3 sections");
}

TEST_F(StatusVerdictTest, AScheduledRunMayBeAnHourLate) {
  state.nextRun = now + hours(3);
  EXPECT_THAT(kinds(), IsEmpty());
  state.nextRun = now - hours(1);
  EXPECT_THAT(kinds(), IsEmpty());
  state.nextRun = now - hours(1) - seconds(1);
  EXPECT_TRUE(verdict(0).isOverdue);
  EXPECT_THAT(kinds(), ElementsAre("missedRun"));
}

TEST_F(StatusVerdictTest, AnUnfinishedRunWithoutItsWriterIsInterrupted) {
  state.unfinished = {"2026-11-21T073000Z", "2026-11-22T080000Z"};
  EXPECT_FALSE(verdict().isOverdue);
  EXPECT_THAT(kinds(), ElementsAre("interrupted"));
  EXPECT_THAT(verdict().troubles[0].text, HasSubstr("2026-11-22T080000Z"));
  lock(seconds(30));
  EXPECT_THAT(kinds(), ElementsAre("locked")) << "it is going on";
  EXPECT_THAT(verdict().troubles[0].text, HasSubstr("admin on another host has been writing since"));
  lock(hours(1));
  EXPECT_THAT(kinds(), ElementsAre("staleLock", "interrupted"));
}

TEST_F(StatusVerdictTest, ALockThatCannotBeReadIsTold) {
  state.lock.state = FoundLock::State::unreadable;
  state.lock.problem = "Can't read backup.lock";
  EXPECT_THAT(kinds(), ElementsAre("unreadableLock"));
  state.lock.state = FoundLock::State::foreign;
  EXPECT_THAT(kinds(), IsEmpty()) << "it holds nobody up";
}

TEST_F(StatusVerdictTest, TheEarliestRunOfTheInstanceIsItsNext) {
  state.id = platform::UUID::random();
  const auto other = platform::UUID::random();
  state.lookAt({{platform::UUID::random(), other, now},
                {platform::UUID::random(), state.id, now + hours(1)},
                {platform::UUID::random(), state.id, now + hours(2)}});
  EXPECT_EQ(state.nextRun, now + hours(1));
}

}  // namespace
}  // namespace orvik::host
