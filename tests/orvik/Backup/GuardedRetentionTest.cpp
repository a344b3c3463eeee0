#include "orvik/Backup/GuardedRetention.h"

#include "tests/Support/FolderCare.h"

namespace orvik {
namespace {

using test::member;
using test::ProgramEnd;
using testing::HasSubstr;
using testing::Not;
namespace files = platform::files;

class RetentionCommand : public test::FolderCare {
 protected:
  static constexpr const char* middle = "2025-03-10T000000Z";
  static constexpr const char* newest = "2025-03-20T000000Z";

  RetentionCommand() {
    middleObject = addBackup(middle, test::date("2025-03-10T00:01:00Z"), "{\"of\":\"middle\"}");
    newestObject = addBackup(newest, test::date("2025-03-20T00:01:00Z"), "{\"of\":\"newest\"}");
  }
  ProgramEnd retention(const Arguments& more) const { return command("retention", more); }
  std::vector<std::string> ids() const { return files::visibleNames(root() / "backups"); }

  std::string middleObject;
  std::string newestObject;
};

TEST_F(RetentionCommand, DeletesOldBackupsAndWhatOnlyTheyReferredTo) {
  const auto end = retention({"--keep", "2", "--yes"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(ids(), testing::ElementsAre(middle, newest));
  EXPECT_TRUE(has(middleObject) && has(newestObject));
  EXPECT_FALSE(has(sample.json));
  EXPECT_FALSE(store().hasFile(sample.fileDigest));
  EXPECT_THAT(end.output, HasSubstr("Deleted 1 backup, 3 objects and 1 package file; "));
  EXPECT_FALSE(files::exists(lockPath()));
}

TEST_F(RetentionCommand, ADryRunSaysOfEachBackupWhyAndChangesNothing) {
  const auto before = content();
  const auto end = retention({"--keep=2", "--keep-days=5", "--dry-run"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, testing::ContainsRegex(std::string(newest) + " .*stays: the newest backup"));
  EXPECT_THAT(end.output,
              testing::ContainsRegex(std::string(middle) + " .*goes: it finished more than 5 days"));
  EXPECT_THAT(end.output, testing::ContainsRegex(std::string(test::SampleFolder::backupID) + " .*goes: "));
  EXPECT_THAT(end.output, HasSubstr("Would delete 2 backups, 4 objects and 1 package file; "));
  EXPECT_THAT(end.output, HasSubstr(" of the backups' own folders.\n"));
  EXPECT_EQ(content(), before);
  EXPECT_THAT(retention({"--keep=9", "--dry-run"}).output, HasSubstr("stays: within the limits"));
}

TEST_F(RetentionCommand, TheNewestStaysWhateverTheLimitsSay) {
  EXPECT_EQ(retention({"--keep=1", "--keep-days=1", "--yes"}).status, 0);
  EXPECT_THAT(ids(), testing::ElementsAre(newest));
  EXPECT_TRUE(has(newestObject));
}

TEST_F(RetentionCommand, WithNothingToDeleteItSaysWhy) {
  const auto before = content();
  const auto end = retention({"--keep", "3", "--yes"});
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.output, HasSubstr("Nothing to delete: every backup is within the limits.\n"));
  EXPECT_EQ(content(), before);
}

TEST_F(RetentionCommand, RefusesBesideACopyOfABackupsFolder) {
  const auto copy = root() / "backups" / (std::string(newest) + " (1)");
  std::filesystem::copy(root() / "backups" / newest, copy, std::filesystem::copy_options::recursive);
  const auto before = ids();
  const auto end = retention({"--keep", "1", "--yes"});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr(copy.string() + " holds the backup " + newest));
  EXPECT_EQ(ids(), before);
}

TEST_F(RetentionCommand, WritesThroughNoLink) {
  const auto store = root() / "store", elsewhere = root() / "elsewhere";
  files::rename(store, elsewhere);
  std::filesystem::create_directory_symlink(elsewhere, store);
  const auto end = retention({"--keep", "1", "--yes"});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr(store.string() + " is a link, and nothing is written or deleted"));
  EXPECT_EQ(ids().size(), 3U);
}

TEST_F(RetentionCommand, RefusesAsACollectionDoes) {
  files::remove(sample.index());
  const auto before = content();
  const auto end = retention({"--keep", "1", "--yes"});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr(sample.index().string()));
  EXPECT_EQ(content(), before);
  EXPECT_EQ(retention({"--keep", "1"}).status, 2);
}

TEST_F(RetentionCommand, ASealedFolderNeedsItsKey) {
  const auto key = seal();
  EXPECT_EQ(retention({"--keep", "1", "--yes"}).status, 12);
  EXPECT_EQ(ids().size(), 3u);
  EXPECT_EQ(retention({"--keep", "1", "--yes", "--key", key}).status, 0);
  EXPECT_EQ(ids().size(), 1u);
}

TEST_F(RetentionCommand, ABackupOfTheFutureIsRemarkedOn) {
  EXPECT_THAT(retention({"--keep=9", "--dry-run"}).error, Not(HasSubstr("future")));
  addBackup("2999-01-01T000000Z", test::date("2999-01-01T00:01:00Z"), "{}");
  EXPECT_THAT(retention({"--keep=9", "--dry-run"}).error,
              HasSubstr("The newest backup 2999-01-01T000000Z lies in the future"));
  const auto lines = linesOf(retention({"--keep=9", "--dry-run", "--json"}));
  EXPECT_EQ(member(lines.at(0), "event"), "note");
}

TEST_F(RetentionCommand, JSONNamesEveryBackupAndEndsWithTheResult) {
  const auto lines = linesOf(retention({"--keep=2", "--yes", "--json"}));
  ASSERT_GE(lines.size(), 4u);
  EXPECT_EQ(member(lines[0], "event"), "verdict");
  EXPECT_EQ(member(lines[0], "backupID"), newest);
  EXPECT_EQ(member(lines[0], "stays"), "true");
  EXPECT_EQ(member(lines[0], "reason"), "newest");
  EXPECT_EQ(member(lines[1], "reason"), "withinLimits");
  EXPECT_EQ(member(lines[2], "reason"), "beyondCount");
  EXPECT_EQ(member(lines[2], "finishedAt"), "2025-03-04T09:15:07Z");
  const auto* result = lines.back().find("result");
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(member(*result, "removedBackups"), std::string("[\"") + test::SampleFolder::backupID + "\"]");
  EXPECT_EQ(member(*result, "removedObjects"), "3");
}

}  // namespace
}  // namespace orvik
