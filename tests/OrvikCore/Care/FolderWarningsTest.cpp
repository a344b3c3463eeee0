#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <ostream>

#include "OrvikCore/Care/FolderCheck.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "OrvikCore/Store/BackupLock.h"
#include "tests/Support/CheckedFolder.h"

namespace orvik {
namespace {

using test::CheckedFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Kind = Finding::Kind;
namespace files = platform::files;

// What is worth knowing without anything being lost.

struct Remark {
  const char* name;
  std::function<void(const CheckedFolder&)> plant;
  const char* found;
};

void PrintTo(const Remark& remark, std::ostream* out) { *out << remark.name; }

void placeLock(const CheckedFolder& folder, const char* heartbeat) {
  const BackupLock lock{"another host", "admin", 1, test::date(heartbeat), test::date(heartbeat), "test", {}};
  test::write(folder.folder / "backup.lock", BackupFormat::makeEncoder().encode(lock));
}

class PlantedRemark : public testing::TestWithParam<Remark> {};

TEST_P(PlantedRemark, IsFoundAndIsNoDamage) {
  const CheckedFolder folder;
  GetParam().plant(folder);
  const auto check = folder.check();
  EXPECT_EQ(check.damage(), 0U);
  EXPECT_THAT(CheckedFolder::kinds(check, false), ElementsAre(GetParam().found));
}

INSTANTIATE_TEST_SUITE_P(
    All, PlantedRemark,
    testing::Values(
        Remark{"LockOfTheFuture", [](auto& f) { placeLock(f, "2035-01-01T00:00:00Z"); }, "lockAhead"},
        Remark{"StaleLock", [](auto& f) { placeLock(f, "2025-01-01T00:00:00Z"); }, "lockStale"},
        Remark{"GarbledLock", [](auto& f) { test::write(f.folder / "backup.lock", "torn"); },
               "lockUnreadable"},
        Remark{"StrayPack", [](auto& f) { test::write(f.folder / "store/packs/stray.pack", "abc"); },
               "packWithoutIndex"},
        Remark{"Garbage", [](auto& f) { f.put("{\"garbage\":1}"); }, "unreferenced"},
        Remark{"StrayFile", [](auto& f) { test::write(f.folder / "store/objects/ab/readme.txt", "x"); },
               "stray"},
        Remark{"ObjectInAnotherShard",
               [](auto& f) { test::write(f.folder / "store/objects/zz" / (f.single[0] + ".json"), "x"); },
               "stray"},
        Remark{"StrayFileAmongBackups", [](auto& f) { test::write(f.folder / "backups/readme.txt", "x"); },
               "stray"},
        Remark{"UndeclaredIndex",
               [](auto& f) {
                 BackupRepository::writeIndex(test::emptyIndex("other"), f.sectionPath(f.second, "other"),
                                              {});
               },
               "indexUndeclared"},
        Remark{"RunThatCannotBeTakenUp",
               [](auto& f) { files::createDirectories(f.repository.partialDirectory("2025-03-05T120000Z")); },
               "runUnreadable"},
        Remark{"OldTemporaryFile",
               [](auto& f) {
                 const auto inPacks = f.folder / "store/packs/.x.6F9619FF-8B86-D011-B42D-00CF4FC964FF.tmp";
                 test::write(inPacks, "x");
                 std::filesystem::last_write_time(inPacks, std::filesystem::file_time_type::clock::from_sys(
                                                               test::date("2025-01-01T00:00:00Z")));
               },
               "leftover"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(FolderWarningsTest, ABackupOfTheFutureIsTold) {
  const CheckedFolder folder;
  const auto check = folder.check({}, test::date("2025-01-01T00:00:00Z"));
  EXPECT_THAT(CheckedFolder::kinds(check, false), ElementsAre("backupAhead"));
}

TEST(FolderWarningsTest, AnswersThatAreNoJSONAreCountedBySection) {
  const CheckedFolder folder;
  const auto page = folder.put("<html>Please sign in</html>");
  const auto other = folder.put("Bad gateway");
  auto scripts = CheckedFolder::section("scripts", {test::itemWithID("1"), test::itemWithID("2")});
  scripts.items[0].objects = {{"json", page}};
  scripts.items[1].objects = {{"json", other}};
  folder.publish(CheckedFolder::third, {scripts});
  const auto check = folder.check(Reading::everything(), test::date("2025-03-07T00:00:00Z"));
  EXPECT_EQ(check.damage(), 0U);
  const auto finding = CheckedFolder::findingOf(check, Kind::notJSON);
  ASSERT_TRUE(finding);
  EXPECT_THAT(finding->text, HasSubstr("2 answers of section scripts are no JSON"));
  EXPECT_THAT(finding->path, HasSubstr(CheckedFolder::third));
}

TEST(FolderWarningsTest, WhatAnInterruptedRunLacksIsNoDamageAndWhatItHasIsNoGarbage) {
  const CheckedFolder folder;
  const auto partial = folder.repository.partialDirectory("2025-03-05T120000Z");
  files::createDirectories(partial);
  PartialBackupState{
      "2025-03-05T120000Z", test::date("2025-03-05T12:00:00Z"), {}, test::plainOptions(), 2, false}
      .save(partial);
  BackupJournal journal(partial);
  auto entry = test::journalEntry("policies", "9");
  entry.item.objects = {{"json", folder.put("{\"journaled\":1}")}, {"xml", std::string(64, 'a')}};
  journal.append(entry);
  EXPECT_THAT(CheckedFolder::kinds(folder.check(), false), IsEmpty());
}

TEST(FolderWarningsTest, AnObjectThatOnlyADamagedManifestNamesIsNoGarbage) {
  const CheckedFolder folder;
  files::remove(folder.manifestPath());
  EXPECT_THAT(CheckedFolder::kinds(folder.check(), false), ElementsAre("manifestMissing"));
}

}  // namespace
}  // namespace orvik
