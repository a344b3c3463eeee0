#include "OrvikCore/Config/BackupInterval.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/Files.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using TooSoon = BackupInterval::Decision::TooSoon;

const platform::Date aDay = platform::parseISO8601("2025-03-04T09:15:00Z").value();

TEST(BackupInterval, NoMinimumAlwaysAllows) {
  EXPECT_TRUE(BackupInterval::check(aDay, 0, false, aDay).isAllowed());
  EXPECT_TRUE(BackupInterval::check(aDay, -5, false, aDay).isAllowed());
}

TEST(BackupInterval, AnInstanceWithoutABackupIsAlwaysAllowed) {
  EXPECT_TRUE(BackupInterval::check(std::nullopt, 24, false, aDay).isAllowed());
}

TEST(BackupInterval, TwentyThreeHoursAfterABackupTheNextIsOneHourAway) {
  const auto decision = BackupInterval::check(aDay, 24, false, aDay + 23h);
  EXPECT_EQ(decision.tooSoon, (TooSoon{aDay, aDay + 24h}));
  EXPECT_FALSE(decision.isAllowed());
}

TEST(BackupInterval, AtExactlyTheMinimumItIsAllowed) {
  EXPECT_TRUE(BackupInterval::check(aDay, 24, false, aDay + 24h).isAllowed());
  EXPECT_FALSE(BackupInterval::check(aDay, 24, false, aDay + 24h - 1ms).isAllowed());
}

TEST(BackupInterval, AnInterruptedBackupMayGoOn) {
  EXPECT_TRUE(BackupInterval::check(aDay, 24, true, aDay + 1h).isAllowed());
}

TEST(BackupInterval, AClockThatWasSetBackWaitsForTheLastBackupAndTheMinimum) {
  EXPECT_EQ(BackupInterval::check(aDay, 24, false, aDay - 100h).tooSoon, (TooSoon{aDay, aDay + 24h}));
}

TEST(BackupInterval, AMinimumBeyondAllDatesIsALongOne) {
  const auto decision = BackupInterval::check(aDay, std::numeric_limits<std::int64_t>::max(), false, aDay);
  ASSERT_TRUE(decision.tooSoon);
  EXPECT_GT(decision.tooSoon->next, aDay + 24h * 365 * 99);
}

TEST(BackupInterval, AFolderTellsItsNewestBackupAndAPartialFolderLiftsTheLimit) {
  const platform::files::TempFolder folder;
  const BackupRepository repository(folder.path());
  EXPECT_TRUE(BackupInterval::check(repository, 24, aDay).isAllowed());

  BackupManifest manifest;
  manifest.backupID = "2025-03-04T091500Z";
  manifest.startedAt = aDay - 1h;
  manifest.finishedAt = aDay;
  const auto place = repository.backupDirectory(manifest.backupID);
  platform::files::createDirectories(place);
  platform::files::atomicWrite(BackupFormat::makeEncoder().encode(manifest),
                               place / BackupFormat::manifestFile);
  EXPECT_EQ(BackupInterval::check(repository, 24, aDay + 23h).tooSoon, (TooSoon{aDay, aDay + 24h}));
  EXPECT_TRUE(BackupInterval::check(repository, 0, aDay).isAllowed());

  platform::files::createDirectories(repository.partialDirectory("2025-03-04T120000Z"));
  EXPECT_TRUE(BackupInterval::check(repository, 24, aDay + 23h).isAllowed());
}

TEST(BackupInterval, HoursAreTold) {
  EXPECT_EQ(BackupInterval::describe(168), "1 week");
  EXPECT_EQ(BackupInterval::describe(336), "2 weeks");
  EXPECT_EQ(BackupInterval::describe(24), "1 day");
  EXPECT_EQ(BackupInterval::describe(48), "2 days");
  EXPECT_EQ(BackupInterval::describe(1), "1 hour");
  EXPECT_EQ(BackupInterval::describe(36), "36 hours");
  EXPECT_EQ(BackupInterval::describe(0), "0 hours");
}

}  // namespace
}  // namespace orvik
