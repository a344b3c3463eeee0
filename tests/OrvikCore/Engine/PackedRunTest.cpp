#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "OrvikCore/Store/AuditLog.h"
#include "OrvikCore/Store/BackupVerifier.h"
#include "Platform/Files/FaultSeam.h"
#include "tests/Support/Packs.h"
#include "tests/Support/RunFixture.h"

// What a run does at its end: packing its objects, and letting old backups go.

namespace {

using namespace orvik;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
namespace files = platform::files;

const std::set<std::string> sections{"buildings"};

struct PackedRun : testing::Test {
  test::RunFixture fixture;

  PackedRun() {
    fixture.packs = true;
    fixture.bodies.classicSection("buildings", "buildings", 2);
  }
  ~PackedRun() override { BackupEncryption::forgetKeys(); }

  void changeOneObject() { fixture.bodies.set("JSSResource/buildings/id/2", R"({"id":2,"name":"new"})"); }
  std::vector<std::string> packs() const {
    return PackStore::indexNames(fixture.repository().store().packsDirectory());
  }
  std::size_t looseObjects() const { return PackStore::looseObjects(fixture.root()).size(); }
  std::vector<std::string> notes() {
    std::vector<std::string> texts;
    for (const auto& note : fixture.eventsOf<BackupEvents::Note>()) texts.push_back(note.text);
    return texts;
  }
  std::size_t problems(const std::string& id) const {
    const auto repository = fixture.repository();
    return verifyBackup(repository, {id, repository.manifest(id).value()}, [](const auto&) {}).problems;
  }
};

TEST_F(PackedRun, AJobPacksUnlessItIsToldOtherwise) {
  EXPECT_TRUE(BackupJob().packLooseObjects);
  EXPECT_FALSE(BackupJob().retention);
}

TEST_F(PackedRun, MovesItsObjectsIntoOnePackAndSaysSo) {
  const auto manifest = fixture.run(sections);
  EXPECT_EQ(looseObjects(), 0U);
  EXPECT_THAT(packs(), ElementsAre(testing::MatchesRegex("loose-[0-9a-f]{8}\\.idx")));
  EXPECT_THAT(notes(),
              Contains("Moved 2 single object files into one pack file (fewer files for the sync service)."));
  EXPECT_EQ(problems(manifest.backupID), 0U);

  const auto audit = AuditLog::read(fixture.repository().backupDirectory(manifest.backupID));
  ASSERT_FALSE(audit.empty());
  EXPECT_EQ(audit.back().method, "PACK");
  EXPECT_EQ(audit.back().target, "store/objects");
  EXPECT_EQ(audit.back().detail, "2 loose objects moved into one pack");
}

TEST_F(PackedRun, ARunThatFindsNothingNewPacksNothingAndSaysNothing) {
  const auto first = fixture.run(sections);
  fixture.events.clear();
  const auto second = fixture.run(sections);
  EXPECT_EQ(packs().size(), 1U);
  EXPECT_EQ(looseObjects(), 0U);
  EXPECT_THAT(notes(), IsEmpty());
  EXPECT_NE(AuditLog::read(fixture.repository().backupDirectory(second.backupID)).back().method, "PACK");
  EXPECT_EQ(problems(first.backupID) + problems(second.backupID), 0U);
}

TEST_F(PackedRun, OnlyWhatIsNewGoesIntoTheNextPack) {
  fixture.run(sections);
  changeOneObject();
  const auto second = fixture.run(sections);
  EXPECT_EQ(packs().size(), 2U);
  EXPECT_EQ(fixture.index(second, "buildings").items[1].change, IndexItem::Change::changed);
  EXPECT_EQ(problems(second.backupID), 0U);
}

TEST_F(PackedRun, ASealedRunPacksItsSealedObjects) {
  fixture.seals = true;
  const auto manifest = fixture.run(sections);
  EXPECT_EQ(looseObjects(), 0U);
  const auto hash = fixture.index(manifest, "buildings").items[0].objects.begin()->second;
  EXPECT_TRUE(BackupCipher::isSealed(fixture.repository().store().stored(hash)));
  EXPECT_EQ(problems(manifest.backupID), 0U);
  BackupEncryption::forgetKeys();
  fixture.unlockAfresh();
  EXPECT_EQ(problems(manifest.backupID), 0U);
}

TEST_F(PackedRun, APackThatCanNotBeWrittenStopsTheRunWhichIsTakenUpLater) {
  test::write(fixture.root() / "store/packs", "a file in the way");
  EXPECT_THROW(fixture.run(sections), files::FileError);
  EXPECT_EQ(fixture.repository().completeBackups().size(), 0U);
  files::remove(fixture.root() / "store/packs");
  const auto manifest = fixture.run(sections);
  EXPECT_EQ(fixture.folderNames(), std::vector<std::string>{manifest.backupID});
  EXPECT_EQ(problems(manifest.backupID), 0U);
  EXPECT_TRUE(fixture.eventsOf<BackupEvents::Started>().back().resumed);
}

TEST_F(PackedRun, WhatThisProcessRemembersOfPacksIsForgottenBeforeARun) {
  const auto first = fixture.run(sections);
  const auto hash = fixture.index(first, "buildings").items[0].objects.begin()->second;
  EXPECT_TRUE(fixture.repository().store().has(hash, ObjectStore::IncludingOverlay::no));
  // Another process deletes the backup and collects its garbage within the second of this one's memory.
  files::removeTree(fixture.repository().backupDirectory(first.backupID));
  files::removeTree(fixture.root() / "store/packs");
  EXPECT_TRUE(fixture.repository().store().has(hash, ObjectStore::IncludingOverlay::no)) << "remembered";
  EXPECT_EQ(problems(fixture.run(sections).backupID), 0U);
}

struct RetainingRun : PackedRun {
  BackupManifest run(RetentionPolicy policy, const std::stop_token& stop = {}) {
    auto job = fixture.job(sections);
    job.retention = policy;
    return BackupEngine(job).run(ResumeInterrupted::yes, fixture.onEvent(), stop);
  }
};

TEST_F(RetainingRun, OldBackupsGoAfterTheNewOneIsPublished) {
  const auto first = fixture.run(sections);
  changeOneObject();
  const auto second = run({1, 0});
  EXPECT_EQ(fixture.folderNames(), std::vector<std::string>{second.backupID});
  const auto results = fixture.eventsOf<BackupEvents::Retention>();
  ASSERT_EQ(results.size(), 1U);
  EXPECT_THAT(results[0].result.removedBackups, ElementsAre(first.backupID));
  EXPECT_EQ(results[0].result.removedObjects, 1);
  EXPECT_EQ(problems(second.backupID), 0U);
}

TEST_F(RetainingRun, WithoutAPolicyNothingIsDeletedAndNothingTold) {
  const auto first = fixture.run(sections);
  fixture.repository().store().put("[\"garbage\"]");
  fixture.run(sections);
  EXPECT_EQ(fixture.folderNames().size(), 2U);
  EXPECT_THAT(fixture.eventsOf<BackupEvents::Retention>(), IsEmpty());
}

/// The disk fails once at the n-th operation behind the packing. True when the run got past it.
bool endsWell(std::uint64_t n, int& failedRetentions) {
  test::RunFixture fixture;
  fixture.packs = true;
  fixture.bodies.classicSection("buildings", "buildings", 2);
  const auto first = fixture.run(sections);
  fixture.bodies.set("JSSResource/buildings/id/2", R"({"id":2,"name":"new"})");
  auto job = fixture.job(sections);
  job.retention = RetentionPolicy{1, 0};
  bool reached = false;
  try {
    BackupEngine(job).run(ResumeInterrupted::yes, [&](const BackupEvent& event) {
      const auto* note = std::get_if<BackupEvents::Note>(&event);
      if (note && note->text.starts_with("Moved")) files::armFaultSeam(n, files::FaultAction::fail, EIO);
      if (note && note->text.starts_with("Retention failed: Can't")) ++failedRetentions;
    });
  } catch (const files::FileError&) {
  }
  reached = files::operationsSinceArmed() >= n;
  files::disarmFaultSeam();

  // Published with both backups, or without the old one, or still to be resumed: never less than one whole.
  for (const auto& backup : fixture.repository().completeBackups())
    EXPECT_EQ(verifyBackup(fixture.repository(), backup, [](const auto&) {}).problems, 0U) << n;
  EXPECT_GE(fixture.repository().completeBackups().size(), 1U) << n;
  return !reached;
}

TEST(RetainingRunOnABreakingDisk, AFailureOfRetentionIsANoteAndTheBackupStands) {
  int failedRetentions = 0;
  std::uint64_t n = 1;
  while (!endsWell(n, failedRetentions)) ASSERT_LT(++n, 50U);
  EXPECT_GT(failedRetentions, 0);
}

}  // namespace
