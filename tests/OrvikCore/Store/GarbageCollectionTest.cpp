#include "OrvikCore/Store/GarbageCollection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/FaultSeam.h"
#include "tests/Support/Packs.h"
#include "tests/Support/SampleFolder.h"
#include "tests/Support/SmallBackups.h"

namespace {

using namespace orvik;
using test::problemsOf;
using test::writeBackup;
using testing::HasSubstr;
namespace files = platform::files;

const CleanupResult nothing;

struct Collection : testing::Test {
  test::SampleFolder sample;
  const BackupRepository& repository = sample.repository;
  ObjectStore store = repository.store();

  std::map<std::string, std::string> content() const { return test::contentOf(sample.folder.path()); }
  /// Collects, and expects that nothing came of it.
  void expectNothingCollected() const {
    store.put("{\"garbage\":true}");
    const auto before = content();
    EXPECT_EQ(repository.collectGarbage(), nothing);
    EXPECT_EQ(content(), before);
  }
};

TEST_F(Collection, DeletesWhatNothingRefersToAndCountsIt) {
  const auto garbage = store.put("{\"garbage\":true}");
  const auto size = files::size(store.objectURL(garbage)).value();
  const auto file = ObjectStore::sha256("no package");
  test::write(store.fileURL(file), "no package");
  EXPECT_EQ(repository.collectGarbage(), (CleanupResult{{}, 1, 1, size + 10}));
  EXPECT_FALSE(store.has(garbage, ObjectStore::IncludingOverlay::no));
  EXPECT_FALSE(store.hasFile(file));
  EXPECT_EQ(problemsOf(repository, sample.backupID), 0U);
  EXPECT_EQ(repository.collectGarbage(), nothing);
}

TEST_F(Collection, ThePlanSaysWhatGoesAndDeletesNothing) {
  const auto garbage = store.put("{\"garbage\":true}");
  const auto before = content();
  const auto plan = planCollection(repository);
  ASSERT_EQ(plan.objects.size(), 1U);
  EXPECT_EQ(plan.objects[0].path, BackupFormat::objectPath(garbage).native());
  EXPECT_EQ(content(), before);
  EXPECT_EQ(plan.expected(), carryOut(plan, repository));
  EXPECT_EQ(plan.expected().removedObjects, 1);
}

TEST_F(Collection, ABackupThatCountsAsDeletedProtectsNothing) {
  EXPECT_EQ(planCollection(repository).expected(), nothing);
  const auto plan = planCollection(repository, {sample.backupID});
  EXPECT_EQ(plan.objects.size(), 3U);
  EXPECT_EQ(plan.files.size(), 1U);
}

TEST_F(Collection, AnObjectThatOnlyAJournalNamesSurvives) {
  const auto journaled = store.put("{\"journaled\":true}");
  auto entry = test::journalEntry("policies", "3");
  entry.item.objects = {{"json", journaled}};
  entry.item.file = FileRef{"Tool.pkg", ObjectStore::sha256("journaled file"), {}, {}, {}, {}, {}, {}};
  test::write(store.fileURL(*entry.item.file->sha256), "journaled file");
  BackupJournal(sample.partial()).append(entry);
  // The torn line of a crash takes nothing else along.
  test::write(sample.partial() / BackupFormat::journalFile,
              "{torn\n" + files::read(sample.partial() / BackupFormat::journalFile) + "{\"section\":");
  EXPECT_EQ(repository.collectGarbage(), nothing);
  EXPECT_TRUE(store.has(journaled, ObjectStore::IncludingOverlay::no));
  EXPECT_TRUE(store.hasFile(*entry.item.file->sha256));
}

TEST_F(Collection, TheIndexesOfAnInterruptedRunAndOfAFolderWithoutManifestProtectTheirObjects) {
  const auto ofRun = store.put("{\"run\":true}");
  writeBackup(repository, std::string(sample.partialID) + ".partial", {ofRun});
  const auto ofFolder = store.put("{\"folder\":true}");
  writeBackup(repository, "2025-01-01T000000Z", {ofFolder});
  files::remove(repository.backupDirectory("2025-01-01T000000Z") / BackupFormat::manifestFile);
  EXPECT_EQ(repository.collectGarbage(), nothing);
  EXPECT_EQ(repository.completeBackups().size(), 1U);
}

TEST_F(Collection, OneCorruptIndexAnywhereDeletesNothing) {
  const auto path = repository.backupDirectory("2025-01-01T000000Z") / BackupFormat::sectionPath("scripts");
  const auto good = files::read(sample.index());
  for (
      const auto& bad :
      {std::string(), std::string("{"), good.substr(0, good.size() / 2), std::string("[]"), std::string("{}"),
       std::string(
           R"({"errors":[],"items":[{"change":"new","id":1,"objects":{}}],"removed":[],"sectionID":"x","sources":{},"title":"x"})"),
       std::string(
           R"({"errors":[],"items":[{"change":"new","id":"1","objects":{"json":5}}],"removed":[],"sectionID":"x","sources":{},"title":"x"})"),
       std::string(R"({"errors":[],"items":[],"removed":[],"sectionID":"x","sources":{}})"),
       std::string("ORVIK-AEAD1\nsealed, and no key for it is at hand")}) {
    SCOPED_TRACE(bad);
    test::write(path, bad);
    expectNothingCollected();
    EXPECT_THROW(
        {
          try {
            planCollection(repository);
          } catch (const IncompleteReferences& error) {
            EXPECT_THAT(error.description(), HasSubstr("scripts.json"));
            throw;
          }
        },
        IncompleteReferences);
  }
  files::remove(path);
  EXPECT_EQ(repository.collectGarbage().removedObjects, 1);
}

TEST_F(Collection, AnIndexThatIsNoFileDeletesNothing) {
  test::makePipe(repository.backupDirectory("2025-01-01T000000Z") / BackupFormat::sectionPath("scripts"));
  expectNothingCollected();
}

TEST_F(Collection, WhatCanBeReadAsAnIndexIsWalkedAsStrictlyAsItIsDecoded) {
  // Everything optional absent or null, unknown members, references in odd shapes.
  test::write(
      repository.backupDirectory("2025-01-01T000000Z") / BackupFormat::sectionPath("scripts"),
      R"({"x":1,"errors":[],"items":[{"change":"new","id":"1","objects":{"json":"NOT A HASH"},"file":null,
              "name":null,"y":[1]}],"removed":[{"id":"2"}],"sectionID":"scripts","sources":{},"title":"x"})");
  test::write(store.instanceDirectory / "store/objects/NO/NOT A HASH.json", "kept, byte for byte");
  test::write(store.instanceDirectory / "store/objects/NO/not a hash.json", "not that one");
  EXPECT_EQ(repository.collectGarbage().removedObjects, 1);
  EXPECT_TRUE(files::exists(store.instanceDirectory / "store/objects/NO/NOT A HASH.json"));
}

TEST_F(Collection, SourcesOfAnIndexProtectNothing) {
  const auto garbage = store.put("{\"garbage\":true}");
  auto index = test::emptyIndex("scripts");
  index.sources = {{"list", garbage}};
  BackupRepository::writeIndex(
      index, repository.backupDirectory(sample.backupID) / BackupFormat::sectionPath("scripts"), {});
  EXPECT_EQ(repository.collectGarbage().removedObjects, 1);
}

TEST_F(Collection, WithoutABackupsFolderEverythingIsGarbage) {
  files::removeTree(repository.backupsDirectory());
  EXPECT_EQ(repository.collectGarbage().removedObjects, 3);
  EXPECT_EQ(repository.collectGarbage(), nothing);
}

TEST_F(Collection, ABackupsFolderThatIsThereAndCanNotBeListedIsNotTakenForAnEmptyOne) {
  files::removeTree(repository.backupsDirectory());
  test::write(repository.backupsDirectory(), "a file");
  expectNothingCollected();
  files::remove(repository.backupsDirectory());
  std::filesystem::create_symlink(sample.folder / "gone", repository.backupsDirectory());
  expectNothingCollected();
  files::remove(repository.backupsDirectory());
  std::filesystem::create_symlink("backups", repository.backupsDirectory());  // leads to itself
  const auto before = test::contentOf(sample.folder / "store");
  EXPECT_EQ(repository.collectGarbage(), nothing);
  EXPECT_EQ(test::contentOf(sample.folder / "store"), before);
}

TEST_F(Collection, ASectionsFolderThatIsThereAndCanNotBeListedDeletesNothing) {
  test::write(repository.backupDirectory("2025-01-01T000000Z") / "sections", "a file");
  expectNothingCollected();
}

TEST_F(Collection, ABackupBehindALinkThatLeadsNowhereDeletesNothing) {
  const files::TempFolder disk;
  const auto elsewhere = disk / "backup";
  std::filesystem::rename(repository.backupDirectory(sample.backupID), elsewhere);
  std::filesystem::create_directory_symlink(elsewhere, repository.backupDirectory(sample.backupID));
  EXPECT_EQ(repository.collectGarbage(), nothing) << "the link leads to it";
  std::filesystem::rename(elsewhere, disk / "unmounted");
  expectNothingCollected();
}

TEST_F(Collection, AJournalThatIsThereAndCanNotBeReadDeletesNothing) {
  files::remove(sample.partial() / BackupFormat::journalFile);
  EXPECT_EQ(repository.collectGarbage(), nothing);
  test::makePipe(sample.partial() / BackupFormat::journalFile);
  expectNothingCollected();
}

TEST_F(Collection, AShardBehindALinkIsNeitherSweptNorPacked) {
  const files::TempFolder documents;
  const auto hash = ObjectStore::sha256("[\n\n]");
  test::write(documents / (hash + ".json"), "[\n\n]");
  test::write(documents / "letter.txt", "x");
  for (const auto* folder : {"store/objects", "store/files"}) {
    std::filesystem::create_directories(sample.folder / folder);
    std::filesystem::remove_all(sample.folder / folder / hash.substr(0, 2));
    std::filesystem::create_directory_symlink(documents.path(), sample.folder / folder / hash.substr(0, 2));
  }
  repository.collectGarbage();
  repository.packLooseObjects();
  EXPECT_EQ(test::contentOf(documents.path()).size(), 2U);
  EXPECT_TRUE(files::exists(sample.folder / "store/objects" / hash.substr(0, 2)));
}

TEST_F(Collection, FilesBesideTheBackupsAreNoBackups) {
  test::write(repository.backupsDirectory() / "readme.txt", "x");
  test::write(repository.backupsDirectory() / "empty/.keep", "x");
  EXPECT_EQ(repository.collectGarbage(), nothing);
}

TEST_F(Collection, HiddenEntriesAreInvisible) {
  test::write(sample.folder / "store/objects/aa/.x.json.tmp", "x");
  test::write(sample.folder / "store/objects/.aa/x.json", "x");
  test::write(sample.folder / "store/files/aa/.x", "x");
  test::write(repository.backupDirectory(sample.backupID) / "sections/.x.json", "no index");
  test::write(repository.backupsDirectory() / ".x/sections/y.json", "no index");
  test::write(sample.folder / "store/packs/.x.idx", "no index");
  const auto before = content();
  EXPECT_EQ(repository.collectGarbage(), nothing);
  EXPECT_EQ(repository.packLooseObjects().objects, 3);
  const auto after = content();
  std::size_t hidden = 0;
  for (const auto& [path, bytes] : before) {
    if (path.find("/.") == std::string::npos) continue;
    EXPECT_EQ(after.at(path), bytes) << path;
    ++hidden;
  }
  EXPECT_EQ(hidden, 6U);
}

TEST_F(Collection, WhatCanNotBeDeletedStaysAndDoesNotCount) {
  const auto garbage = store.put("{\"garbage\":true}");
  std::filesystem::create_directories(sample.folder / "store/objects/aa/folder.json/x");
  files::armFaultSeam(1, files::FaultAction::failFromThen, EACCES);
  EXPECT_EQ(repository.collectGarbage(), nothing);
  files::disarmFaultSeam();
  EXPECT_TRUE(store.has(garbage, ObjectStore::IncludingOverlay::no));
  EXPECT_EQ(repository.collectGarbage().removedObjects, 1);
  EXPECT_TRUE(files::isDirectory(sample.folder / "store/objects/aa/folder.json/x"));
}

TEST_F(Collection, ACancellationLeavesTheFolderWhole) {
  store.put("{\"garbage\":true}");
  std::stop_source stop;
  stop.request_stop();
  const auto before = content();
  EXPECT_THROW(repository.collectGarbage(stop.get_token()), platform::CancellationError);
  EXPECT_THROW(repository.packLooseObjects(stop.get_token()), platform::CancellationError);
  EXPECT_EQ(content(), before);
}

}  // namespace
