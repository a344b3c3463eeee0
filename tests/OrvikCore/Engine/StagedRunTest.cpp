#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "OrvikCore/Engine/BackupEngine.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupVerifier.h"
#include "OrvikCore/Store/PackStore.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/FaultSeam.h"
#include "Platform/Files/Files.h"
#include "tests/Support/FolderWatch.h"
#include "tests/Support/Folders.h"
#include "tests/Support/RunFixture.h"
#include "tests/Support/SmallBackups.h"

namespace orvik {
namespace {

namespace files = platform::files;
using test::FolderWatch;
using test::RunFixture;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

struct StagedRun : testing::Test, RunFixture {
  files::TempFolder staging;

  BackupJob stagedJob(const std::set<std::string>& sections) const {
    auto made = job(sections);
    made.stagingDirectory = staging.path();
    return made;
  }
  BackupManifest runStaged(const std::set<std::string>& sections, const std::stop_token& stop = {}) {
    return BackupEngine(stagedJob(sections)).run(ResumeInterrupted::yes, onEvent(), stop);
  }
  /// Of all backups together.
  std::size_t problems() const {
    std::size_t sum = 0;
    for (const auto& id : folderNames()) sum += test::problemsOf(repository(), id);
    return sum;
  }
  BackupRepository stagingArea() const { return BackupRepository(staging.path()); }
  void interruptAt(const std::string& path, const std::set<std::string>& sections) {
    std::stop_source stop;
    stopAt(path, stop);
    EXPECT_THROW(runStaged(sections, stop.get_token()), platform::CancellationError);
    onCall = {};
  }
  std::vector<std::string> methods(const BackupManifest& manifest) const {
    std::vector<std::string> all;
    for (const auto& line : AuditLog::read(repository().backupDirectory(manifest.backupID)))
      if (line.kind == AuditEntry::Kind::local) all.push_back(line.method);
    return all;
  }
};

TEST_F(StagedRun, NoSingleObjectIsEverInTheBackupFolder) {
  bodies.classicSection("buildings", "buildings", 40);
  packs = true;
  files::createDirectories(root());
  FolderWatch watch(root());
  const auto manifest = runStaged({"buildings"});
  const auto seen = watch.end();
  EXPECT_THAT(seen, Contains(HasSubstr("/store/packs/")));
  EXPECT_THAT(seen, Not(Contains(HasSubstr("/store/objects"))));
  EXPECT_THAT(seen, Not(Contains(HasSubstr("journal.jsonl"))));
  EXPECT_THAT(seen, Not(Contains(HasSubstr("overlay"))));
  EXPECT_EQ(manifest.totals.objects, 40);
}

TEST_F(StagedRun, TheBackupIsWholeAndTheStagingFolderCleared) {
  bodies.classicSection("buildings", "buildings", 5);
  const auto manifest = runStaged({"buildings"});
  EXPECT_EQ(problems(), 0u);
  EXPECT_THAT(PackStore::indexNames(repository().store().packsDirectory()), SizeIs(1));
  EXPECT_THAT(stagingArea().partialBackupIDs(), IsEmpty());
  EXPECT_EQ(folderNames(), std::vector{manifest.backupID});
  const auto published = repository().backupDirectory(manifest.backupID);
  EXPECT_FALSE(files::exists(published / BackupFormat::journalFile));
  EXPECT_FALSE(files::exists(published / "overlay"));
  EXPECT_TRUE(files::isFile(published / BackupFormat::sectionPath("buildings")));
  EXPECT_THAT(methods(manifest), testing::ElementsAre("LOCK", "START", "WRITE", "PUBLISH"));
  const auto lines = AuditLog::read(published);
  EXPECT_EQ(lines.back().target, "store/packs");
  EXPECT_EQ(lines.back().detail, "5 new objects packed from local staging into the backup folder");
}

TEST_F(StagedRun, ASecondRunPacksNewObjectsAlone) {
  bodies.classicSection("buildings", "buildings", 5);
  runStaged({"buildings"});
  bodies.classicSection("buildings", "buildings", 7);
  const auto second = runStaged({"buildings"});
  EXPECT_EQ(summary(second, "buildings").counts.unchanged, 5);
  EXPECT_EQ(AuditLog::read(repository().backupDirectory(second.backupID)).back().detail,
            "2 new objects packed from local staging into the backup folder");
  const auto third = runStaged({"buildings"});
  EXPECT_EQ(AuditLog::read(repository().backupDirectory(third.backupID)).back().detail,
            "0 new objects packed from local staging into the backup folder");
  EXPECT_EQ(problems(), 0u);
}

TEST_F(StagedRun, ASealedRunPublishesSealedObjects) {
  bodies.classicSection("buildings", "buildings", 3);
  seals = true;
  runStaged({"buildings"});
  unlockAfresh();
  EXPECT_EQ(problems(), 0u);
  for (const auto& [path, bytes] : test::contentOf(root() / "store"))
    if (path.ends_with(".pack")) {
      EXPECT_TRUE(BackupCipher::isSealed(bytes));
    }
}

TEST_F(StagedRun, AnInterruptedRunIsTakenUpFromTheStagingFolder) {
  bodies.classicSection("users", "users", 5);
  bodies.classicSection("policies", "policies", 5);
  interruptAt("JSSResource/policies", {"users", "policies"});
  ASSERT_THAT(stagingArea().partialBackupIDs(), SizeIs(1));
  EXPECT_THAT(folderNames(), IsEmpty());
  EXPECT_FALSE(files::exists(root() / BackupFormat::lockFile));
  const auto id = stagingArea().partialBackupIDs()[0];

  const auto manifest = runStaged({"users", "policies"});
  EXPECT_EQ(manifest.backupID, id);
  EXPECT_EQ(reader->count("JSSResource/users"), 1u);
  EXPECT_EQ(manifest.totals.objects, 10);
  EXPECT_EQ(problems(), 0u);
}

TEST_F(StagedRun, AStagedRunThatAnotherBackupOvertookIsDeleted) {
  bodies.classicSection("buildings", "buildings", 5);
  interruptAt("JSSResource/buildings/id/2", {"buildings"});
  const auto old = stagingArea().partialBackupIDs()[0];
  run({"buildings"});
  const auto manifest = runStaged({"buildings"});
  EXPECT_NE(manifest.backupID, old);
  EXPECT_THAT(stagingArea().partialBackupIDs(), IsEmpty());
}

TEST_F(StagedRun, AnUnstagedPartialIsDeletedByAFreshStagedRun) {
  bodies.classicSection("buildings", "buildings", 5);
  std::stop_source stop;
  stopAt("JSSResource/buildings/id/2", stop);
  EXPECT_THROW(run({"buildings"}, ResumeInterrupted::yes, stop.get_token()), platform::CancellationError);
  onCall = {};
  ASSERT_THAT(repository().partialBackupIDs(), SizeIs(1));
  runStaged({"buildings"});
  EXPECT_THAT(repository().partialBackupIDs(), IsEmpty());
}

TEST_F(StagedRun, DownloadsInProgressLieInTheStagingFolder) {
  const auto made = stagedJob({"packages"});
  ObjectStore store = repository().store();
  store.overlay = staging / "overlay";
  EXPECT_EQ(store.downloadsDirectory(), staging / "overlay" / "store" / "downloads");
}

TEST_F(StagedRun, AFailedPublicationLeavesARunThatIsTakenUp) {
  bodies.classicSection("buildings", "buildings", 5);
  files::armFaultSeam(1'000'000, files::FaultAction::fail);
  runStaged({"buildings"});
  const auto operations = files::operationsSinceArmed();
  files::disarmFaultSeam();
  files::removeTree(root());
  // The last operations are those that publish, clear up and give the lock back.
  for (std::uint64_t n = operations; n > operations - 25; --n) {
    files::armFaultSeam(n, files::FaultAction::fail, ENOSPC);
    bool failed = false;
    try {
      runStaged({"buildings"});
    } catch (const files::FileError&) {
      failed = true;
    }
    files::disarmFaultSeam();
    const auto manifest = failed ? runStaged({"buildings"}) : repository().latestComplete()->manifest;
    EXPECT_EQ(manifest.totals.objects, 5) << n;
    EXPECT_EQ(problems(), 0u) << n;
    EXPECT_THAT(repository().partialBackupIDs(), IsEmpty()) << n;
    files::removeTree(root());
    files::removeTree(staging / "backups");
  }
}

TEST_F(StagedRun, ADamagedObjectIsNotPublishedAndReadAgain) {
  bodies.classicSection("users", "users", 3);
  bodies.classicSection("policies", "policies", 3);
  interruptAt("JSSResource/policies", {"users", "policies"});
  const auto overlay = stagingArea().partialDirectory(stagingArea().partialBackupIDs()[0]) / "overlay";
  const auto objects = PackStore::looseObjects(overlay);
  ASSERT_FALSE(objects.empty());
  files::atomicWrite("damaged", objects.front().path());
  try {
    runStaged({"users", "policies"});
    FAIL();
  } catch (const tuv::Error& error) {
    EXPECT_THAT(error.description(), HasSubstr("1 object was damaged in the staging folder"));
  }
  EXPECT_THAT(folderNames(), IsEmpty());
  runStaged({"users", "policies"});
  EXPECT_EQ(problems(), 0u);
}

TEST_F(StagedRun, AStagingFolderOfAnotherInstanceIsRefused) {
  bodies.classicSection("buildings", "buildings", 1);
  runStaged({"buildings"});
  auto other = stagedJob({"buildings"});
  other.instance.id = platform::UUID::random();
  other.instance.name = "Another";
  try {
    BackupEngine(other).run(ResumeInterrupted::yes, {});
    FAIL();
  } catch (const tuv::Error& error) {
    EXPECT_THAT(error.description(), HasSubstr("is used for the instance \"Test\""));
  }
}

TEST_F(StagedRun, AStagingFolderInTheBackupFolderIsRefused) {
  auto made = stagedJob({"buildings"});
  made.stagingDirectory = root() / "staging";
  EXPECT_THROW(BackupEngine(made).run(ResumeInterrupted::yes, {}), tuv::Error);
  EXPECT_FALSE(files::exists(root()));
}

}  // namespace
}  // namespace orvik
