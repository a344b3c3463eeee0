#include <sys/stat.h>

#include "OrvikCore/Store/BackupLock.h"
#include "tests/Support/CareHost.h"
#include "tests/Support/FolderState.h"
#include "tests/Support/OrganisationFiles.h"
#include "tests/Support/TestKeys.h"

namespace orvik {
namespace {

using test::member;
using test::ProgramEnd;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
namespace files = platform::files;

class CheckCommand : public test::CareHost {
 protected:
  ProgramEnd check(const Arguments& more = {}) const { return command("check", more); }
  void damageAnObject() const { test::flipByte(folder.objectPath(folder.single[0]), 4); }
};

TEST_F(CheckCommand, ASoundFolderEndsWithSuccessAndSaysWhatWasLookedAt) {
  const auto end = check();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output,
              HasSubstr("2 backups with 3 indexes, 5 of 5 stored objects and 0 of 1 package files read"));
  EXPECT_THAT(end.output, HasSubstr("No damage.\n"));
}

TEST_F(CheckCommand, DamageIsStatusFourAndIsToldWithPlaceAndNeed) {
  damageAnObject();
  const auto end = check();
  EXPECT_EQ(end.status, 4) << end.error;
  EXPECT_THAT(end.output,
              HasSubstr("damage  " + BackupFormat::objectPathText(folder.single[0]) +
                        ": What the object's file holds doesn't reproduce its name. Needed by policies/5 "
                        "of backup 2025-03-05T091500Z and 1 other.\n"));
  EXPECT_THAT(end.output, HasSubstr("1 finding of damage.\n"));
  EXPECT_THAT(end.error, HasSubstr("orvik repair " + path() + " --dry-run"));
}

TEST_F(CheckCommand, WarningsAreNoDamage) {
  folder.put("{\"garbage\":1}");
  const auto end = check();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(
      end.output,
      HasSubstr("warning store: No backup refers to some of what is stored: objects 1, package files 0; "));
  EXPECT_THAT(end.output, HasSubstr("No damage and 1 warning.\n"));
}

TEST_F(CheckCommand, JSONLinesHaveEveryFindingAndTheNumbers) {
  damageAnObject();
  files::remove(folder.filePath());
  const auto end = check({"--json"});
  EXPECT_EQ(end.status, 4);
  const auto findings = events(end, "finding");
  ASSERT_THAT(findings, SizeIs(2));
  const auto& object = findings[1];
  EXPECT_EQ(member(object, "severity"), "damage");
  EXPECT_EQ(member(object, "kind"), "objectDamaged");
  EXPECT_EQ(member(object, "folder"), path());
  EXPECT_EQ(member(object, "path"), BackupFormat::objectPathText(folder.single[0]));
  EXPECT_EQ(member(object, "section"), "policies");
  EXPECT_EQ(member(object, "item"), "5");
  EXPECT_EQ(member(object, "backup"), "2025-03-05T091500Z");
  EXPECT_EQ(member(object, "backups"), "2");
  EXPECT_EQ(member(findings[0], "kind"), "fileMissing");
  const auto numbers = events(end, "folder").at(0);
  for (const auto& [name, value] : {std::pair{"backups", "2"},
                                    {"indexes", "3"},
                                    {"objects", "5"},
                                    {"objectsRead", "5"},
                                    {"packs", "1"},
                                    {"files", "0"},
                                    {"damage", "2"},
                                    {"warnings", "0"}})
    EXPECT_EQ(member(numbers, name), value) << name;
  EXPECT_EQ(member(last(end), "event"), "finished");
  EXPECT_EQ(member(last(end), "damage"), "2");
  EXPECT_THAT(end.error, IsEmpty());
}

TEST_F(CheckCommand, OfManyFindingsOfAKindPeopleSeeTheFirst) {
  for (int i = 0; i < 30; ++i) test::write(folder.folder / "store/objects/ab" / std::to_string(i), "x");
  const auto end = check();
  EXPECT_THAT(end.output, HasSubstr("and 10 more of the kind stray\n"));
  EXPECT_THAT(events(check({"--json"}), "finding"), SizeIs(30));
}

TEST_F(CheckCommand, PackageFilesAreReadOnRequest) {
  test::flipByte(folder.filePath(), 4);
  EXPECT_EQ(check().status, 0);
  EXPECT_EQ(check({"--read-data", "100%"}).status, 4);
  EXPECT_EQ(check({"--read-data", "0%"}).status, 0);
}

TEST_F(CheckCommand, SevenChecksOfASeventhReadEverythingOnce) {
  for (const auto& name : folder.single) test::flipByte(folder.objectPath(name), 4);
  folder.flipInPack(1);
  test::flipByte(folder.filePath(), 4);
  std::size_t damage = 0;
  for (int i = 0; i < 7; ++i)
    for (const auto& finding : events(check({"--read-data=1/7", "--json"}), "finding"))
      damage += member(finding, "kind") == "packDamaged" ? 0 : 1;
  EXPECT_EQ(damage, 4U);
  EXPECT_TRUE(files::exists(home / ".local/share/orvik/checks.json"));
}

TEST_F(CheckCommand, ReadingLeavesTheFolderAsItWas) {
  damageAnObject();
  const auto before = test::stateOf(folder.folder.path());
  check({"--read-data", "1/7"});
  EXPECT_EQ(test::stateOf(folder.folder.path()), before);
}

TEST_F(CheckCommand, WhatIsNoAmountIsAUsageError) {
  for (const char* text : {"8/7", "abc", "101%", ""}) {
    const auto end = check({std::string("--read-data=") + text});
    EXPECT_EQ(end.status, 2) << text;
    EXPECT_THAT(end.error, HasSubstr("--read-data"));
  }
}

TEST_F(CheckCommand, TheFolderOfAllInstancesChecksEach) {
  const files::TempFolder root;
  test::CheckedFolder sound;
  std::filesystem::copy(sound.folder.path(), root / "sound", std::filesystem::copy_options::recursive);
  damageAnObject();
  test::write(folder.folder / "instance.json", "torn");
  std::filesystem::copy(folder.folder.path(), root / "damaged", std::filesystem::copy_options::recursive);
  test::write(root / "other/readme.txt", "no instance");
  const auto end = run({"check", root.path().string(), "--json"});
  EXPECT_EQ(end.status, 4) << end.error;
  EXPECT_THAT(events(end, "folder"), SizeIs(2));
  EXPECT_EQ(member(last(end), "folders"), "2");
  EXPECT_EQ(member(last(end), "damage"), "2");
  EXPECT_THAT(run({"check", root.path().string()}).output, HasSubstr("2 findings of damage in all.\n"));
}

TEST_F(CheckCommand, WhereThereIsNoInstanceItSaysSo) {
  const files::TempFolder empty;
  EXPECT_EQ(run({"check", empty.path().string()}).status, 10);
  EXPECT_EQ(run({"check", (empty / "none").string()}).status, 10);
  EXPECT_EQ(run({"check"}).status, 2);
}

TEST_F(CheckCommand, ASealedFolderIsCheckedWithoutItsKeyAndDeeperWithIt) {
  const auto organisation = test::OrganisationFiles::make(home.path());
  const auto other = test::OrganisationFiles::make(home.path(), "other");
  folder.cipher =
      BackupEncryption::prepare(folder.folder.path(), InMemoryKeyProvider::fromFile(organisation.key));
  BackupEncryption::forgetKeys();
  auto sealed = test::CheckedFolder::section("scripts", {test::itemWithID("1")});
  const auto name = folder.put("{\"sealed\":1}");
  sealed.items[0].objects = {{"json", name}};
  folder.publish("2025-03-06T091500Z", {sealed});
  test::flipByte(folder.objectPath(name), 30);

  auto end = check();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("warning encryption.json: No key at hand opens the folder"));
  EXPECT_THAT(end.output, HasSubstr("2 sealed and not looked into"));
  end = check({"--key", organisation.key.string()});
  EXPECT_EQ(end.status, 4) << end.error;
  EXPECT_THAT(end.output, HasSubstr("Needed by scripts/1 of backup 2025-03-06T091500Z."));
  end = check({"--key", other.key.string()});
  EXPECT_EQ(end.status, 12);
}

TEST_F(CheckCommand, ItRunsBesideAWriter) {
  const auto writer = BackupLock::acquire(folder.folder.path(), "test", platform::now());
  EXPECT_EQ(check().status, 0);
}

TEST_F(CheckCommand, QuietLeavesTheResult) {
  damageAnObject();
  const auto end = check({"--quiet"});
  EXPECT_EQ(end.status, 4);
  EXPECT_THAT(end.error, IsEmpty());
  EXPECT_THAT(end.output, HasSubstr("damage "));
}

TEST_F(CheckCommand, ControlCharactersOfNamesAreShown) {
  test::write(folder.folder / "store/objects/ab" / "\x1b[31m.json", "x");
  const auto end = check();
  EXPECT_THAT(end.output, Not(HasSubstr("\x1b[31m")));
}

}  // namespace
}  // namespace orvik
