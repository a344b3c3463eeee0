#include "tests/Support/CareHost.h"
#include "tests/Support/FolderState.h"
#include "tests/Support/OrganisationFiles.h"

namespace orvik {
namespace {

using test::member;
using test::ProgramEnd;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::SizeIs;
namespace files = platform::files;

class StatsCommand : public test::CareHost {
 protected:
  ProgramEnd stats(const Arguments& more = {}) const { return command("stats", more); }
};

TEST_F(StatsCommand, TellsSectionsBackupsAndTheStore) {
  const auto before = test::stateOf(folder.folder.path());
  const auto end = stats();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, ContainsRegex("SECTION +ITEMS +OBJECTS +SIZE +ALL BACKUPS\n"));
  EXPECT_THAT(end.output, ContainsRegex("policies +5 +5 +"));
  EXPECT_THAT(end.output, ContainsRegex("packageFiles +1 +1 +11 bytes +11 bytes\n"));
  EXPECT_THAT(end.output, ContainsRegex("BACKUP +OBJECTS +FILES +SIZE +SHARED +UNIQUE +NEW\n"));
  EXPECT_THAT(end.output, ContainsRegex("2025-03-05T091500Z +5 +1 +"));
  EXPECT_THAT(end.output, ContainsRegex("2025-03-04T091500Z +3 +0 .* Zero KB +[0-9]+ bytes\n"));
  EXPECT_THAT(end.output, HasSubstr("Store: 3 objects in 1 pack ("));
  EXPECT_EQ(test::stateOf(folder.folder.path()), before);
}

TEST_F(StatsCommand, JSONLinesAddUp) {
  const auto end = stats({"--json"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(events(end, "section"), SizeIs(2));
  const auto backups = events(end, "backup");
  ASSERT_THAT(backups, SizeIs(2));
  EXPECT_EQ(member(backups[0], "backup"), "2025-03-05T091500Z");
  EXPECT_EQ(within(backups[0], "all", "objects"), "5");
  EXPECT_EQ(within(backups[0], "new", "objects"), "2");
  EXPECT_EQ(within(backups[0], "new", "files"), "1");
  const auto bytes = [&](const char* what) { return std::stoll(within(backups[0], what, "bytes")); };
  EXPECT_EQ(std::stoll(member(backups[0], "shared")) + bytes("unique"), bytes("all"));
  EXPECT_EQ(within(last(end), "packed", "objects"), "3");
  EXPECT_EQ(member(last(end), "packs"), "1");
  EXPECT_EQ(member(last(end), "event"), "finished");
}

TEST_F(StatsCommand, WhatIsMissingIsRemarkedOn) {
  files::remove(folder.objectPath(folder.single[1]));
  test::write(folder.sectionPath(test::CheckedFolder::first), "torn");
  const auto end = stats();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.error, HasSubstr("orvik check says which"));
  EXPECT_THAT(end.error, HasSubstr("2025-03-04T091500Z/sections/policies.json can't be read"));
}

TEST_F(StatsCommand, ASealedFolderNeedsItsKey) {
  const auto organisation = test::OrganisationFiles::make(home.path());
  BackupEncryption::prepare(folder.folder.path(), InMemoryKeyProvider::fromFile(organisation.key));
  BackupEncryption::forgetKeys();
  EXPECT_EQ(stats().status, 12);
  EXPECT_EQ(stats({"--key", organisation.key.string()}).status, 0);
}

TEST_F(StatsCommand, AnotherFolderIsNotFound) {
  EXPECT_EQ(run({"stats", (home / "none").string()}).status, 10);
  EXPECT_EQ(run({"stats"}).status, 2);
}

}  // namespace
}  // namespace orvik
