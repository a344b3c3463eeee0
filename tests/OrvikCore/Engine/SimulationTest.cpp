#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "OrvikCore/Engine/BackupEngine.h"
#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/AuditLog.h"
#include "OrvikCore/Store/BackupLock.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"
#include "tests/Support/FolderState.h"
#include "tests/Support/RunFixture.h"

namespace orvik {
namespace {

namespace files = platform::files;
using test::RunFixture;
using test::stateOf;
using testing::HasSubstr;
using testing::IsEmpty;

struct Simulation : testing::Test, RunFixture {
  files::TempFolder place;
  bool downloads = true;

  BackupJob simulationJob(const std::set<std::string>& sections) const {
    auto made = job(sections);
    made.simulationDirectory = place.path();
    made.options.downloadFiles = downloads;
    return made;
  }
  SimulationResult simulate(const std::set<std::string>& sections) {
    return BackupEngine(simulationJob(sections)).simulate(onEvent());
  }
  void computers(const std::string& date) {
    bodies.set("api/v1/computers-inventory",
               R"({"totalCount":2,"results":[{"id":"1","general":{"reportDate":")" + date +
                   R"("}},{"id":"2","general":{}}]})");
    bodies.set("api/v1/computers-inventory-detail/1", "{\"id\":\"1\"}");
    bodies.set("api/v1/computers-inventory-detail/2", "{\"id\":\"2\"}");
  }
  std::vector<AuditEntry> audit() const { return AuditLog::read(place.path()); }
};

TEST_F(Simulation, LeavesTheFolderByteForByteAsItWas) {
  bodies.classicSection("buildings", "buildings", 3);
  run({"buildings"});
  const auto partial = repository().partialDirectory("2020-01-01T000000Z");
  files::createDirectories(partial);
  files::atomicWrite("{}", partial / "state.json");
  const auto before = stateOf(root());

  bodies.classicSection("buildings", "buildings", 5);
  bodies.set("JSSResource/buildings/id/1", R"({"id":1,"name":"another"})");
  const auto result = simulate({"buildings"});
  EXPECT_EQ(stateOf(root()), before);
  EXPECT_EQ(result.manifest.totals.newOrChangedObjects, 3);
  EXPECT_EQ(result.directory, place.path());
  EXPECT_EQ(summary(result.manifest, "buildings").counts.changed, 1);
}

TEST_F(Simulation, MakesNoFolderWhereNoneWas) {
  bodies.classicSection("buildings", "buildings", 1);
  const auto result = simulate({"buildings"});
  EXPECT_FALSE(files::exists(root()));
  EXPECT_EQ(result.manifest.totals.newOrChangedObjects, 1);
  EXPECT_EQ(result.manifest.parentBackupID, std::nullopt);
}

TEST_F(Simulation, ItsManifestIndexesAndAuditLogAreInItsFolder) {
  bodies.classicSection("buildings", "buildings", 2);
  const auto result = simulate({"buildings"});
  const auto index = BackupRepository::loadIndex(place.path(), "buildings", std::nullopt);
  ASSERT_TRUE(index);
  EXPECT_EQ(index->items.size(), 2u);
  EXPECT_TRUE(files::isFile(place / "manifest.json"));
  EXPECT_TRUE(files::isDirectory(place / "overlay" / "store" / "objects"));
  const auto lines = audit();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front().method, "START");
  EXPECT_EQ(lines.front().target, "simulation, nothing is written to the backup folder");
  EXPECT_EQ(lines.back().method, "SIMULATE");
  EXPECT_EQ(lines.back().detail, "2 new or changed objects would be stored");
  for (const auto& line : lines) {
    EXPECT_NE(line.method, "LOCK");
    EXPECT_NE(line.method, "WRITE");
  }
}

TEST_F(Simulation, ADeviceThatMovedIsChangedThoughNothingIsRead) {
  computers("a");
  auto made = job({"computers"});
  BackupEngine(made).run(ResumeInterrupted::yes, {});
  computers("b");
  const auto before = reader->count("api/v1/computers-inventory-detail/1");
  const auto result = simulate({"computers"});
  EXPECT_EQ(reader->count("api/v1/computers-inventory-detail/1"), before);
  EXPECT_EQ(summary(result.manifest, "computers").counts.changed, 2);
  const auto index = BackupRepository::loadIndex(place.path(), "computers", std::nullopt).value();
  EXPECT_EQ(index.items[0].objects.at("pro"), "unread:b");
  EXPECT_EQ(index.items[0].marker, "b");
  EXPECT_EQ(index.items[1].objects.at("pro"), "unread:-");
}

TEST_F(Simulation, ADeviceWithoutAParentIsNewAndOneWithItsDateUnchanged) {
  computers("a");
  EXPECT_EQ(summary(simulate({"computers"}).manifest, "computers").counts.new_, 2);
  run({"computers"});
  const files::TempFolder other;
  auto made = simulationJob({"computers"});
  made.simulationDirectory = other.path();
  const auto result = BackupEngine(made).simulate({});
  EXPECT_EQ(summary(result.manifest, "computers").counts.unchanged, 1);
}

TEST_F(Simulation, FilesAreCountedAndNotFetched) {
  bodies.set(
      "api/v1/packages",
      R"({"totalCount":2,"results":[{"id":"1","fileName":"a.pkg","size":"70"},{"id":"2","fileName":"b.pkg"}]})");
  bodies.set("api/v1/jcds/files", R"([{"fileName":"b.pkg","length":5,"md5":"AA"}])");
  const auto result = simulate({"packages", "jcdsFiles", "packageFiles"});
  EXPECT_EQ(result.bytesToDownload, 75);
  EXPECT_EQ(result.manifest.totals.filesDownloaded, 0);
  EXPECT_EQ(result.manifest.totals.files, 2);
  const auto index = BackupRepository::loadIndex(place.path(), "packageFiles", std::nullopt).value();
  EXPECT_EQ(index.items[1].file->status, FileRef::Status::skipped);
  EXPECT_EQ(index.items[1].file->message, "Would be downloaded (simulation)");
  EXPECT_EQ(index.items[1].file->jamfHash, "MD5:aa");
  EXPECT_EQ(index.items[1].file->size, 5);
  EXPECT_EQ(reader->count("api/v1/jcds/files/b.pkg"), 0u);
  EXPECT_FALSE(files::exists(place / "overlay" / "store" / "files"));
}

TEST_F(Simulation, TakesNoLockAndMindsNone) {
  bodies.classicSection("buildings", "buildings", 1);
  files::createDirectories(root());
  const auto lock = BackupLock::acquire(root(), "other", platform::now());
  onCall = [&](const auto&, auto&) { EXPECT_FALSE(lock->takenOverBy()); };
  EXPECT_NO_THROW(simulate({"buildings"}));
}

TEST_F(Simulation, AFirstSealingMakesNoRecordAndSealsWithKeysThatAreThrownAway) {
  bodies.classicSection("buildings", "buildings", 1);
  seals = true;
  const auto result = simulate({"buildings"});
  EXPECT_FALSE(files::exists(root()));
  ASSERT_TRUE(result.manifest.encryption);
  EXPECT_EQ(result.manifest.encryption->keyIDs.size(), 1u);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(place / "overlay"))
    if (entry.is_regular_file()) {
      EXPECT_TRUE(BackupCipher::isSealed(files::read(entry.path())));
    }
}

TEST_F(Simulation, ASealedFolderIsComparedWithItsOwnKeys) {
  bodies.classicSection("buildings", "buildings", 2);
  seals = true;
  run({"buildings"});
  const auto before = stateOf(root());
  unlockAfresh();
  const auto result = simulate({"buildings"});
  EXPECT_EQ(summary(result.manifest, "buildings").counts.unchanged, 2);
  EXPECT_EQ(stateOf(root()), before);
}

TEST_F(Simulation, WithoutAKeyAFirstSealingIsRefusedAsABackupWouldBe) {
  auto made = simulationJob({});
  made.encrypt = true;
  made.encryptionKeys = std::make_shared<InMemoryKeyProvider>(InMemoryKeyProvider({}));
  EXPECT_THROW(BackupEngine(made).simulate({}), BackupEncryptionError);
}

TEST_F(Simulation, AServerThatIsDownIsAFailure) {
  bodies.fail("api/v1/jamf-pro-version", 500);
  EXPECT_THROW(simulate({}), BackupEngineError);
}

TEST_F(Simulation, ItsFolderMustNotLieInTheBackupFolder) {
  auto made = simulationJob({});
  for (const auto& inside : {root(), root() / "backups" / "x"}) {
    made.simulationDirectory = inside;
    try {
      BackupEngine(made).simulate({});
      FAIL() << inside;
    } catch (const tuv::Error& error) {
      EXPECT_THAT(error.description(), HasSubstr("lies in the backup folder"));
    }
  }
  EXPECT_FALSE(files::exists(root()));
}

TEST_F(Simulation, AJobIsEitherRunOrSimulated) {
  EXPECT_THROW(BackupEngine(simulationJob({})).run(ResumeInterrupted::no, {}), tuv::Error);
  EXPECT_THROW(BackupEngine(job({})).simulate({}), tuv::Error);
  EXPECT_FALSE(files::exists(root()));
}

}  // namespace
}  // namespace orvik
