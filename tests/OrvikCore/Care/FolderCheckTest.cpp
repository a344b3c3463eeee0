#include "OrvikCore/Care/FolderCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <ostream>

#include "OrvikCore/Security/BackupEncryption.h"
#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/CheckedFolder.h"
#include "tests/Support/FolderState.h"

namespace orvik {
namespace {

using test::CheckedFolder;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Kind = Finding::Kind;
using Kinds = std::vector<std::string>;
namespace files = platform::files;

TEST(FolderCheckTest, ASoundFolderHasNothingToTell) {
  const CheckedFolder folder;
  const auto check = folder.check();
  EXPECT_THAT(CheckedFolder::kinds(check, false), IsEmpty());
  EXPECT_EQ(check.backups.backups, 2U);
  EXPECT_EQ(check.backups.indexes, 3U);
  EXPECT_EQ(check.storedObjects(), 5U);
  EXPECT_EQ(check.store.objectsRead, 5U);
  EXPECT_EQ(check.store.filesRead, 1U);
  EXPECT_TRUE(check.backups.isComplete);
}

TEST(FolderCheckTest, ASoundSealedFolderHasNothingToTell) {
  const CheckedFolder folder(true);
  EXPECT_THAT(CheckedFolder::kinds(folder.check(), false), IsEmpty());
}

TEST(FolderCheckTest, ItChangesNothing) {
  const CheckedFolder folder;
  test::flipByte(folder.objectPath(folder.single[0]), 3);
  test::write(folder.indexPath(), "torn");
  const auto before = test::stateOf(folder.folder.path());
  EXPECT_NE(folder.check().damage(), 0U);
  EXPECT_EQ(test::stateOf(folder.folder.path()), before);
}

TEST(FolderCheckTest, AStopEndsIt) {
  const CheckedFolder folder;
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(std::ignore = checkFolder(folder.repository, {}, Reading::everything(), platform::now(), {},
                                         stop.get_token()),
               platform::CancellationError);
}

TEST(FolderCheckTest, ProgressIsToldStepByStep) {
  const CheckedFolder folder;
  Kinds steps;
  std::size_t most = 0;
  const CareProgress progress{[&](const std::string& step) { steps.push_back(step); },
                              [&](std::size_t done, std::size_t total) {
                                EXPECT_LE(done, total);
                                most = std::max(most, total);
                              }};
  std::ignore = checkFolder(folder.repository, {}, Reading::everything(), platform::now(), progress);
  EXPECT_THAT(steps, Contains("Reading packs"));
  EXPECT_GE(most, 2U);
}

/// Damage of one kind, and what a check that reads everything calls it.
struct Damage {
  const char* name;
  std::function<void(const CheckedFolder&)> plant;
  Kinds found;
};

void PrintTo(const Damage& damage, std::ostream* out) { *out << damage.name; }

void cutPack(const CheckedFolder& folder, std::int64_t size) {
  std::filesystem::resize_file(folder.packPath(), static_cast<std::uintmax_t>(size));
}

/// Another index for the pack, its ranges as text.
void writeIndex(const CheckedFolder& folder, std::vector<std::pair<std::string, std::string>> ranges) {
  const auto pack = folder.packPath().filename().string();
  test::write(folder.indexPath(), test::indexText(pack, ranges));
}

std::vector<std::pair<std::string, std::string>> trueRanges(const CheckedFolder& folder) {
  std::vector<std::pair<std::string, std::string>> ranges;
  for (const auto& name : folder.packed) {
    const auto range = folder.rangeOf(name);
    ranges.emplace_back(name, test::rangeText(static_cast<std::size_t>(range.offset),
                                              static_cast<std::size_t>(range.length)));
  }
  return ranges;
}

class PlantedDamage : public testing::TestWithParam<Damage> {};

TEST_P(PlantedDamage, IsFound) {
  const CheckedFolder folder;
  GetParam().plant(folder);
  const auto check = folder.check();
  EXPECT_EQ(CheckedFolder::kinds(check), GetParam().found);
  for (const auto& finding : check.findings) {
    EXPECT_FALSE(finding.path.empty()) << finding.text;
    EXPECT_TRUE(finding.text.ends_with('.')) << finding.text;
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, PlantedDamage,
    testing::Values(
        Damage{"ObjectByteFlipped",
               [](auto& f) { test::flipByte(f.objectPath(f.single[0]), 4); },
               {"objectDamaged"}},
        Damage{"ObjectEmptied", [](auto& f) { test::write(f.objectPath(f.single[0]), ""); }, {"objectEmpty"}},
        Damage{"ObjectDeleted", [](auto& f) { files::remove(f.objectPath(f.single[0])); }, {"objectMissing"}},
        Damage{"AFolderForAnObject",
               [](auto& f) {
                 files::remove(f.objectPath(f.single[0]));
                 files::createDirectories(f.objectPath(f.single[0]));
               },
               {"objectMissing"}},
        Damage{"EmptyFileInFrontOfAPackedObject",
               [](auto& f) { test::write(f.objectPath(f.packed[0]), ""); },
               {"objectEmpty"}},
        Damage{"PackByteFlipped",
               [](auto& f) { test::flipByte(f.packPath(), f.rangeOf(f.packed[1]).offset + 4); },
               {"objectDamaged", "packDamaged"}},
        Damage{"PackEmptied", [](auto& f) { cutPack(f, 0); }, {"objectMissing", "packCut"}},
        Damage{"PackCutToOneByte", [](auto& f) { cutPack(f, 1); }, {"objectMissing", "packCut"}},
        Damage{"PackCutInAnEntry",
               [](auto& f) { cutPack(f, f.rangeOf(f.packed[1]).offset + 3); },
               {"objectMissing", "packCut"}},
        Damage{"PackCutBetweenEntries",
               [](auto& f) { cutPack(f, f.rangeOf(f.packed[2]).offset); },
               {"objectMissing", "packCut"}},
        Damage{"PackDeleted",
               [](auto& f) { files::remove(f.packPath()); },
               {"indexWithoutPack", "objectMissing"}},
        Damage{"PackIndexDeleted", [](auto& f) { files::remove(f.indexPath()); }, {"objectMissing"}},
        Damage{"PackIndexGarbled",
               [](auto& f) { test::write(f.indexPath(), "torn"); },
               {"objectMissing", "packIndexUnreadable"}},
        Damage{"PackIndexOfAPath",
               [](auto& f) { test::write(f.indexPath(), test::indexText("../x.pack", trueRanges(f))); },
               {"objectMissing", "packIndexUnreadable"}},
        Damage{"PackIndexWithForeignNames",
               [](auto& f) {
                 auto ranges = trueRanges(f);
                 ranges.emplace_back("../../instance", "[0,4]");
                 writeIndex(f, ranges);
               },
               {"packIndexOdd"}},
        Damage{"PackIndexWithThreeNumbers",
               [](auto& f) {
                 auto ranges = trueRanges(f);
                 ranges[0].second = "[0,4,4]";
                 writeIndex(f, ranges);
               },
               {"objectMissing", "packCut"}},
        Damage{"PackIndexWithHugeRange",
               [](auto& f) {
                 auto ranges = trueRanges(f);
                 ranges[0].second = "[9223372036854775807,9223372036854775807]";
                 writeIndex(f, ranges);
               },
               {"objectMissing", "packCut"}},
        Damage{"PackIndexWithNegativeRange",
               [](auto& f) {
                 auto ranges = trueRanges(f);
                 ranges[0].second = "[-5,5]";
                 writeIndex(f, ranges);
               },
               {"objectMissing", "packCut"}},
        Damage{"PackIndexWithOverlaps",
               [](auto& f) {
                 auto ranges = trueRanges(f);
                 ranges[1].second = ranges[0].second;
                 writeIndex(f, ranges);
               },
               {"objectDamaged", "packDamaged", "packIndexOdd"}},
        Damage{"SectionDeleted", [](auto& f) { files::remove(f.sectionPath()); }, {"indexMissing"}},
        Damage{"SectionGarbled",
               [](auto& f) { test::write(f.sectionPath(), "{\"items\":"); },
               {"indexUnreadable"}},
        Damage{"ManifestDeleted", [](auto& f) { files::remove(f.manifestPath()); }, {"manifestMissing"}},
        Damage{"ManifestGarbled",
               [](auto& f) { test::write(f.manifestPath(), "torn"); },
               {"manifestUnreadable"}},
        Damage{"PackageFileFlipped", [](auto& f) { test::flipByte(f.filePath(), 4); }, {"fileDamaged"}},
        Damage{"PackageFileCut", [](auto& f) { test::write(f.filePath(), "the pack"); }, {"fileDamaged"}},
        Damage{"PackageFileEmptied", [](auto& f) { test::write(f.filePath(), ""); }, {"fileDamaged"}},
        Damage{"PackageFileDeleted", [](auto& f) { files::remove(f.filePath()); }, {"fileMissing"}},
        Damage{"InstanceGarbled",
               [](auto& f) { test::write(f.folder / "instance.json", "torn"); },
               {"instanceUnreadable"}},
        Damage{"KeyRecordGarbled",
               [](auto& f) { test::write(f.folder / "encryption.json", "torn"); },
               {"keyRecordUnreadable"}},
        Damage{"PacksUnlistable",
               [](auto& f) {
                 files::removeTree(f.folder / "store/packs");
                 test::write(f.folder / "store/packs", "no folder");
               },
               {"folderUnreadable", "objectMissing"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(FolderCheckTest, DamageIsToldWithWhoNeedsIt) {
  const CheckedFolder folder;
  test::flipByte(folder.objectPath(folder.single[0]), 4);
  files::remove(folder.objectPath(folder.single[1]));
  const auto check = folder.check();
  const auto damaged = CheckedFolder::findingOf(check, Kind::objectDamaged);
  ASSERT_TRUE(damaged && damaged->need);
  EXPECT_EQ(damaged->path, BackupFormat::objectPath(folder.single[0]).string());
  EXPECT_EQ(damaged->need->backup, CheckedFolder::second);
  EXPECT_EQ(damaged->need->backups, 2U);
  EXPECT_EQ(damaged->need->section + "/" + damaged->need->item, "policies/5");
  const auto missing = CheckedFolder::findingOf(check, Kind::objectMissing);
  ASSERT_TRUE(missing && missing->need);
  EXPECT_EQ(missing->need->backups, 1U);
  EXPECT_EQ(missing->need->item, "6");
}

TEST(FolderCheckTest, WithoutReadingContentLengthsAreStillLookedAt) {
  const CheckedFolder folder;
  test::flipByte(folder.objectPath(folder.single[0]), 4);
  EXPECT_THAT(CheckedFolder::kinds(folder.check({ContentShare::none()})), IsEmpty());
  test::write(folder.objectPath(folder.single[1]), "");
  test::write(folder.filePath(), "the pack");
  const auto check = folder.check({ContentShare::none()});
  EXPECT_THAT(CheckedFolder::kinds(check), ElementsAre("fileDamaged", "objectEmpty"));
  EXPECT_EQ(check.store.bytesRead, 0);
}

TEST(FolderCheckTest, UnlessTheyAreAskedForPackageFilesAreNotRead) {
  const CheckedFolder folder;
  test::flipByte(folder.filePath(), 4);
  test::flipByte(folder.objectPath(folder.single[0]), 4);
  const auto check = folder.check(Reading());
  EXPECT_THAT(CheckedFolder::kinds(check), ElementsAre("objectDamaged"));
  EXPECT_EQ(check.store.filesRead, 0U);
  EXPECT_EQ(check.store.objectsRead, 5U);
}

TEST(FolderCheckTest, PartsFindAllDamageOnceBetweenThem) {
  const CheckedFolder folder;
  for (const auto& name : folder.single) test::flipByte(folder.objectPath(name), 4);
  test::flipByte(folder.packPath(), folder.rangeOf(folder.packed[2]).offset + 3);
  test::flipByte(folder.filePath(), 1);
  std::size_t damage = 0, objects = 0, packageFiles = 0;
  for (std::uint32_t part = 1; part <= 7; ++part) {
    const auto check = folder.check({ContentShare::part(part, 7)});
    for (const auto& finding : check.findings)
      damage += finding.kind == Kind::objectDamaged || finding.kind == Kind::fileDamaged ? 1 : 0;
    objects += check.store.objectsRead;
    packageFiles += check.store.filesRead;
  }
  EXPECT_EQ(damage, 4U);
  EXPECT_EQ(objects, 5U);
  EXPECT_EQ(packageFiles, 1U);
}

TEST(FolderCheckTest, SizesReadOnWhereTheLastOneStoppedAndComeAround) {
  const CheckedFolder folder;
  std::size_t read = 0;
  int checks = 0;
  for (ContentShare::Place place = 0; read < 6 && checks < 10; ++checks) {
    const auto check = folder.check({Reading::Budget{place, 1}});
    EXPECT_GE(check.store.objectsRead + check.store.filesRead, 1U) << "one thing at least";
    read += check.store.objectsRead + check.store.filesRead;
    place = check.store.share.end();
  }
  EXPECT_EQ(read, 6U);
  EXPECT_EQ(checks, 6);
  EXPECT_TRUE(folder.check({Reading::Budget{0, 1'000'000}}).store.share.isAll());
}

TEST(FolderCheckTest, AnIndexOfAnotherSectionIsDamage) {
  const CheckedFolder folder;
  auto index = folder.repository.index(CheckedFolder::second, "policies").value();
  index.sectionID = "scripts";
  BackupRepository::writeIndex(index, folder.sectionPath(), {});
  const auto check = folder.check();
  EXPECT_THAT(CheckedFolder::kinds(check), ElementsAre("indexForeign"));
  EXPECT_THAT(CheckedFolder::findingOf(check, Kind::indexForeign)->path, HasSubstr("sections/policies.json"));
}

// Sealed folders.

TEST(FolderCheckTest, APlainIndexInASealedBackupIsDamage) {
  const CheckedFolder folder(true);
  const auto index = folder.repository.index(CheckedFolder::second, "policies").value();
  BackupRepository::writeIndex(index, folder.sectionPath(), {});
  const auto check = folder.check();
  EXPECT_THAT(CheckedFolder::kinds(check), ElementsAre("indexPlain"));
  EXPECT_THAT(CheckedFolder::findingOf(check, Kind::indexPlain)->path, HasSubstr("sections/policies.json"));
}

TEST(FolderCheckTest, AFlippedByteOfSealedContentIsFound) {
  const CheckedFolder folder(true);
  test::flipByte(folder.objectPath(folder.single[0]), 30);
  test::flipByte(folder.packPath(), folder.rangeOf(folder.packed[1]).offset + 14);
  test::flipByte(folder.sectionPath(CheckedFolder::first), 50);
  EXPECT_THAT(folder.damage(), ElementsAre("indexUnreadable", "objectDamaged", "packDamaged"));
}

TEST(FolderCheckTest, SealedBlobsThatChangedPlacesAreFound) {
  const CheckedFolder folder(true);
  const auto a = folder.objectPath(folder.single[0]), b = folder.objectPath(folder.single[1]);
  const auto bytes = files::read(a);
  test::write(a, files::read(b));
  test::write(b, bytes);
  const auto check = folder.check();
  EXPECT_THAT(CheckedFolder::kinds(check), ElementsAre("objectDamaged"));
  EXPECT_EQ(check.damage(), 2U);
}

TEST(FolderCheckTest, ASealedFolderWithoutItsKeyIsLookedAtAsFarAsCanBe) {
  CheckedFolder folder(true);
  folder.cipher.reset();
  BackupEncryption::forgetKeys();
  auto check = folder.check();
  EXPECT_THAT(CheckedFolder::kinds(check, false), ElementsAre("keyMissing"));
  EXPECT_EQ(check.store.sealed, 5U);
  EXPECT_EQ(check.backups.sealed, 3U);
  EXPECT_FALSE(check.backups.isComplete);

  test::write(folder.objectPath(folder.single[0]), "");
  test::write(folder.filePath(), "another");
  files::remove(folder.packPath());
  files::remove(folder.sectionPath());
  check = folder.check();
  EXPECT_THAT(CheckedFolder::kinds(check),
              ElementsAre("fileDamaged", "indexMissing", "indexWithoutPack", "objectEmpty"));
}

TEST(FolderCheckTest, AMissingKeyRecordIsDamage) {
  const CheckedFolder folder(true);
  files::remove(folder.folder / "encryption.json");
  EXPECT_THAT(folder.damage(), ElementsAre("keyRecordMissing"));
}

}  // namespace
}  // namespace orvik
