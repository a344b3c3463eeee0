#include "OrvikCore/Care/FolderStatistics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/Support/CheckedFolder.h"
#include "tests/Support/FolderState.h"

namespace orvik {
namespace {

using test::CheckedFolder;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Amount = FolderStatistics::Amount;
namespace files = platform::files;

/// What objects and the package file take that are named.
Amount amountOf(const CheckedFolder& folder, const std::vector<std::string>& names, bool withFile = false) {
  Amount amount;
  for (const auto& name : names) {
    ++amount.objects;
    amount.bytes += static_cast<std::int64_t>(folder.repository.store().stored(name).size());
  }
  if (withFile) {
    amount.files = 1;
    amount.bytes += 11;
  }
  return amount;
}

TEST(FolderStatisticsTest, TellsOfEachBackupWhatItTookAndWhatItsDeletionWouldGiveBack) {
  for (const bool isSealed : {false, true}) {
    const CheckedFolder folder(isSealed);
    const auto found = readStatistics(folder.repository);
    const auto& [a, b, c] = std::tie(folder.packed[0], folder.packed[1], folder.packed[2]);
    const auto& [d, e] = std::tie(folder.single[0], folder.single[1]);
    ASSERT_THAT(found.backups, SizeIs(2));
    const auto& second = found.backups[0];
    const auto& first = found.backups[1];
    EXPECT_EQ(second.id, CheckedFolder::second);
    EXPECT_EQ(first.all, amountOf(folder, {a, b, d}));
    EXPECT_EQ(first.fresh, first.all);
    EXPECT_EQ(first.unique, Amount());
    EXPECT_EQ(second.all, amountOf(folder, {a, b, c, d, e}, true));
    EXPECT_EQ(second.fresh, amountOf(folder, {c, e}, true));
    EXPECT_EQ(second.unique, second.fresh);
  }
}

TEST(FolderStatisticsTest, TellsOfEachSectionWhatTheNewestBackupHasAndWhatAllHave) {
  const CheckedFolder folder;
  const auto found = readStatistics(folder.repository);
  ASSERT_THAT(found.sections, SizeIs(2));
  const auto& policies = found.sections[0];
  EXPECT_EQ(policies.id, "policies");
  EXPECT_EQ(policies.items, 5);
  EXPECT_EQ(policies.newest.objects, 5);
  EXPECT_EQ(policies.all, policies.newest);
  EXPECT_EQ(found.sections[1].newest, (Amount{0, 1, 11}));
}

TEST(FolderStatisticsTest, ASectionThatTheNewestBackupLacksCountsForAllAlone) {
  const CheckedFolder folder;
  folder.publish(CheckedFolder::third, {CheckedFolder::section("packageFiles", {})});
  const auto found = readStatistics(folder.repository);
  ASSERT_THAT(found.sections, SizeIs(2));
  EXPECT_EQ(found.sections[0].id, "packageFiles");
  EXPECT_EQ(found.sections[1].newest, Amount());
  EXPECT_EQ(found.sections[1].all.objects, 5);
}

TEST(FolderStatisticsTest, TellsWhatTheStoreHolds) {
  const CheckedFolder folder;
  const auto garbage = folder.put("{\"garbage\":1}");
  test::write(folder.folder / ".quarantine/x/store/y", "damaged");
  const auto found = readStatistics(folder.repository);
  auto singles = folder.single;
  singles.push_back(garbage);
  EXPECT_EQ(found.store.single, amountOf(folder, singles));
  EXPECT_EQ(found.store.packed, amountOf(folder, folder.packed));
  EXPECT_EQ(found.store.packs, 1);
  EXPECT_EQ(found.store.packageFiles, (Amount{0, 1, 11}));
  EXPECT_EQ(found.store.unreferenced, amountOf(folder, {garbage}));
  EXPECT_GT(found.store.quarantine, 0);
  EXPECT_GT(found.store.allocated, found.store.quarantine);
}

TEST(FolderStatisticsTest, ADamagedFolderIsCountedAsFarAsItGoes) {
  const CheckedFolder folder;
  files::remove(folder.objectPath(folder.single[1]));
  test::write(folder.sectionPath(CheckedFolder::first), "torn");
  const auto found = readStatistics(folder.repository);
  EXPECT_EQ(found.missing, 1);
  EXPECT_THAT(found.unreadable, ElementsAre("backups/2025-03-04T091500Z/sections/policies.json"));
  EXPECT_EQ(found.backups[1].all, Amount());
}

TEST(FolderStatisticsTest, AnEmptyFolderTakesNothing) {
  const files::TempFolder folder;
  const auto found = readStatistics(BackupRepository(folder.path()));
  EXPECT_THAT(found.sections, IsEmpty());
  EXPECT_THAT(found.backups, IsEmpty());
  EXPECT_EQ(found.store.single, Amount());
}

TEST(FolderStatisticsTest, CountingChangesNothing) {
  const CheckedFolder folder;
  const auto before = test::stateOf(folder.folder.path());
  readStatistics(folder.repository);
  EXPECT_EQ(test::stateOf(folder.folder.path()), before);
}

}  // namespace
}  // namespace orvik
