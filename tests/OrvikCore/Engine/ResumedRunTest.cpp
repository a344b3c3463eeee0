#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Engine/BackupEngine.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/RunFixture.h"

// Runs that are taken up, and what an interrupted one leaves.

namespace orvik {
namespace {

namespace files = platform::files;
using test::RunFixture;
using testing::ElementsAre;
using testing::HasSubstr;
using Status = SectionSummary::Status;

TEST(ResumedRun, ACancelledRunStaysResumableAndGivesTheLockBack) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 5);
  std::stop_source stop;
  fixture.stopAt("JSSResource/policies/id/3", stop);
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

TEST(ResumedRun, AResumedRunReadsNeitherFinishedSectionsNorJournaledItemsAgain) {
  RunFixture fixture;
  fixture.bodies.classicSection("users", "users", 3);
  fixture.bodies.classicSection("policies", "policies", 30);
  auto job = fixture.job({"users", "policies"});
  job.options.maxConcurrentRequests = 1;  // one after another: what stands before the stop is journaled
  std::stop_source stop;
  fixture.stopAt("JSSResource/policies/id/20", stop);
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

TEST(ResumedRun, AResumedRunKeepsItsFirstOptionsAndSaysSo) {
  RunFixture fixture;
  std::stop_source stop;
  fixture.stopAt("api/v1/auth", stop);
  EXPECT_THROW(fixture.run({"policies"}, ResumeInterrupted::yes, stop.get_token()),
               platform::CancellationError);
  fixture.onCall = {};
  const auto manifest = fixture.run({"users"});
  EXPECT_EQ(RunFixture::summary(manifest, "users").status, Status::disabled);
  ASSERT_EQ(fixture.eventsOf<BackupEvents::Note>().size(), 1U);
  EXPECT_THAT(fixture.eventsOf<BackupEvents::Note>()[0].text, HasSubstr("options that it was started with"));
}

TEST(ResumedRun, WithoutResumeTheInterruptedRunIsDeletedAndAFreshOneStarts) {
  RunFixture fixture;
  std::stop_source stop;
  fixture.stopAt("api/v1/auth", stop);
  EXPECT_THROW(fixture.run({}, ResumeInterrupted::yes, stop.get_token()), platform::CancellationError);
  const auto interrupted = fixture.repository().partialBackupIDs().at(0);
  fixture.onCall = {};
  const auto manifest = fixture.run({}, ResumeInterrupted::no);
  EXPECT_NE(manifest.backupID, interrupted);
  EXPECT_THAT(fixture.folderNames(), ElementsAre(manifest.backupID));
}

TEST(ResumedRun, ANewParentMakesAnOldPartialUnusable) {
  RunFixture fixture;
  std::stop_source stop;
  fixture.stopAt("api/v1/auth", stop);
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

TEST(ResumedRun, AJournaledItemWithoutContentIsReadAgain) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 4);
  auto job = fixture.job({"policies"});
  job.options.maxConcurrentRequests = 1;
  std::stop_source stop;
  fixture.stopAt("JSSResource/policies/id/4", stop);
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

TEST(ResumedRun, AFinishedSectionWithHollowContentOrWithoutItsIndexIsReadAgain) {
  RunFixture fixture;
  fixture.bodies.classicSection("users", "users", 2);
  fixture.bodies.classicSection("buildings", "buildings", 2);
  fixture.bodies.classicSection("sites", "sites", 2);
  fixture.bodies.classicSection("webhooks", "webhooks", 1);
  std::stop_source stop;
  fixture.stopAt("JSSResource/webhooks", stop);
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

TEST(ResumedRun, ASectionThatCannotBeReadAgainLeavesNoIndexOfItsEarlierAttempt) {
  RunFixture fixture;
  fixture.bodies.classicSection("users", "users", 2);
  fixture.bodies.classicSection("webhooks", "webhooks", 1);
  std::stop_source stop;
  fixture.stopAt("JSSResource/webhooks", stop);
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

TEST(ResumedRun, AResumeThatReadsAnEarlySectionAgainKeepsTheLaterOnes) {
  RunFixture fixture;
  for (const auto* name : {"users", "sites", "webhooks"}) fixture.bodies.classicSection(name, name, 1);
  const std::set<std::string> sections{"users", "sites", "webhooks"};
  std::stop_source first;
  fixture.stopAt("JSSResource/webhooks", first);
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

TEST(ResumedRun, TheTemporaryFilesOfACrashAreNotPublished) {
  RunFixture fixture;
  std::stop_source stop;
  fixture.stopAt("api/v1/auth", stop);
  EXPECT_THROW(fixture.run({}, ResumeInterrupted::yes, stop.get_token()), platform::CancellationError);
  const auto partial = fixture.repository().partialDirectory(fixture.repository().partialBackupIDs().at(0));
  files::atomicWrite("x", partial / ".state.json.0.tmp");
  files::atomicWrite("x", partial / "sections/.users.json.0.tmp");
  fixture.onCall = {};
  const auto folder = fixture.repository().backupDirectory(fixture.run({}).backupID);
  EXPECT_FALSE(files::exists(folder / ".state.json.0.tmp"));
  EXPECT_FALSE(files::exists(folder / "sections/.users.json.0.tmp"));
}

TEST(ResumedRun, OfSeveralQualifyingPartialsTheNewestIsTaken) {
  RunFixture fixture;
  for (const auto* id : {"2001-01-01T000000Z", "2003-01-01T000000Z", "2002-01-01T000000Z"})
    PartialBackupState{id, {}, {}, fixture.job({}).options, 0, false}.save(
        fixture.repository().partialDirectory(id));
  EXPECT_EQ(fixture.run({}).backupID, "2003-01-01T000000Z");
}

TEST(ResumedRun, APartialOfASealedRunOrWithAnUnreadableStateDoesNotQualify) {
  RunFixture fixture;
  PartialBackupState{"2001-01-01T000000Z", {}, {}, fixture.job({}).options, 0, true}.save(
      fixture.repository().partialDirectory("2001-01-01T000000Z"));
  files::atomicWrite("{", fixture.repository().partialDirectory("2002-01-01T000000Z") / "state.json");
  const auto manifest = fixture.run({});
  EXPECT_THAT(fixture.folderNames(), ElementsAre(manifest.backupID));
}

TEST(ResumedRun, ATornJournalLineIsIgnoredAndNotGluedToTheNext) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 6);
  auto job = fixture.job({"policies"});
  job.options.maxConcurrentRequests = 1;  // one after another, so that a stop leaves known items for the next
  const auto run = [&](const std::stop_token& stop) {
    return BackupEngine(job).run(ResumeInterrupted::yes, fixture.onEvent(), stop);
  };
  std::stop_source stop;
  fixture.stopAt("JSSResource/policies/id/4", stop);
  EXPECT_THROW(run(stop.get_token()), platform::CancellationError);
  const auto partial = fixture.repository().partialDirectory(fixture.repository().partialBackupIDs().at(0));
  const auto before = BackupJournal::read(partial).size();
  files::AppendFile(partial / BackupFormat::journalFile)
      .append(R"({"section":"policies","item":{"id":"6","obj)");
  std::stop_source again;
  fixture.stopAt("JSSResource/policies/id/6", again);
  EXPECT_THROW(run(again.get_token()), platform::CancellationError);
  fixture.onCall = {};
  const auto entries = BackupJournal::read(partial);
  EXPECT_GT(entries.size(), before);
  for (const auto& entry : entries) EXPECT_FALSE(entry.item.objects.empty());
  EXPECT_EQ(run({}).totals.objects, 6);
}

}  // namespace
}  // namespace orvik
