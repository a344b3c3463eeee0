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

std::vector<std::string> folderNames(const RunFixture& fixture) {
  return files::visibleNames(fixture.repository().backupsDirectory());
}

/// Stops a run when it asks for `path`.
void stopAt(RunFixture& fixture, std::string path, std::stop_source& stop) {
  fixture.onCall = [path = std::move(path), &stop](const auto& call, auto&) {
    if (call.path == path) stop.request_stop();
  };
}

TEST(BackupEngine, PublishesABackupWithAllItSaysOfItself) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 3);
  const auto manifest = fixture.run({"policies"});

  EXPECT_THAT(folderNames(fixture), ElementsAre(manifest.backupID));
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

TEST(BackupEngine, ACancelledRunStaysResumableAndGivesTheLockBack) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 5);
  std::stop_source stop;
  stopAt(fixture, "JSSResource/policies/id/3", stop);
  EXPECT_THROW(fixture.run({"policies"}, ResumeInterrupted::yes, stop.get_token()),
               platform::CancellationError);
  ASSERT_EQ(fixture.repository().partialBackupIDs().size(), 1U);
  const auto id = fixture.repository().partialBackupIDs()[0];
  EXPECT_TRUE(PartialBackupState::load(fixture.repository().partialDirectory(id)));
  EXPECT_FALSE(files::exists(fixture.root() / BackupFormat::lockFile));
  EXPECT_TRUE(fixture.repository().completeBackups().empty());

  fixture.onCall = {};
  const auto manifest = fixture.run({"policies"});
  EXPECT_EQ(manifest.backupID, id);
  EXPECT_EQ(manifest.totals.objects, 5);
  EXPECT_EQ(fixture.index(manifest, "policies").errors.size(), 0U);
  EXPECT_TRUE(fixture.eventsOf<BackupEvents::Started>().back().resumed);
}

TEST(BackupEngine, AResumedRunReadsNeitherFinishedSectionsNorJournaledItemsAgain) {
  RunFixture fixture;
  fixture.bodies.classicSection("users", "users", 3);
  fixture.bodies.classicSection("policies", "policies", 30);
  auto job = fixture.job({"users", "policies"});
  job.options.maxConcurrentRequests = 1;  // one after another: what stands before the stop is journaled
  std::stop_source stop;
  stopAt(fixture, "JSSResource/policies/id/20", stop);
  EXPECT_THROW(BackupEngine(job).run(ResumeInterrupted::yes, {}, stop.get_token()),
               platform::CancellationError);
  fixture.onCall = {};
  const auto before = fixture.reader->calls().size();
  const auto manifest = BackupEngine(job).run(ResumeInterrupted::yes, {});
  EXPECT_EQ(fixture.reader->count("JSSResource/users"), 1U);
  EXPECT_EQ(fixture.reader->count("JSSResource/policies"), 2U);
  EXPECT_EQ(fixture.reader->count("JSSResource/policies/id/1"), 1U);
  EXPECT_EQ(manifest.totals.objects, 33);
  EXPECT_GT(manifest.totals.requests, static_cast<int>(fixture.reader->calls().size() - before));
  EXPECT_EQ(manifest.totals.requests, static_cast<int>(fixture.reader->calls().size()));
}

TEST(BackupEngine, AResumedRunKeepsItsFirstOptionsAndSaysSo) {
  RunFixture fixture;
  std::stop_source stop;
  stopAt(fixture, "api/v1/auth", stop);
  EXPECT_THROW(fixture.run({"policies"}, ResumeInterrupted::yes, stop.get_token()),
               platform::CancellationError);
  fixture.onCall = {};
  const auto manifest = fixture.run({"users"});
  EXPECT_EQ(RunFixture::summary(manifest, "users").status, Status::disabled);
  ASSERT_EQ(fixture.eventsOf<BackupEvents::Note>().size(), 1U);
  EXPECT_THAT(fixture.eventsOf<BackupEvents::Note>()[0].text, HasSubstr("options that it was started with"));
}

TEST(BackupEngine, WithoutResumeTheInterruptedRunIsDeletedAndAFreshOneStarts) {
  RunFixture fixture;
  std::stop_source stop;
  stopAt(fixture, "api/v1/auth", stop);
  EXPECT_THROW(fixture.run({}, ResumeInterrupted::yes, stop.get_token()), platform::CancellationError);
  const auto interrupted = fixture.repository().partialBackupIDs().at(0);
  fixture.onCall = {};
  const auto manifest = fixture.run({}, ResumeInterrupted::no);
  EXPECT_NE(manifest.backupID, interrupted);
  EXPECT_THAT(folderNames(fixture), ElementsAre(manifest.backupID));
}

TEST(BackupEngine, ANewParentMakesAnOldPartialUnusable) {
  RunFixture fixture;
  std::stop_source stop;
  stopAt(fixture, "api/v1/auth", stop);
  EXPECT_THROW(fixture.run({}, ResumeInterrupted::yes, stop.get_token()), platform::CancellationError);
  const auto interrupted = fixture.repository().partialBackupIDs().at(0);
  fixture.onCall = {};

  RunFixture other;
  const auto published = other.run({});
  files::rename(other.repository().backupDirectory(published.backupID),
                fixture.repository().backupDirectory("2001-01-01T000000Z"));
  const auto manifest = fixture.run({});
  EXPECT_FALSE(fixture.eventsOf<BackupEvents::Started>().back().resumed);
  EXPECT_NE(manifest.backupID, interrupted);
  EXPECT_EQ(manifest.parentBackupID, "2001-01-01T000000Z");
  EXPECT_TRUE(fixture.repository().partialBackupIDs().empty());
}

TEST(BackupEngine, AJournaledItemWithoutContentIsReadAgain) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 4);
  auto job = fixture.job({"policies"});
  job.options.maxConcurrentRequests = 1;
  std::stop_source stop;
  stopAt(fixture, "JSSResource/policies/id/4", stop);
  EXPECT_THROW(BackupEngine(job).run(ResumeInterrupted::yes, {}, stop.get_token()),
               platform::CancellationError);
  fixture.onCall = {};

  const auto partial = fixture.repository().partialDirectory(fixture.repository().partialBackupIDs().at(0));
  const auto entries = BackupJournal::read(partial);
  ASSERT_GE(entries.size(), 2U);
  const auto store = fixture.repository().store();
  files::remove(store.objectURL(entries[0].item.objects.at("classic")));
  files::atomicWrite("", store.objectURL(entries[1].item.objects.at("classic")));
  const auto manifest = BackupEngine(job).run(ResumeInterrupted::yes, {});
  EXPECT_EQ(fixture.reader->count("JSSResource/policies/id/1"), 2U);
  EXPECT_EQ(fixture.reader->count("JSSResource/policies/id/2"), 2U);
  EXPECT_EQ(fixture.reader->count("JSSResource/policies/id/3"), 1U);
  for (const auto& item : fixture.index(manifest, "policies").items)
    EXPECT_TRUE(store.isIntact(item.objects.at("classic"), store.stored(item.objects.at("classic"))));
}

TEST(BackupEngine, AFinishedSectionWithHollowContentOrWithoutItsIndexIsReadAgain) {
  RunFixture fixture;
  fixture.bodies.classicSection("users", "users", 2);
  fixture.bodies.classicSection("buildings", "buildings", 2);
  fixture.bodies.classicSection("sites", "sites", 2);
  fixture.bodies.classicSection("webhooks", "webhooks", 1);
  std::stop_source stop;
  stopAt(fixture, "JSSResource/webhooks", stop);
  const std::set<std::string> sections{"users", "buildings", "sites", "webhooks"};
  EXPECT_THROW(fixture.run(sections, ResumeInterrupted::yes, stop.get_token()), platform::CancellationError);
  fixture.onCall = {};

  const auto partial = fixture.repository().partialDirectory(fixture.repository().partialBackupIDs().at(0));
  const auto users = BackupRepository::loadIndex(partial, "users", std::nullopt).value();
  files::atomicWrite("", fixture.repository().store().objectURL(users.items[0].objects.at("classic")));
  files::remove(partial / "sections/buildings.json");
  const auto manifest = fixture.run(sections);
  EXPECT_EQ(fixture.reader->count("JSSResource/users"), 2U);
  EXPECT_EQ(fixture.reader->count("JSSResource/buildings"), 2U);
  EXPECT_EQ(fixture.reader->count("JSSResource/sites"), 1U);
  EXPECT_EQ(manifest.totals.objects, 7);
  EXPECT_TRUE(fixture.repository().store().hasContent(users.items[0].objects.at("classic"),
                                                      ObjectStore::IncludingOverlay::no));
}

TEST(BackupEngine, ASectionThatCannotBeReadAgainLeavesNoIndexOfItsEarlierAttempt) {
  RunFixture fixture;
  fixture.bodies.classicSection("users", "users", 2);
  fixture.bodies.classicSection("webhooks", "webhooks", 1);
  std::stop_source stop;
  stopAt(fixture, "JSSResource/webhooks", stop);
  EXPECT_THROW(fixture.run({"users", "webhooks"}, ResumeInterrupted::yes, stop.get_token()),
               platform::CancellationError);
  fixture.onCall = {};
  const auto partial = fixture.repository().partialDirectory(fixture.repository().partialBackupIDs().at(0));
  const auto users = BackupRepository::loadIndex(partial, "users", std::nullopt).value();
  files::remove(fixture.repository().store().objectURL(users.items[0].objects.at("classic")));
  fixture.bodies.fail("JSSResource/users", 403);
  const auto manifest = fixture.run({"users", "webhooks"});
  EXPECT_EQ(RunFixture::summary(manifest, "users").status, Status::notPermitted);
  EXPECT_FALSE(fixture.repository().index(manifest.backupID, "users"));
}

TEST(BackupEngine, AResumeThatReadsAnEarlySectionAgainKeepsTheLaterOnes) {
  RunFixture fixture;
  for (const auto* name : {"users", "sites", "webhooks"}) fixture.bodies.classicSection(name, name, 1);
  const std::set<std::string> sections{"users", "sites", "webhooks"};
  std::stop_source first;
  stopAt(fixture, "JSSResource/webhooks", first);
  EXPECT_THROW(fixture.run(sections, ResumeInterrupted::yes, first.get_token()), platform::CancellationError);
  const auto partial = fixture.repository().partialDirectory(fixture.repository().partialBackupIDs().at(0));
  files::remove(partial / "sections/users.json");
  std::stop_source second;
  fixture.onCall = {};
  auto job = fixture.job(sections);
  const auto stopBehindUsers = [&](const BackupEvent& event) {
    const auto* finished = std::get_if<BackupEvents::SectionFinished>(&event);
    if (finished && finished->summary.id == "users") second.request_stop();
  };
  EXPECT_THROW(BackupEngine(job).run(ResumeInterrupted::yes, stopBehindUsers, second.get_token()),
               platform::CancellationError);
  fixture.run(sections);
  EXPECT_EQ(fixture.reader->count("JSSResource/users"), 2U);
  EXPECT_EQ(fixture.reader->count("JSSResource/sites"), 1U);
}

TEST(BackupEngine, TheTemporaryFilesOfACrashAreNotPublished) {
  RunFixture fixture;
  std::stop_source stop;
  stopAt(fixture, "api/v1/auth", stop);
  EXPECT_THROW(fixture.run({}, ResumeInterrupted::yes, stop.get_token()), platform::CancellationError);
  const auto partial = fixture.repository().partialDirectory(fixture.repository().partialBackupIDs().at(0));
  files::atomicWrite("x", partial / ".state.json.0.tmp");
  files::atomicWrite("x", partial / "sections/.users.json.0.tmp");
  fixture.onCall = {};
  const auto folder = fixture.repository().backupDirectory(fixture.run({}).backupID);
  EXPECT_FALSE(files::exists(folder / ".state.json.0.tmp"));
  EXPECT_FALSE(files::exists(folder / "sections/.users.json.0.tmp"));
}

TEST(BackupEngine, OfSeveralQualifyingPartialsTheNewestIsTaken) {
  RunFixture fixture;
  for (const auto* id : {"2001-01-01T000000Z", "2003-01-01T000000Z", "2002-01-01T000000Z"})
    PartialBackupState{id, {}, {}, fixture.job({}).options, 0, false}.save(
        fixture.repository().partialDirectory(id));
  EXPECT_EQ(fixture.run({}).backupID, "2003-01-01T000000Z");
}

TEST(BackupEngine, APartialOfASealedRunOrWithAnUnreadableStateDoesNotQualify) {
  RunFixture fixture;
  PartialBackupState{"2001-01-01T000000Z", {}, {}, fixture.job({}).options, 0, true}.save(
      fixture.repository().partialDirectory("2001-01-01T000000Z"));
  files::atomicWrite("{", fixture.repository().partialDirectory("2002-01-01T000000Z") / "state.json");
  const auto manifest = fixture.run({});
  EXPECT_THAT(folderNames(fixture), ElementsAre(manifest.backupID));
}

TEST(BackupEngine, ATornJournalLineIsIgnoredAndNotGluedToTheNext) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 6);
  auto job = fixture.job({"policies"});
  job.options.maxConcurrentRequests = 1;  // one after another, so that a stop leaves known items for the next
  const auto run = [&](const std::stop_token& stop) {
    return BackupEngine(job).run(ResumeInterrupted::yes, fixture.onEvent(), stop);
  };
  std::stop_source stop;
  stopAt(fixture, "JSSResource/policies/id/4", stop);
  EXPECT_THROW(run(stop.get_token()), platform::CancellationError);
  const auto partial = fixture.repository().partialDirectory(fixture.repository().partialBackupIDs().at(0));
  const auto before = BackupJournal::read(partial).size();
  files::AppendFile(partial / BackupFormat::journalFile)
      .append(R"({"section":"policies","item":{"id":"6","obj)");
  std::stop_source again;
  stopAt(fixture, "JSSResource/policies/id/6", again);
  EXPECT_THROW(run(again.get_token()), platform::CancellationError);
  fixture.onCall = {};
  const auto entries = BackupJournal::read(partial);
  EXPECT_GT(entries.size(), before);
  for (const auto& entry : entries) EXPECT_FALSE(entry.item.objects.empty());
  EXPECT_EQ(run({}).totals.objects, 6);
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
  EXPECT_TRUE(folderNames(fixture).empty());
}

TEST(BackupEngine, ASealedInstanceWhoseRecordCannotBeReadIsNotWrittenEither) {
  RunFixture fixture;
  files::atomicWrite("{", fixture.root() / BackupFormat::encryptionFile);
  EXPECT_THROW(fixture.run({}), tuv::Error);
  EXPECT_TRUE(folderNames(fixture).empty());
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
