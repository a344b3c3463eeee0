#include "OrvikCore/Security/InMemoryKeyProvider.h"
#include "OrvikCore/Store/BackupLock.h"
#include "tests/Support/CareHost.h"
#include "tests/Support/FolderState.h"
#include "tests/Support/OrganisationFiles.h"

namespace orvik {
namespace {

using test::member;
using test::ProgramEnd;
using test::runToEnd;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
namespace files = platform::files;

class RepairCommand : public test::CareHost {
 protected:
  ProgramEnd repair(const Arguments& more = {"--yes"}) const { return command("repair", more); }
  void damageSome() const {
    test::flipByte(folder.objectPath(folder.single[0]), 4);
    folder.flipInPack(1);
    test::flipByte(folder.filePath(), 4);
  }
  test::ProgramStart typing(const std::string& answer) const {
    auto program = start({"repair", path()});
    program.error = test::ProgramStart::Error::terminal;
    program.inputKind = test::ProgramStart::Input::terminal;
    program.environment["TERM"] = "dumb";
    program.input = answer + "\n";
    return program;
  }
};

TEST_F(RepairCommand, PutsDamageAsideSaysWhereAndTheNextBackupHealsIt) {
  damageSome();
  auto end = repair();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("To the quarantine, so that the next backup stores it again:\n"));
  EXPECT_THAT(end.output, HasSubstr(BackupFormat::objectPathText(folder.single[0]) + "  objectDamaged"));
  EXPECT_THAT(end.output, HasSubstr("without 1 of 3 entries"));
  EXPECT_THAT(end.output, HasSubstr("Done: move 4 files"));
  EXPECT_THAT(end.output, HasSubstr((folder.folder / ".quarantine/20").string()));
  EXPECT_FALSE(files::exists(folder.folder / "backup.lock"));
  folder.backUpAgain();
  end = command("check", {"--read-data", "100%"});
  EXPECT_EQ(end.status, 0) << end.output;
}

TEST_F(RepairCommand, ADryRunShowsTheSameAndChangesNothing) {
  damageSome();
  const auto writer = BackupLock::acquire(folder.folder.path(), "test", platform::now());
  const auto before = test::stateOf(folder.folder.path());
  const auto end = repair({"--dry-run"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("Would move 4 files"));
  EXPECT_EQ(test::stateOf(folder.folder.path()), before);
}

TEST_F(RepairCommand, WithoutATerminalYesIsNeeded) {
  const auto before = test::stateOf(folder.folder.path());
  const auto end = repair({});
  EXPECT_EQ(end.status, 2);
  EXPECT_THAT(end.error, HasSubstr("--yes"));
  EXPECT_EQ(test::stateOf(folder.folder.path()), before);
}

TEST_F(RepairCommand, AtATerminalAPersonIsAsked) {
  damageSome();
  const auto before = test::contentOf(folder.folder.path());
  auto end = runToEnd(typing("n"));
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("Shall orvik move 4 files"));
  EXPECT_EQ(test::contentOf(folder.folder.path()), before);
  end = runToEnd(typing("y"));
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_TRUE(files::exists(folder.folder / ".quarantine"));
}

TEST_F(RepairCommand, ASoundFolderHasNothingToRepair) {
  const auto before = test::contentOf(folder.folder.path());
  const auto end = repair();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("Nothing to repair.\n"));
  EXPECT_EQ(test::contentOf(folder.folder.path()), before);
}

TEST_F(RepairCommand, WhatNobodyCanMendHereIsToldAndIsStatusFour) {
  files::remove(folder.sectionPath());
  const auto end = repair();
  EXPECT_EQ(end.status, 4) << end.error;
  EXPECT_THAT(end.output, HasSubstr("No repair and no backup mends this:\n"));
  EXPECT_THAT(end.output, HasSubstr("sections/policies.json: The index is missing"));
}

TEST_F(RepairCommand, WhatIsMissingIsLeftToTheNextBackup) {
  files::remove(folder.objectPath(folder.single[0]));
  const auto end = repair();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("The next backup mends this"));
}

TEST_F(RepairCommand, AnotherWriterIsRespected) {
  damageSome();
  const auto writer = BackupLock::acquire(folder.folder.path(), "test", platform::now());
  const auto before = test::contentOf(folder.folder.path());
  EXPECT_EQ(repair().status, 11);
  EXPECT_EQ(test::contentOf(folder.folder.path()), before);
}

TEST_F(RepairCommand, JSONLinesHaveEveryStepAndTheResult) {
  damageSome();
  files::remove(folder.objectPath(folder.single[1]));
  const auto end = repair({"--yes", "--json"});
  EXPECT_EQ(end.status, 0) << end.error;
  const auto steps = events(end, "repair");
  ASSERT_THAT(steps, SizeIs(3));
  EXPECT_EQ(member(steps[2], "kind"), "rewrite");
  EXPECT_EQ(member(steps[2], "dropped"), "1");
  const auto remaining = events(end, "remaining");
  ASSERT_THAT(remaining, SizeIs(1));
  EXPECT_EQ(member(remaining[0], "kind"), "objectMissing");
  EXPECT_EQ(member(remaining[0], "nextBackup"), "true");
  EXPECT_EQ(within(last(end), "result", "filesMoved"), "4");
  EXPECT_EQ(within(last(end), "result", "packsRewritten"), "1");
  EXPECT_THAT(member(last(end), "quarantine"), HasSubstr(".quarantine/"));
  EXPECT_EQ(member(last(end), "lacking"), "1");
  EXPECT_EQ(member(last(end), "staying"), "0");
}

/// A folder that is sealed for a key in a file, and the copy of its record that a backup would have kept.
class SealedRepairCommand : public RepairCommand {
 protected:
  SealedRepairCommand() {
    folder.cipher =
        BackupEncryption::prepare(folder.folder.path(), InMemoryKeyProvider::fromFile(organisation.key));
    BackupEncryption::forgetKeys();
    auto sealed = test::CheckedFolder::section("scripts", {test::itemWithID("1")});
    sealed.items[0].objects = {{"json", folder.put("{\"sealed\":1}")}};
    folder.publish("2025-03-06T091500Z", {sealed});
    record = files::read(recordPath());
  }
  files::Path recordPath() const { return folder.folder / "encryption.json"; }
  void keepCopy(const std::string& name, const std::string& bytes) const {
    test::write(home / ".local/share/orvik/encryption" /
                    folder.repository.latestComplete()->manifest.instance.id.text() / name,
                bytes);
  }
  ProgramEnd withKey(const Arguments& more = {"--yes"}) const {
    auto all = more;
    all.insert(all.end(), {"--key", organisation.key.string()});
    return repair(all);
  }

  const test::OrganisationFiles organisation = test::OrganisationFiles::make(home.path());
  std::string record;
};

TEST_F(SealedRepairCommand, NeedsTheKey) {
  EXPECT_EQ(repair().status, 12);
  EXPECT_EQ(withKey().status, 0);
}

TEST_F(SealedRepairCommand, ALostKeyRecordComesBackFromTheCopyThatOpensTheBackups) {
  const files::TempFolder another;
  BackupEncryption::prepare(another.path(), InMemoryKeyProvider::fromFile(organisation.key));
  keepCopy("2025-03-06T000000Z-right.json", record);
  keepCopy("2025-03-07T000000Z-of-another-folder.json", files::read(another / "encryption.json"));
  for (const bool isGarbled : {false, true}) {
    if (isGarbled)
      test::write(recordPath(), "garbled");
    else
      files::remove(recordPath());
    EXPECT_EQ(command("check").status, 4);
    auto end = withKey({"--dry-run"});
    EXPECT_EQ(end.status, 0) << end.error;
    EXPECT_THAT(end.output, HasSubstr("Would restore the key record"));
    end = withKey();
    EXPECT_EQ(end.status, 0) << end.error << end.output;
    EXPECT_EQ(files::read(recordPath()), record);
    EXPECT_EQ(command("check", {"--key", organisation.key.string()}).status, 0);
  }
}

TEST_F(SealedRepairCommand, TheKeyRecordOfAnotherFolderMakesNothingDamage) {
  const files::TempFolder another;
  BackupEncryption::prepare(another.path(), InMemoryKeyProvider::fromFile(organisation.key));
  test::write(recordPath(), files::read(another / "encryption.json"));
  const auto before = test::contentOf(folder.folder.path());
  const auto end = withKey();
  EXPECT_EQ(end.status, 12);
  EXPECT_THAT(end.error, HasSubstr(recordPath().string() + " opens none of the sealed backups"));
  EXPECT_EQ(test::contentOf(folder.folder.path()), before);
}

TEST_F(SealedRepairCommand, WithoutACopyTheFolderIsLeftAsItIs) {
  files::remove(recordPath());
  keepCopy("torn.json", "torn");
  const auto before = test::contentOf(folder.folder.path());
  const auto end = withKey();
  EXPECT_EQ(end.status, 12);
  EXPECT_THAT(end.error, HasSubstr(recordPath().string() + " is missing, and no copy of it on this machine"));
  EXPECT_EQ(test::contentOf(folder.folder.path()), before);
}

}  // namespace
}  // namespace orvik
