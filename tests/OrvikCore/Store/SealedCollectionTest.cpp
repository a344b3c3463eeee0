#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "OrvikCore/Store/GarbageCollection.h"
#include "tests/Support/SmallBackups.h"
#include "tests/Support/TestKeys.h"

namespace {

using namespace orvik;
using test::problemsOf;
using test::writeBackup;
namespace files = platform::files;

const CleanupResult nothing;

struct SealedCollection : testing::Test {
  files::TempFolder folder;
  BackupRepository repository{folder.path()};
  ObjectStore store = repository.store();
  std::string live;
  std::string garbage;
  static constexpr const char* id = "2025-03-04T091500Z";

  SealedCollection() {
    store.cipher = BackupEncryption::prepare(folder.path(), test::organisationKeys());
    live = store.put("[1]");
    garbage = store.put("[2]");
    writeBackup(repository, id, {live}, "2025-03-04T09:15:07Z", store.cipher);
  }
  ~SealedCollection() override { BackupEncryption::forgetKeys(); }
};

TEST_F(SealedCollection, WithItsKeyItIsCollectedAndPackedLikeAnyOther) {
  EXPECT_EQ(repository.collectGarbage().removedObjects, 1);
  EXPECT_FALSE(store.has(garbage, ObjectStore::IncludingOverlay::no));
  const auto stored = store.stored(live);
  EXPECT_EQ(repository.packLooseObjects().objects, 1);
  EXPECT_EQ(store.stored(live), stored);
  EXPECT_EQ(problemsOf(repository, id), 0U);
}

TEST_F(SealedCollection, WithoutAKeyNothingIsDeletedAndZerosAreReported) {
  BackupEncryption::forgetKeys();
  const auto before = test::contentOf(folder.path());
  EXPECT_EQ(repository.collectGarbage(), nothing);
  EXPECT_EQ(repository.packLooseObjects(),
            (BackupRepository::Packed{0, files::size(store.objectURL(live)).value() +
                                             files::size(store.objectURL(garbage)).value()}));
  EXPECT_EQ(test::contentOf(folder.path()), before);
}

TEST_F(SealedCollection, WithoutAKeyNothingIsDeletedAlsoWhenEveryIndexIsPlain) {
  writeBackup(repository, id, {live});
  BackupEncryption::forgetKeys();
  const auto before = test::contentOf(folder.path());
  EXPECT_EQ(repository.collectGarbage(), nothing);
  EXPECT_EQ(test::contentOf(folder.path()), before);

  test::write(folder / BackupFormat::encryptionFile, "not to be read");
  EXPECT_EQ(repository.collectGarbage(), nothing);
  EXPECT_TRUE(store.has(garbage, ObjectStore::IncludingOverlay::no));
}

TEST_F(SealedCollection, ASealedRunWhoseKeyRecordIsGoneProtectsWhatItsJournalMayName) {
  writeBackup(repository, id, {live});
  const auto partial = repository.partialDirectory("2025-03-05T091500Z");
  std::filesystem::create_directories(partial);
  PartialBackupState{
      "2025-03-05T091500Z", test::date("2025-03-05T09:15:00Z"), {}, test::plainOptions(), 0, true}
      .save(partial);
  BackupEncryption::forgetKeys();
  files::remove(folder / BackupFormat::encryptionFile);
  EXPECT_EQ(repository.collectGarbage(), nothing);
  EXPECT_TRUE(store.has(garbage, ObjectStore::IncludingOverlay::no));
}

TEST_F(SealedCollection, ASealedJournalProtectsItsObjects) {
  const auto partial = repository.partialDirectory("2025-03-05T091500Z");
  std::filesystem::create_directories(partial);
  auto entry = test::journalEntry("policies", "1");
  entry.item.objects = {{"json", garbage}};
  BackupJournal(partial, store.cipher).append(entry);
  EXPECT_EQ(repository.collectGarbage(), nothing);
  EXPECT_TRUE(store.has(garbage, ObjectStore::IncludingOverlay::no));
}

}  // namespace
