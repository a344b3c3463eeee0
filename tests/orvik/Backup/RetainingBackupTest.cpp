#include <gtest/gtest.h>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupLock.h"
#include "OrvikCore/Store/PackStore.h"
#include "tests/Support/Folders.h"
#include "tests/Support/HostFixture.h"
#include "tests/Support/OrganisationFiles.h"
#include "tests/Support/SampleRecords.h"

namespace orvik {
namespace {

using test::ProgramEnd;
using test::runToEnd;
using testing::HasSubstr;
using testing::Not;
namespace files = platform::files;

/// `orvik backup` into a folder of backups that are years old.
class RetainingBackup : public test::HostFixture {
 protected:
  static constexpr const char* oldest = "2020-01-01T000000Z";
  static constexpr const char* older = "2020-02-01T000000Z";

  RetainingBackup() {
    publish(oldest, "2020-01-01T00:01:00Z");
    publish(older, "2020-02-01T00:01:00Z");
  }
  void publish(const std::string& id, const char* finishedAt) const {
    auto manifest = test::plainManifest(id);
    manifest.finishedAt = test::date(finishedAt);
    test::write(repository().backupDirectory(id) / BackupFormat::manifestFile,
                BackupFormat::makeEncoder().encode(manifest));
  }
  ProgramEnd keeping(const Arguments& limits) const { return runToEnd(backup(limits)); }
  std::vector<std::string> ids() const { return files::visibleNames(repository().backupsDirectory()); }
};

TEST_F(RetainingBackup, KeepLeavesSoManyBackupsAndTellsWhatWent) {
  const auto end = keeping({"--keep", "2"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(ids(), testing::ElementsAre(older, end.lastLine()));
  EXPECT_THAT(end.error, HasSubstr("Deleted 1 backup; "));
  EXPECT_FALSE(BackupLock::current(repository().instanceDirectory));
}

TEST_F(RetainingBackup, KeepDaysLeavesTheNewOne) {
  const auto end = keeping({"--keep-days", "30"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(ids(), testing::ElementsAre(end.lastLine()));
}

TEST_F(RetainingBackup, WithoutALimitAllStay) {
  EXPECT_EQ(keeping({}).status, 0);
  EXPECT_EQ(keeping({"--keep=0", "--keep-days=0"}).status, 0);
  EXPECT_EQ(ids().size(), 4u);
}

TEST_F(RetainingBackup, JSONHasAnEventBeforeTheLastLine) {
  const auto end = keeping({"--keep", "2", "--json"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("{\"event\":\"retention\",\"result\":{"));
  EXPECT_THAT(end.output, HasSubstr("\"removedBackups\":[\"" + std::string(oldest) + "\"]"));
  EXPECT_THAT(end.lastLine(), HasSubstr("\"event\":\"finished\""));
}

TEST_F(RetainingBackup, ALaterBackupStopsTheDeletionAndNotTheBackup) {
  publish("2999-01-01T000000Z", "2999-01-01T00:01:00Z");
  const auto end = keeping({"--keep", "1"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(ids().size(), 4u);
  EXPECT_THAT(end.error, HasSubstr("Old backups were left alone: the backup 2999-01-01T000000Z is later"));
}

TEST_F(RetainingBackup, ARefusalChangesNothingAboutTheBackup) {
  test::write(repository().backupDirectory(oldest) / BackupFormat::manifestFile, "torn");
  auto end = keeping({"--keep", "1"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(ids().size(), 3u);
  EXPECT_THAT(end.error, HasSubstr("Old backups were not deleted. "));
  EXPECT_THAT(end.error, HasSubstr(std::string(oldest) + "/manifest.json"));
  server.refuseSection("categories", 403);
  end = keeping({"--keep", "1", "--json"});
  EXPECT_EQ(end.status, 3) << end.error;
  EXPECT_THAT(end.output, HasSubstr("{\"event\":\"note\",\"text\":\"Old backups were not deleted. "));
}

TEST_F(RetainingBackup, ObjectsArePackedUnlessToldOtherwise) {
  const auto loose = [&] { return PackStore::looseObjects(repository().instanceDirectory).size(); };
  EXPECT_EQ(keeping({"--no-pack"}).status, 0);
  EXPECT_GT(loose(), 0u);
  const auto end = keeping({});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(loose(), 0u);
  EXPECT_THAT(end.error, HasSubstr(" single object files into one pack file"));
}

TEST_F(RetainingBackup, ASealedFolderIsOpenedByTheRunsOwnKey) {
  const auto key = test::OrganisationFiles::make(folder.path()).key.string();
  ASSERT_EQ(keeping({"--encrypt", "--key", key}).status, 0);
  const auto end = keeping({"--key", key, "--keep", "1"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(ids(), testing::ElementsAre(end.lastLine()));
}

TEST_F(RetainingBackup, TheVariablesOfTheLimitsCount) {
  auto program = backup();
  program.environment["ORVIK_KEEP"] = "1";
  EXPECT_EQ(runToEnd(program).status, 0);
  EXPECT_EQ(ids().size(), 1u);
}

}  // namespace
}  // namespace orvik
