#include "OrvikCore/Store/Retention.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/FaultSeam.h"
#include "tests/Support/Folders.h"
#include "tests/Support/SampleRecords.h"

namespace {

using namespace orvik;
using testing::ElementsAre;
using testing::IsEmpty;
namespace files = platform::files;
using Reason = RetentionVerdict::Reason;
using namespace std::chrono_literals;

struct RetentionTest : testing::Test {
  files::TempFolder folder;
  BackupRepository repository{folder.path()};
  const platform::Date now = test::date("2025-06-01T00:00:00Z");

  /// A backup that finished so long ago, with an object of its own; gives its ID.
  std::string backup(std::chrono::seconds age) {
    const auto finished = now - age;
    const auto id = BackupFormat::backupID(finished);
    auto index = test::emptyIndex("policies");
    index.items = {test::itemWithID("1")};
    index.items[0].objects = {{"json", repository.store().put("\"" + id + "\"")}};
    BackupRepository::writeIndex(index,
                                 repository.backupDirectory(id) / BackupFormat::sectionPath("policies"), {});
    auto manifest = test::plainManifest(id);
    manifest.finishedAt = finished;
    manifest.sections = {test::summaryOf("policies")};
    test::write(repository.backupDirectory(id) / BackupFormat::manifestFile,
                BackupFormat::makeEncoder().encode(manifest));
    return id;
  }
  std::vector<std::string> left() const { return files::visibleNames(repository.backupsDirectory()); }
  std::vector<Reason> reasons(RetentionPolicy policy) const {
    std::vector<Reason> found;
    for (const auto& verdict : planRetention(repository, policy, now)) found.push_back(verdict.reason);
    return found;
  }
};

constexpr auto day = 86'400s;

TEST_F(RetentionTest, TheOnlyBackupStaysWhateverTheLimitsSay) {
  const auto id = backup(365 * day);
  EXPECT_THAT(repository.applyRetention(1, 0, now).removedBackups, IsEmpty());
  EXPECT_THAT(repository.applyRetention(0, 1, now).removedBackups, IsEmpty());
  EXPECT_THAT(left(), ElementsAre(id));
}

TEST_F(RetentionTest, EitherLimitAloneRemovesABackup) {
  const auto newest = backup(0s);
  const auto second = backup(31 * day);
  EXPECT_THAT(reasons({3, 30}), ElementsAre(Reason::newest, Reason::tooOld));
  EXPECT_THAT(repository.applyRetention(3, 30, now).removedBackups, ElementsAre(second));

  const auto a = backup(3600s);
  const auto b = backup(7200s);
  const auto fourth = backup(day);
  EXPECT_THAT(reasons({3, 30}),
              ElementsAre(Reason::newest, Reason::withinLimits, Reason::withinLimits, Reason::beyondCount));
  const auto result = repository.applyRetention(3, 30, now);
  EXPECT_THAT(result.removedBackups, ElementsAre(fourth));
  EXPECT_EQ(result.removedObjects, 1);
  EXPECT_THAT(left(), ElementsAre(b, a, newest));
}

TEST_F(RetentionTest, WithoutLimitsEverythingStaysButGarbageIsCollected) {
  backup(0s);
  backup(365 * day);
  repository.store().put("[\"garbage\"]");
  for (const int none : {0, -1}) {
    const auto result = repository.applyRetention(none, none, now);
    EXPECT_THAT(result.removedBackups, IsEmpty());
    EXPECT_EQ(result.removedObjects, none == 0 ? 1 : 0);
  }
  EXPECT_EQ(left().size(), 2U);
}

TEST_F(RetentionTest, ABackupExactlyOnTheCutOffStays) {
  backup(0s);
  backup(30 * day);
  backup(30 * day + 1s);
  EXPECT_THAT(reasons({0, 30}), ElementsAre(Reason::newest, Reason::withinLimits, Reason::tooOld));
  EXPECT_THAT(reasons({0, INT_MAX}), ElementsAre(Reason::newest, Reason::withinLimits, Reason::withinLimits));
}

TEST_F(RetentionTest, InterruptedRunsAndFoldersWithoutManifestAreNotTouched) {
  backup(0s);
  const auto old = backup(99 * day);
  files::remove(repository.backupDirectory(old) / BackupFormat::manifestFile);
  test::write(repository.partialDirectory("2020-01-01T000000Z") / "state.json", "{}");
  EXPECT_THAT(repository.applyRetention(1, 1, now), (CleanupResult{}));
  EXPECT_EQ(left().size(), 3U);
}

TEST_F(RetentionTest, TheNewestIsTheOneWithTheLastNameWhateverItsDate) {
  const auto newest = backup(0s);
  auto manifest = repository.manifest(newest).value();
  manifest.finishedAt = now - 999 * day;
  test::write(repository.backupDirectory(newest) / BackupFormat::manifestFile,
              BackupFormat::makeEncoder().encode(manifest));
  backup(1s);
  EXPECT_THAT(reasons({0, 30}), ElementsAre(Reason::newest, Reason::withinLimits));
}

TEST_F(RetentionTest, TheFirstFailureIsThrownAndNoBackupIsLeftHalfVisible) {
  const auto newest = backup(0s);
  backup(10 * day);
  const auto third = backup(20 * day);
  const auto before = left();
  files::armFaultSeam(1, files::FaultAction::fail, EACCES);  // the step out of sight
  EXPECT_THROW(repository.applyRetention(0, 1, now), files::FileError);
  EXPECT_EQ(left(), before);
  EXPECT_EQ(repository.completeBackups().size(), 3U);
  files::armFaultSeam(2, files::FaultAction::fail, EACCES);  // what lies out of sight
  EXPECT_THROW(repository.applyRetention(0, 1, now), files::FileError);
  files::disarmFaultSeam();
  EXPECT_THAT(left(), ElementsAre(third, newest));
  EXPECT_EQ(files::list(repository.backupsDirectory()).size(), 3U) << "the hidden rest";
  EXPECT_THAT(repository.applyRetention(0, 1, now).removedBackups, ElementsAre(third));
  EXPECT_THAT(files::list(repository.backupsDirectory()), ElementsAre(newest)) << "the next pass finishes it";
  EXPECT_EQ(repository.collectGarbage(), CleanupResult());
}

TEST_F(RetentionTest, ABackupBehindALinkIsDeletedAsALinkAlone) {
  const files::TempFolder disk;
  const auto old = backup(20 * day);
  backup(0s);
  std::filesystem::rename(repository.backupDirectory(old), disk / "backup");
  std::filesystem::create_directory_symlink(disk / "backup", repository.backupDirectory(old));
  EXPECT_THAT(repository.applyRetention(1, 0, now).removedBackups, ElementsAre(old));
  EXPECT_EQ(left().size(), 1U);
  EXPECT_TRUE(files::exists(disk / "backup/manifest.json"));
}

TEST_F(RetentionTest, DeletingOneBackupCollectsWhatItAloneReferredTo) {
  const auto newest = backup(0s);
  const auto old = backup(day);
  const auto result = repository.deleteBackup(newest);
  EXPECT_THAT(result.removedBackups, ElementsAre(newest));
  EXPECT_EQ(result.removedObjects, 1);
  EXPECT_THAT(left(), ElementsAre(old));
}

TEST_F(RetentionTest, DeletingWhatIsNoBackupIsRefused) {
  backup(0s);
  test::write(repository.partialDirectory("2020-01-01T000000Z") / "state.json", "{}");
  const auto before = test::contentOf(folder.path());
  for (const auto* id : {"", ".", "..", "../..", "2020-01-01T000000Z", "2020-01-01T000000Z.partial", "a/b"})
    EXPECT_THROW(repository.deleteBackup(id), files::FileError) << id;
  EXPECT_EQ(test::contentOf(folder.path()), before);
}

}  // namespace
