#include "OrvikCore/Engine/BackupEngine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/AuditLog.h"
#include "OrvikCore/Store/BackupLock.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Host.h"
#include "tests/Support/RunFixture.h"

namespace orvik {
namespace {

namespace files = platform::files;
using test::RunFixture;
using testing::ElementsAre;
using testing::HasSubstr;
using Status = SectionSummary::Status;

TEST(BackupEngine, PublishesABackupWithAllItSaysOfItself) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 3);
  const auto manifest = fixture.run({"policies"});

  EXPECT_THAT(fixture.folderNames(), ElementsAre(manifest.backupID));
  const auto stored = fixture.repository().manifest(manifest.backupID);
  ASSERT_TRUE(stored);
  EXPECT_EQ(*stored, manifest);
  EXPECT_EQ(manifest.formatVersion, 2);
  EXPECT_EQ(manifest.jamfProVersion, "11.30.1-t1");
  EXPECT_EQ(manifest.orvikVersion, "test");
  EXPECT_EQ(manifest.status, BackupManifest::Status::complete);
  EXPECT_EQ(manifest.parentBackupID, std::nullopt);
  EXPECT_THAT(manifest.privileges.value(), ElementsAre("Read Policies", "Read Users"));
  EXPECT_EQ(manifest.totals, (BackupManifest::Totals{3, 3, 0, 0, 0, 6}));
  EXPECT_EQ(manifest.instance, fixture.job({}).instance);
  EXPECT_EQ(fixture.repository().descriptor(), manifest.instance);
  EXPECT_EQ(manifest.encryption, std::nullopt);
  EXPECT_FALSE(files::exists(fixture.root() / BackupFormat::lockFile));
}

TEST(BackupEngine, SectionsStandInRunOrderWithDevicesAndFilesLast) {
  RunFixture fixture;
  const auto manifest = fixture.run({});
  ASSERT_EQ(manifest.sections.size(), 78U);
  EXPECT_EQ(manifest.sections[0].id, "users");
  EXPECT_EQ(manifest.sections[75].id, "computers");
  EXPECT_EQ(manifest.sections[76].id, "mobileDevices");
  EXPECT_EQ(manifest.sections[77].id, "packageFiles");
}

TEST(BackupEngine, WithAllSectionsDisabledTheBackupIsCompleteAndEmpty) {
  RunFixture fixture;
  const auto manifest = fixture.run({});
  EXPECT_EQ(manifest.status, BackupManifest::Status::complete);
  EXPECT_EQ(manifest.totals.objects, 0);
  for (const auto& section : manifest.sections) {
    EXPECT_EQ(section.status, Status::disabled);
    EXPECT_EQ(section.index, std::nullopt);
  }
  EXPECT_EQ(fixture.eventsOf<BackupEvents::SectionFinished>().size(), 78U);
  EXPECT_TRUE(fixture.eventsOf<BackupEvents::SectionStarted>().empty());
}

TEST(BackupEngine, One403SectionGivesWarningsAndOne404DoesNot) {
  RunFixture fixture;
  fixture.bodies.fail("JSSResource/policies", 403);
  EXPECT_EQ(fixture.run({"policies"}).status, BackupManifest::Status::completeWithWarnings);
  fixture.bodies.fail("JSSResource/policies", 404);
  EXPECT_EQ(fixture.run({"policies"}).status, BackupManifest::Status::complete);
}

TEST(BackupEngine, ARoleWithoutTheVersionStillBacksUp) {
  RunFixture fixture;
  fixture.bodies.fail("api/v1/jamf-pro-version", 403);
  fixture.bodies.fail("api/v1/auth", 500);
  const auto manifest = fixture.run({});
  EXPECT_EQ(manifest.jamfProVersion, std::nullopt);
  EXPECT_EQ(manifest.privileges, std::nullopt);
}

TEST(BackupEngine, PrivilegesMayStandAtTheRoot) {
  RunFixture fixture;
  fixture.bodies.set("api/v1/auth", R"({"account":{},"privileges":["b","a",7]})");
  EXPECT_THAT(fixture.run({}).privileges.value(), ElementsAre("7", "a", "b"));
}

TEST(BackupEngine, AServerThatIsDownGivesCannotConnectAndNoBackup) {
  RunFixture fixture;
  fixture.onCall = [](auto&, auto&) { throw jamf::APIError::transport("Connection refused"); };
  try {
    fixture.run({"policies"});
    FAIL();
  } catch (const BackupEngineError& error) {
    EXPECT_EQ(error.kind(), BackupEngineError::Kind::cannotConnect);
    EXPECT_EQ(error.description(), "Can't read from Jamf Pro: Network error: Connection refused");
  }
  EXPECT_TRUE(fixture.repository().completeBackups().empty());
  EXPECT_FALSE(files::exists(fixture.root() / BackupFormat::lockFile));
}

TEST(BackupEngine, ACaptivePortalIsNoServer) {
  RunFixture fixture;
  fixture.bodies.set("api/v1/jamf-pro-version", "<html>Please log in</html>");
  EXPECT_THROW(fixture.run({}), BackupEngineError);
}

TEST(BackupEngine, ASecondEngineOnTheSameFolderIsLockedOutAndLeavesTheFirstUndisturbed) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 1);
  std::atomic<bool> refused{false};
  fixture.onCall = [&](const auto& call, auto&) {
    if (call.path != "JSSResource/policies") return;
    try {
      BackupEngine(fixture.job({})).run(ResumeInterrupted::yes, {});
    } catch (const BackupEngineError& error) {
      refused = error.kind() == BackupEngineError::Kind::locked;
    }
  };
  EXPECT_EQ(fixture.run({"policies"}).totals.objects, 1);
  EXPECT_TRUE(refused);
}

TEST(BackupEngine, TheSecondBackupIsComparedWithTheFirst) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 4);
  const auto first = fixture.run({"policies"});
  fixture.bodies.set("JSSResource/policies/id/2", R"({"id":2,"name":"changed"})");
  fixture.bodies.set("JSSResource/policies", R"({"policies":[{"id":1},{"id":2},{"id":3},{"id":9}]})");
  fixture.bodies.set("JSSResource/policies/id/9", R"({"id":9})");
  const auto second = fixture.run({"policies"});
  EXPECT_EQ(second.parentBackupID, first.backupID);
  EXPECT_EQ(RunFixture::summary(second, "policies").counts, (ChangeCounts{4, 1, 1, 2, 1, 0}));
  EXPECT_THAT(fixture.index(second, "policies").removed, ElementsAre(RemovedItem{"4", "policies 4"}));
}

TEST(BackupEngine, TwoRunsWithinASecondNeverShareAnId) {
  RunFixture fixture;
  const auto first = fixture.run({});
  const auto second = fixture.run({});
  const auto third = fixture.run({});
  EXPECT_LT(first.backupID, second.backupID);
  EXPECT_LT(second.backupID, third.backupID);
  EXPECT_EQ(fixture.repository().completeBackups().size(), 3U);
}

TEST(BackupEngine, ANewestBackupInTheFutureIsNoted) {
  RunFixture fixture;
  const auto first = fixture.run({});
  files::rename(fixture.repository().backupDirectory(first.backupID),
                fixture.repository().backupDirectory("2999-01-01T000000Z"));
  fixture.run({});
  const auto notes = fixture.eventsOf<BackupEvents::Note>();
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_THAT(notes[0].text, HasSubstr("2999-01-01T000000Z"));
}

TEST(BackupEngine, TheAuditLogOfABackupHoldsItsRequestsAndLocalActions) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 2);
  const auto manifest = fixture.run({"policies"});
  std::vector<std::string> local;
  int requests = 0;
  for (const auto& entry : AuditLog::read(fixture.repository().backupDirectory(manifest.backupID))) {
    if (entry.kind == AuditEntry::Kind::local) {
      local.push_back(entry.method + " " + entry.target);
    } else {
      ++requests;
      EXPECT_EQ(entry.method, "GET");
    }
  }
  EXPECT_THAT(local, ElementsAre("LOCK backup.lock", "START backup into " + fixture.root().string(),
                                 "WRITE backups/" + manifest.backupID));
  EXPECT_EQ(requests, manifest.totals.requests);
}

TEST(BackupEngine, ARunThatLostItsLockDoesNotPublish) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 1);
  fixture.onCall = [&](const auto& call, auto&) {
    if (call.path != "JSSResource/policies/id/1") return;
    BackupLock other{"another-host",          "someone", 7, platform::now(), platform::now(), "x",
                     platform::UUID::random()};
    files::atomicWrite(BackupFormat::makeEncoder().encode(other), fixture.root() / BackupFormat::lockFile);
  };
  try {
    fixture.run({"policies"});
    FAIL();
  } catch (const BackupEngineError& error) {
    EXPECT_EQ(error.kind(), BackupEngineError::Kind::locked);
    EXPECT_EQ(error.by(), "someone on another-host");
  }
  EXPECT_TRUE(fixture.repository().completeBackups().empty());
  EXPECT_TRUE(BackupLock::current(fixture.root()).has_value());
}

TEST(BackupEngine, AnUnreadableLockDoesNotStopARun) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 1);
  fixture.onCall = [&](const auto& call, auto&) {
    if (call.path == "JSSResource/policies") files::atomicWrite("{", fixture.root() / BackupFormat::lockFile);
  };
  EXPECT_EQ(fixture.run({"policies"}).totals.objects, 1);
}

TEST(BackupEngine, ASealedInstanceIsNeverWrittenInTheClear) {
  RunFixture fixture;
  files::atomicWrite(BackupFormat::makeEncoder().encode(
                         EncryptionInfo{1, "ORVIK-AEAD-v1", platform::now(), {{"key-1", "ORVIK-ENC:v1:x"}}}),
                     fixture.root() / BackupFormat::encryptionFile);
  EXPECT_THROW(fixture.run({}), BackupEncryptionError);
  EXPECT_TRUE(fixture.folderNames().empty());
}

TEST(BackupEngine, ASealedInstanceWhoseRecordCannotBeReadIsNotWrittenEither) {
  RunFixture fixture;
  files::atomicWrite("{", fixture.root() / BackupFormat::encryptionFile);
  EXPECT_THROW(fixture.run({}), tuv::Error);
  EXPECT_TRUE(fixture.folderNames().empty());
}

TEST(BackupEngine, ARunThatLostItsLockDoesNotBringItsFolderBack) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 1);
  fixture.onCall = [&](const auto& call, auto&) {
    if (call.path != "JSSResource/policies/id/1") return;
    BackupLock other{"another-host",          "someone", 7, platform::now(), platform::now(), "x",
                     platform::UUID::random()};
    files::atomicWrite(BackupFormat::makeEncoder().encode(other), fixture.root() / BackupFormat::lockFile);
    files::removeTree(fixture.repository().partialDirectory(fixture.repository().partialBackupIDs().at(0)));
  };
  EXPECT_THROW(fixture.run({"policies"}), BackupEngineError);
  for (const auto& id : fixture.repository().partialBackupIDs())
    EXPECT_FALSE(PartialBackupState::load(fixture.repository().partialDirectory(id)));
}

TEST(BackupEngine, ACancelledPausedRunGivesItsLockBackAndStaysResumable) {
  RunFixture fixture;
  BackupEngine engine(fixture.job({}));
  engine.pause();
  std::stop_source stop;
  std::jthread run([&] {
    EXPECT_THROW(engine.run(ResumeInterrupted::yes, {}, stop.get_token()), platform::CancellationError);
  });
  while (fixture.repository().partialBackupIDs().empty()) std::this_thread::yield();
  stop.request_stop();
  run.join();
  EXPECT_FALSE(files::exists(fixture.root() / BackupFormat::lockFile));
  EXPECT_EQ(fixture.repository().partialBackupIDs().size(), 1U);
}

TEST(BackupEngine, AnIndexThatVanishesBeforeTheManifestStopsTheRun) {
  RunFixture fixture;
  fixture.bodies.classicSection("users", "users", 1);
  fixture.bodies.classicSection("policies", "policies", 1);
  fixture.onCall = [&](const auto& call, auto&) {
    if (call.path != "JSSResource/policies") return;
    const auto id = fixture.repository().partialBackupIDs().at(0);
    files::remove(fixture.repository().partialDirectory(id) / "sections/users.json");
  };
  EXPECT_THROW(fixture.run({"users", "policies"}), tuv::Error);
  EXPECT_TRUE(fixture.repository().completeBackups().empty());
}

TEST(BackupEngine, AnUnwritableRootIsOneSentence) {
  RunFixture fixture;
  files::atomicWrite("a file", fixture.root());
  try {
    fixture.run({});
    FAIL();
  } catch (const files::FileError& error) {
    EXPECT_THAT(error.description(), HasSubstr(fixture.root().string()));
  }
}

TEST(BackupEngine, APausedRunGoesOnAfterResume) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 3);
  BackupEngine engine(fixture.job({"policies"}));
  engine.pause();
  std::jthread run([&] { EXPECT_EQ(engine.run(ResumeInterrupted::yes, {}).totals.objects, 3); });
  while (!files::exists(fixture.root() / BackupFormat::lockFile)) std::this_thread::yield();
  EXPECT_TRUE(fixture.reader->calls().empty());
  engine.resume();
}

TEST(RunOrder, IsStableWithinEachRank) {
  const auto order = BackupEngine::runOrder(SectionCatalog::all());
  ASSERT_EQ(order.size(), 78U);
  EXPECT_EQ(order.back().id, "packageFiles");
  EXPECT_EQ(order[0].id, "users");
  EXPECT_EQ(order[1].id, "computerConfigurationProfiles");
}

}  // namespace
}  // namespace orvik
