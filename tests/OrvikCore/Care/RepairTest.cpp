#include "OrvikCore/Care/Repair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "OrvikCore/Care/KeyRecord.h"
#include "OrvikCore/Care/Quarantine.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/BackupVerifier.h"
#include "tests/Support/CheckedFolder.h"
#include "tests/Support/FolderState.h"
#include "tests/Support/SmallBackups.h"

namespace orvik {
namespace {

using test::CheckedFolder;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using Kind = Finding::Kind;
namespace files = platform::files;

/// Damage that a repair puts out of the way, so that the next backup heals it.
struct Case {
  const char* name;
  std::function<void(const CheckedFolder&)> plant;
};

void PrintTo(const Case& each, std::ostream* out) { *out << each.name; }

void cutPack(const CheckedFolder& folder, std::int64_t size) {
  std::filesystem::resize_file(folder.packPath(), static_cast<std::uintmax_t>(size));
}

const std::vector<Case>& allCases() {
  static const std::vector<Case> cases{
      {"Nothing", [](auto&) {}},
      {"ObjectByteFlipped", [](auto& f) { test::flipByte(f.objectPath(f.single[0]), 4); }},
      {"ObjectEmptied", [](auto& f) { test::write(f.objectPath(f.single[0]), ""); }},
      {"ObjectDeleted", [](auto& f) { files::remove(f.objectPath(f.single[0])); }},
      {"EmptyFileInFrontOfAPackedObject", [](auto& f) { test::write(f.objectPath(f.packed[0]), ""); }},
      {"FirstPackEntryFlipped", [](auto& f) { f.flipInPack(0); }},
      {"LastPackEntryFlipped", [](auto& f) { f.flipInPack(2); }},
      {"EveryPackEntryFlipped",
       [](auto& f) {
         for (std::size_t i = 0; i < 3; ++i) f.flipInPack(i);
       }},
      {"PackEmptied", [](auto& f) { cutPack(f, 0); }},
      {"PackCutToOneByte", [](auto& f) { cutPack(f, 1); }},
      {"PackCutInAnEntry", [](auto& f) { cutPack(f, f.rangeOf(f.packed[1]).offset + 3); }},
      {"PackCutBetweenEntries", [](auto& f) { cutPack(f, f.rangeOf(f.packed[2]).offset); }},
      {"PackDeleted", [](auto& f) { files::remove(f.packPath()); }},
      {"PackIndexDeleted", [](auto& f) { files::remove(f.indexPath()); }},
      {"PackIndexEmptied", [](auto& f) { test::write(f.indexPath(), ""); }},
      {"PackIndexGarbled", [](auto& f) { test::write(f.indexPath(), "torn"); }},
      {"PackIndexDeletedAndEntryFlipped",
       [](auto& f) {
         f.flipInPack(1);
         files::remove(f.indexPath());
       }},
      {"PackIndexOfAnotherPack",
       [](auto& f) {
         const auto range = f.rangeOf(f.packed[0]);
         test::write(
             test::packsOf(f.folder.path()) / "foreign.idx",
             test::indexText(f.packPath().filename().string(),
                             {{f.packed[1], test::rangeText(static_cast<std::size_t>(range.offset), 3)},
                              {"../x", "[0,1]"}}));
       }},
      {"PackageFileFlipped", [](auto& f) { test::flipByte(f.filePath(), 4); }},
      {"PackageFileCut", [](auto& f) { test::write(f.filePath(), "the pack"); }},
      {"PackageFileEmptied", [](auto& f) { test::write(f.filePath(), ""); }},
      {"PackageFileDeleted", [](auto& f) { files::remove(f.filePath()); }},
      {"Everything", [](auto& f) {
         test::flipByte(f.objectPath(f.single[0]), 4);
         test::write(f.objectPath(f.single[1]), "");
         f.flipInPack(1);
         test::write(f.filePath(), "");
       }}};
  return cases;
}

class DamagedFolder : public testing::TestWithParam<std::tuple<Case, bool>> {
 protected:
  const CheckedFolder folder{std::get<bool>(GetParam())};
  void plant() const { std::get<Case>(GetParam()).plant(folder); }
};

TEST_P(DamagedFolder, IsHealedByARepairAndTheNextBackup) {
  plant();
  folder.repair();
  for (const auto& finding : folder.check().findings)
    EXPECT_TRUE(!finding.isDamage() || finding.kind == Kind::objectMissing ||
                finding.kind == Kind::fileMissing)
        << finding.path << " " << finding.text;
  folder.backUpAgain();
  EXPECT_THAT(folder.damage(), IsEmpty());
  for (const char* id : {CheckedFolder::first, CheckedFolder::second})
    EXPECT_EQ(test::problemsOf(folder.repository, id), 0U);
}

TEST_P(DamagedFolder, LosesNoByteByARepair) {
  plant();
  const auto before = test::bytesOf(folder.folder.path());
  folder.repair();
  const auto after = test::bytesOf(folder.folder.path());
  EXPECT_TRUE(std::ranges::includes(after, before));
}

TEST_P(DamagedFolder, HasNothingToRepairAfterOne) {
  plant();
  folder.repair();
  const auto before = test::stateOf(folder.folder.path());
  EXPECT_TRUE(folder.plan().isEmpty());
  EXPECT_EQ(folder.repair().result, RepairResult());
  EXPECT_EQ(test::stateOf(folder.folder.path()), before);
}

TEST_P(DamagedFolder, GetsWhatItsPlanSaid) {
  plant();
  const auto before = test::stateOf(folder.folder.path());
  const auto plan = folder.plan();
  EXPECT_EQ(test::stateOf(folder.folder.path()), before) << "a plan changes nothing";
  const auto [result, quarantine] = carryOut(plan, folder.repository, folder.cipher, platform::now());
  EXPECT_EQ(result, plan.expected());
  EXPECT_EQ(quarantine.empty(), result.filesMoved == 0);
}

INSTANTIATE_TEST_SUITE_P(All, DamagedFolder, testing::Combine(testing::ValuesIn(allCases()), testing::Bool()),
                         [](const auto& row) {
                           return std::string(std::get<Case>(row.param).name) +
                                  (std::get<bool>(row.param) ? "Sealed" : "");
                         });

TEST(RepairTest, APackWithoutItsIndexGivesBackAllItsObjects) {
  const CheckedFolder folder;
  const auto index = PackStore::readIndex(folder.indexPath());
  const auto path = folder.indexPath();
  files::remove(path);
  const auto [result, quarantine] = folder.repair();
  EXPECT_EQ(result.indexesRebuilt, 1);
  EXPECT_EQ(result.entriesFound, 3);
  EXPECT_EQ(PackStore::readIndex(path), index);
  EXPECT_THAT(quarantine, IsEmpty());
  EXPECT_THAT(folder.damage(), IsEmpty());
}

TEST(RepairTest, APackThatNobodyMissesGetsNoIndex) {
  const CheckedFolder folder;
  test::write(folder.folder / "store/packs/stray.pack", folder.contents.begin()->second);
  test::flipByte(folder.objectPath(folder.single[0]), 4);
  folder.repair();
  EXPECT_FALSE(files::exists(folder.folder / "store/packs/stray.idx"));
  EXPECT_TRUE(files::exists(folder.folder / "store/packs/stray.pack"));
}

TEST(RepairTest, APackWithoutItsIndexAlsoGivesBackWhatIsDamagedElsewhere) {
  const CheckedFolder folder;
  const auto& name = folder.single[0];
  test::write(folder.folder / "store/packs/lost.pack", *ObjectStore::canonicalJSON(folder.contents.at(name)));
  test::flipByte(folder.objectPath(name), 4);
  EXPECT_EQ(folder.repair().result.entriesFound, 1);
  EXPECT_THAT(folder.damage(), IsEmpty());
}

TEST(RepairTest, WhereAnIndexIsLostDocumentsOfAPackProveThemselvesByTheirForm) {
  const CheckedFolder folder;
  files::remove(folder.indexPath());
  files::remove(folder.sectionPath());  // names an object that no other index does
  EXPECT_EQ(folder.repair().result.entriesFound, 3);
}

TEST(RepairTest, ASealedPackIsNotGuessedAtWithoutTheKey) {
  CheckedFolder folder(true);
  files::remove(folder.indexPath());
  folder.cipher.reset();
  BackupEncryption::forgetKeys();
  EXPECT_TRUE(folder.plan().isEmpty());
}

TEST(RepairTest, TheQuarantineKeepsThePathsAndIsInvisible) {
  const CheckedFolder folder;
  test::flipByte(folder.objectPath(folder.single[0]), 4);
  const auto damaged = files::read(folder.objectPath(folder.single[0]));
  const auto [result, quarantine] = folder.repair();
  EXPECT_THAT(quarantine, StartsWith(".quarantine/20"));
  EXPECT_EQ(files::read(folder.folder.path() / quarantine / BackupFormat::objectPath(folder.single[0])),
            damaged);
  EXPECT_EQ(result.filesMoved, 1);
  EXPECT_EQ(result.bytesMoved, static_cast<std::int64_t>(damaged.size()));
  EXPECT_THAT(files::visibleNames(folder.folder.path()),
              UnorderedElementsAre("backups", "instance.json", "store"));
  EXPECT_EQ(folder.repository.completeBackups().size(), 2U);
}

TEST(RepairTest, TwoRepairsOfOneSecondHaveAQuarantineEach) {
  const files::TempFolder folder;
  const auto now = test::date("2025-03-04T09:15:00Z");
  for (int i = 0; i < 3; ++i) {
    test::write(folder / "store/x", std::to_string(i));
    Quarantine(folder.path(), now).take("store/x");
  }
  EXPECT_THAT(files::list(folder / ".quarantine"),
              UnorderedElementsAre("2025-03-04T091500Z", "2025-03-04T091500Z-2", "2025-03-04T091500Z-3"));
}

TEST(RepairTest, WhatOnlyAPersonCanMendStays) {
  const CheckedFolder folder;
  files::remove(folder.sectionPath());
  test::write(folder.manifestPath(CheckedFolder::first), "torn");
  const auto plan = folder.plan();
  EXPECT_TRUE(plan.isEmpty());
  EXPECT_THAT(plan.staying, UnorderedElementsAre(testing::Field(&Finding::kind, Kind::indexMissing),
                                                 testing::Field(&Finding::kind, Kind::manifestUnreadable)));
  EXPECT_THAT(plan.lacking, IsEmpty());
}

TEST(RepairTest, WhatIsMissingIsLeftToTheNextBackup) {
  const CheckedFolder folder;
  files::remove(folder.objectPath(folder.single[0]));
  files::remove(folder.filePath());
  test::write(folder.folder / "instance.json", "torn");
  const auto plan = folder.plan();
  EXPECT_TRUE(plan.isEmpty());
  EXPECT_THAT(plan.lacking, SizeIs(3));
  EXPECT_THAT(plan.staying, IsEmpty());
}

TEST(RepairTest, AFileThatIsTooLongToBeReadStays) {
  const CheckedFolder folder;
  std::filesystem::resize_file(folder.objectPath(folder.single[0]), BackupFormat::objectLimit + 1);
  const auto plan = folder.plan();
  EXPECT_TRUE(plan.isEmpty());
  EXPECT_THAT(plan.staying, ElementsAre(testing::Field(&Finding::kind, Kind::objectUnreadable)));
}

// Links.

TEST(RepairTest, WhatLiesBehindALinkIsReadAndNeverMoved) {
  for (const char* linked : {"store", "store/packs", "store/files"}) {
    const CheckedFolder folder;
    folder.flipInPack(1);
    test::flipByte(folder.filePath(), 4);
    const files::TempFolder outside;
    std::filesystem::rename(folder.folder / linked, outside / "moved");
    std::filesystem::create_directory_symlink(outside / "moved", folder.folder / linked);
    const auto before = test::contentOf(outside.path());
    const auto plan = folder.plan();
    EXPECT_FALSE(plan.staying.empty()) << linked;
    carryOut(plan, folder.repository, {}, platform::now());
    EXPECT_EQ(test::contentOf(outside.path()), before) << linked;
  }
}

TEST(RepairTest, ALinkInPlaceOfTheQuarantineIsNotFollowed) {
  const CheckedFolder folder;
  test::flipByte(folder.objectPath(folder.single[0]), 4);
  const files::TempFolder outside;
  std::filesystem::create_directory_symlink(outside.path(), folder.folder / ".quarantine");
  EXPECT_THROW(folder.repair(), files::FileError);
  EXPECT_THAT(files::list(outside.path()), IsEmpty());
  EXPECT_TRUE(files::exists(folder.objectPath(folder.single[0])));
}

// Key records.

TEST(RepairTest, AKeyRecordComesBackFromTheCopyThatOpensTheBackups) {
  for (const bool isGarbled : {false, true}) {
    const CheckedFolder folder(true);
    const auto record = folder.folder / "encryption.json";
    const files::TempFolder copies;
    test::write(copies / "right", files::read(record));
    const files::TempFolder another;
    BackupEncryption::prepare(another.path(), test::organisationKeys());
    test::write(copies / "wrong", files::read(another / "encryption.json"));
    test::write(copies / "torn", "torn");
    if (isGarbled)
      test::write(record, "garbled");
    else
      files::remove(record);

    EXPECT_FALSE(
        KeyRecord::find(folder.repository, {copies / "torn", copies / "wrong"}, test::organisationKeys()));
    const auto copy = KeyRecord::find(
        folder.repository, {copies / "torn", copies / "wrong", copies / "right"}, test::organisationKeys());
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->path, copies / "right");
    const auto plan = planRepair(folder.repository, folder.check(), copy->cipher, copy->path);
    const auto [result, quarantine] = carryOut(plan, folder.repository, copy->cipher, platform::now());
    EXPECT_TRUE(result.keyRecordRestored);
    EXPECT_EQ(files::read(record), files::read(copies / "right"));
    EXPECT_EQ(quarantine.empty(), !isGarbled);
    if (isGarbled) {
      EXPECT_EQ(files::read(folder.folder.path() / quarantine / "encryption.json"), "garbled");
    }
    EXPECT_THAT(folder.damage(), IsEmpty());
  }
}

}  // namespace
}  // namespace orvik
