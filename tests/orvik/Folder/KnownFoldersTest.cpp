#include "orvik/Folder/KnownFolders.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"

namespace orvik::host {
namespace {

class KnownFoldersTest : public testing::Test {
 protected:
  void fill() const { platform::files::atomicWrite("{}", folder / "root/server/instance.json"); }
  void empty() const { platform::files::removeTree(folder / "root"); }

  platform::files::TempFolder folder;
  const KnownFolders known{folder / "data"};
  const BackupRepository repository{folder / "root", "server"};
};

TEST_F(KnownFoldersTest, AFolderThatHeldNothingYetMayBeEmpty) {
  known.requireFilled(repository);
  SUCCEED();
}

TEST_F(KnownFoldersTest, AFolderThatHeldBackupsMustNotBeEmpty) {
  fill();
  known.remember(repository, "2026-01-02T030405Z", {});
  known.requireFilled(repository);
  empty();
  try {
    known.requireFilled(repository);
    FAIL() << "accepted";
  } catch (const tuv::Error& error) {
    EXPECT_THAT(error.description(), testing::HasSubstr("2026-01-02T030405Z"));
    EXPECT_THAT(error.description(), testing::HasSubstr("not mounted"));
  }
  std::filesystem::create_directories(repository.instanceDirectory);
  EXPECT_THROW(known.requireFilled(repository), tuv::Error);
}

TEST_F(KnownFoldersTest, ABackupWithoutADescriptionStillFillsItsFolder) {
  fill();
  known.remember(repository, "a", {});
  empty();
  std::filesystem::create_directories(repository.backupsDirectory() / "2026-01-02T030405Z");
  known.requireFilled(repository);
  SUCCEED();
}

TEST_F(KnownFoldersTest, AnInterruptedRunAloneDoesNotFillAFolder) {
  fill();
  known.remember(repository, "a", {});
  empty();
  std::filesystem::create_directories(repository.backupsDirectory() / "2026-01-02T030405Z.partial");
  EXPECT_THROW(known.requireFilled(repository), tuv::Error);
}

TEST_F(KnownFoldersTest, AFolderIsKnownHoweverItsPathIsWritten) {
  fill();
  known.remember(BackupRepository(folder / "root/../root/./server"), "a", {});
  known.remember(repository, "b", {});
  EXPECT_THAT(platform::files::read(known.file()), testing::Not(testing::HasSubstr("\"a\"")));
  empty();
  EXPECT_THROW(known.requireFilled(repository), tuv::Error);
}

TEST_F(KnownFoldersTest, AMemoryThatIsDamagedIsBegunAnew) {
  fill();
  platform::files::atomicWrite("[{", known.file());
  known.requireFilled(repository);
  known.remember(repository, "a", {});
  empty();
  EXPECT_THROW(known.requireFilled(repository), tuv::Error);
}

}  // namespace
}  // namespace orvik::host
