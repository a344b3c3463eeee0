#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/InMemoryKeyProvider.h"
#include "tests/Support/OrganisationFiles.h"
#include "tests/Support/Packs.h"
#include "tests/Support/SampleFolder.h"
#include "tests/Support/SmallBackups.h"
#include "tests/Support/Tool.h"

namespace {

using namespace orvik;
using test::runTool;
using testing::HasSubstr;
using testing::MatchesRegex;
namespace files = platform::files;

struct Maintenance : testing::Test {
  test::SampleFolder sample;
  const std::string path = sample.folder.path().string();
  const ObjectStore store = sample.repository.store();
};

TEST_F(Maintenance, GCTellsWhatItRemoved) {
  EXPECT_EQ(runTool({"gc", path}).out, "removed 0 objects, 0 files, freed Zero KB\n");
  store.put("\"" + std::string(2'498, 'x') + "\"");
  test::write(store.fileURL(ObjectStore::sha256("stray")), "stray");
  const auto result = runTool({"gc", path});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "removed 1 objects, 1 files, freed 3 KB\n");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(test::problemsOf(sample.repository, sample.backupID), 0U);
}

TEST_F(Maintenance, PackTellsWhatItMoved) {
  const auto result = runTool({"pack", path});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, MatchesRegex("packed 3 objects \\([0-9]+ bytes\\) into one file\n"));
  EXPECT_EQ(test::onlyIndex(sample.folder.path()).objects.entries.size(), 3U);
  EXPECT_TRUE(files::visibleNames(sample.folder / "store/objects").empty());
  EXPECT_EQ(runTool({"verify", path}).status, 0);
}

TEST_F(Maintenance, PackWithoutLooseObjectsCreatesNoFile) {
  runTool({"pack", path});
  const auto before = test::contentOf(sample.folder.path());
  const auto result = runTool({"pack", path});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "nothing to pack\n");
  EXPECT_EQ(test::contentOf(sample.folder.path()), before);
}

TEST_F(Maintenance, ADamagedObjectStaysWhereItIs) {
  test::write(store.objectURL(sample.json), "damaged");
  EXPECT_THAT(runTool({"pack", path}).out, HasSubstr("packed 2 objects"));
  EXPECT_EQ(files::read(store.objectURL(sample.json)), "damaged");
  EXPECT_THAT(files::visibleNames(sample.folder / "store/objects"),
              testing::ElementsAre(sample.json.substr(0, 2)));
  EXPECT_EQ(runTool({"pack", path}).out, "nothing to pack\n");
}

TEST_F(Maintenance, TheLockIsTakenUnderTheToolsNameAndGivenUp) {
  for (const auto* command : {"gc", "pack"}) {
    EXPECT_EQ(runTool({command, path}).status, 0);
    EXPECT_FALSE(files::exists(sample.folder / BackupFormat::lockFile)) << command;
  }
  files::removeTree(sample.folder / "store/packs");
  test::write(sample.folder / "store/packs", "a file in the way");
  store.put("[1]");
  const auto failed = runTool({"pack", path});
  EXPECT_EQ(failed.status, 1);
  EXPECT_THAT(failed.err, HasSubstr("store/packs"));
  EXPECT_FALSE(files::exists(sample.folder / BackupFormat::lockFile)) << "given up after a failure too";
}

TEST_F(Maintenance, AFolderThatALivingProcessHoldsIsRefusedAndNothingChanges) {
  store.put("{\"garbage\":true}");
  const auto lock = BackupLock::acquire(sample.folder.path(), "test", platform::now());
  const auto before = test::contentOf(sample.folder.path());
  for (const auto* command : {"gc", "pack"}) {
    const auto result = runTool({command, path});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr(lock->lock().holderText() +
                                      " has been backing up this instance into the same folder since "));
    EXPECT_EQ(test::contentOf(sample.folder.path()), before) << command;
  }
}

TEST_F(Maintenance, WithoutAFolderNothingIsDoneAndNothingIsMade) {
  for (const auto* command : {"gc", "pack"}) {
    EXPECT_EQ(runTool({command}).err, "orvikctl: instance folder required\n");
    const auto result = runTool({command, path + "/none"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "orvikctl: Can't open the instance folder " + path + "/none: No such file or directory\n");
    EXPECT_FALSE(files::exists(sample.folder / "none"));
    EXPECT_EQ(runTool({command, path + "/instance.json"}).status, 1);
  }
}

TEST_F(Maintenance, GCOfOneCorruptIndexRemovesNothingAndReportsZeros) {
  store.put("{\"garbage\":true}");
  test::write(sample.index(), "{");
  const auto result = runTool({"gc", path});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "removed 0 objects, 0 files, freed Zero KB\n");
}

TEST(SealedMaintenance, NeedsTheKeyAndTakesItFromTheCommandLine) {
  const files::TempFolder folder;
  const files::TempFolder keys;
  const BackupRepository repository(folder.path());
  auto store = repository.store();
  const auto organisation = test::OrganisationFiles::make(keys.path(), "org");
  store.cipher = BackupEncryption::prepare(folder.path(), InMemoryKeyProvider::fromFile(organisation.key));
  const auto live = store.put("[1]");
  store.put("[2]");
  test::writeBackup(repository, "1", {live}, "2025-03-04T09:15:07Z", store.cipher);
  BackupEncryption::forgetKeys();
  const auto path = folder.path().string();

  EXPECT_EQ(runTool({"gc", path}).out, "removed 0 objects, 0 files, freed Zero KB\n");
  EXPECT_EQ(runTool({"pack", path}).out, "nothing to pack\n");
  const auto key = organisation.key.string();
  EXPECT_THAT(runTool({"gc", path, "--key", key}).out, HasSubstr("removed 1 objects"));
  EXPECT_THAT(runTool({"pack", path, "--key", key}).out, HasSubstr("packed 1 objects"));
  EXPECT_EQ(runTool({"verify", path, "--key", key}).status, 0);
  BackupEncryption::forgetKeys();
}

}  // namespace
