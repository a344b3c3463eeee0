#include "orvik/Folder/FolderCommands.h"

#include "tests/Support/FolderCare.h"

namespace orvik {
namespace {

using test::member;
using test::ProgramEnd;
using test::RunningProgram;
using test::runToEnd;
using testing::HasSubstr;
namespace files = platform::files;

class CollectCommand : public test::FolderCare {
 protected:
  ProgramEnd gc(const Arguments& more = {"--yes"}) const { return command("gc", more); }
  ProgramEnd gcTyping(const std::string& answer) const { return runToEnd(typing(answer, arguments("gc"))); }

  /// It ends with that status and says so by name, and the folder is as it was.
  void expectRefusal(int status, const std::string& named, const Arguments& more = {"--yes"}) const {
    const auto before = content();
    const auto end = gc(more);
    EXPECT_EQ(end.status, status) << end.error;
    EXPECT_THAT(end.error, HasSubstr(named));
    EXPECT_EQ(content(), before);
  }
};

TEST_F(CollectCommand, DeletesWhatNoBackupRefersToAndSaysWhat) {
  const auto garbage = addGarbage();
  const auto end = gc();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("1 single object that no backup refers to; "));
  EXPECT_THAT(end.output, HasSubstr("Deleted 1 object; "));
  EXPECT_FALSE(has(garbage));
  EXPECT_TRUE(has(sample.json) && has(sample.xml) && has(sample.package));
  EXPECT_TRUE(store().hasFile(sample.fileDigest));
  EXPECT_FALSE(files::exists(lockPath()));
}

TEST_F(CollectCommand, WithNothingToDeleteItSaysWhy) {
  const auto before = content();
  const auto end = gc();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("Nothing to delete: "));
  EXPECT_EQ(content(), before);
}

TEST_F(CollectCommand, ADryRunShowsWhatWouldGoAndChangesNothing) {
  const auto garbage = addGarbage();
  const auto other = otherWriter();
  const auto before = content();
  const auto end = gc({"--dry-run"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("store/objects/" + garbage.substr(0, 2) + "/" + garbage + ".json"));
  EXPECT_THAT(end.output, HasSubstr("Would delete 1 object; "));
  EXPECT_EQ(content(), before);
}

TEST_F(CollectCommand, WithoutATerminalYesIsNeeded) {
  addGarbage();
  expectRefusal(2, "--yes", {});
}

TEST_F(CollectCommand, AtATerminalAPersonIsAsked) {
  const auto garbage = addGarbage();
  const auto before = content();
  auto end = gcTyping("n");
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("Delete 1 object; "));
  EXPECT_THAT(end.output, HasSubstr("Nothing was deleted.\n"));
  EXPECT_EQ(content(), before);
  end = gcTyping("y");
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_FALSE(has(garbage));
}

TEST_F(CollectCommand, TheLockIsHeldWhileAPersonThinksAndReleasedOnASignal) {
  addGarbage();
  const auto before = content();
  auto program = typing("", arguments("gc"));
  program.input = "";
  RunningProgram running(program);
  ASSERT_TRUE(running.waitFor("[y/N]"));
  const auto lock = BackupLock::current(root());
  ASSERT_TRUE(lock);
  EXPECT_EQ(lock->processID, running.id());
  running.send(SIGTERM);
  EXPECT_EQ(running.wait().status, 130);
  EXPECT_EQ(content(), before);
}

TEST_F(CollectCommand, WhatAppearsWhileAPersonThinksStopsTheDeletion) {
  const auto garbage = addGarbage();
  auto program = typing("", arguments("gc"));
  program.input = "";
  RunningProgram running(program);
  ASSERT_TRUE(running.waitFor("[y/N]"));
  addBackup("2025-03-06T091500Z", platform::now(), "{\"garbage\":true}");
  running.type("y\n");
  const auto end = running.wait();
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("2025-03-06T091500Z"));
  EXPECT_TRUE(has(garbage));
}

TEST_F(CollectCommand, AMissingIndexIsARefusalThatNamesIt) {
  addGarbage();
  files::remove(sample.index());
  expectRefusal(1, sample.index().string());
  expectRefusal(1, sample.index().string(), {"--dry-run"});
}

TEST_F(CollectCommand, AnIndexThatCannotBeDecodedIsARefusalThatNamesIt) {
  addGarbage();
  test::write(sample.index(), "torn");
  expectRefusal(1, sample.index().string());
}

TEST_F(CollectCommand, AnUnreadableManifestIsARefusalThatNamesIt) {
  addGarbage();
  test::write(sample.manifest(), "torn");
  expectRefusal(1, sample.manifest().string());
}

TEST_F(CollectCommand, MissingBackupsAreARefusal) {
  files::removeTree(root() / "backups");
  expectRefusal(1, (root() / "backups").string());
}

TEST_F(CollectCommand, AnInterruptedRunIsARefusalUnlessItIsTold) {
  const auto garbage = addGarbage();
  const auto journaled = store().put("{\"journaled\":true}");
  files::createDirectories(sample.partial());
  {
    BackupJournal journal(sample.partial());
    auto entry = test::journalEntry("policies", "9");
    entry.item.objects = {{"json", journaled}};
    journal.append(entry);
  }
  expectRefusal(1, sample.partial().string());
  expectRefusal(1, "--with-unfinished");
  const auto end = gc({"--yes", "--with-unfinished"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_FALSE(has(garbage));
  EXPECT_TRUE(has(journaled));
}

TEST_F(CollectCommand, ASealedFolderNeedsItsKey) {
  const auto garbage = addGarbage();
  const auto key = seal();
  expectRefusal(12, "key");
  expectRefusal(12, "key", {"--dry-run"});
  const auto end = gc({"--yes", "--key", key});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_FALSE(has(garbage));
}

TEST_F(CollectCommand, WhatACrashLeftGoesWhenItIsOlderThanADay) {
  const std::string id = ".6F9619FF-8B86-D011-B42D-00CF4FC964FF.tmp";
  const auto old = root() / "store/objects/ab" / (".old" + id);
  const auto recent = root() / (".recent" + id);
  const auto pack = root() / "store/packs/lost.pack";
  for (const auto& path : {old, recent, pack}) test::write(path, "abc");
  makeOld(old);
  makeOld(pack);
  const auto dryRun = gc({"--dry-run"});
  EXPECT_THAT(dryRun.output, HasSubstr("2 files that a crash left, older than a day; 6 bytes\n"));
  EXPECT_THAT(dryRun.output, HasSubstr("lost.pack"));
  EXPECT_TRUE(files::exists(old));
  const auto end = gc();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("Deleted 2 leftovers; 6 bytes.\n"));
  EXPECT_FALSE(files::exists(old) || files::exists(pack));
  EXPECT_TRUE(files::exists(recent));
}

TEST_F(CollectCommand, AFolderWithoutAManifestIsReportedAndStays) {
  const auto folder = sample.repository.backupDirectory("2025-03-07T091500Z");
  files::createDirectories(folder / "sections");
  const auto end = gc();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("2025-03-07T091500Z"));
  EXPECT_TRUE(files::isDirectory(folder));
}

TEST_F(CollectCommand, AnotherWriterIsRespectedAndWaitedFor) {
  const auto garbage = addGarbage();
  auto other = otherWriter();
  EXPECT_EQ(gc().status, 11);
  EXPECT_EQ(gc({"--yes", "--lock-wait", "0.2"}).status, 11);
  EXPECT_TRUE(has(garbage));
  RunningProgram running(start(arguments("gc", {"--yes", "--lock-wait", "60"})));
  ASSERT_TRUE(running.waitFor("waiting up to 1 min 0 s"));
  other->release();
  EXPECT_EQ(running.wait().status, 0);
  EXPECT_FALSE(has(garbage));
}

TEST_F(CollectCommand, ASignalEndsTheWait) {
  const auto other = otherWriter();
  RunningProgram running(start(arguments("gc", {"--yes", "--lock-wait", "60"})));
  ASSERT_TRUE(running.waitFor("waiting up to"));
  running.send(SIGINT);
  EXPECT_EQ(running.wait().status, 130);
  EXPECT_EQ(other->takenOverBy(), std::nullopt);
  EXPECT_TRUE(files::exists(lockPath()));
}

TEST_F(CollectCommand, AFolderThatIsNoneIsNotFoundAndNothingIsMade) {
  for (const std::string name : {"gc", "pack", "retention"})
    for (const auto& path : {home.path() / "none", home.path()}) {
      const auto before = test::contentOf(home.path());
      Arguments all{name, path.string()};
      if (name != "pack") all.push_back("--yes");
      if (name == "retention") all.push_back("--keep=1");
      EXPECT_EQ(run(all).status, 10) << name;
      EXPECT_EQ(test::contentOf(home.path()), before);
    }
  EXPECT_FALSE(files::exists(home.path() / "none"));
}

TEST_F(CollectCommand, JSONNamesEveryEntryAndEndsWithTheResult) {
  const auto garbage = addGarbage();
  auto lines = linesOf(gc({"--dry-run", "--json"}));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(member(lines[0], "event"), "garbage");
  EXPECT_EQ(member(lines[0], "kind"), "object");
  EXPECT_THAT(member(lines[0], "path"), HasSubstr(garbage));
  EXPECT_EQ(member(lines[1], "event"), "finished");
  EXPECT_EQ(member(lines[1], "dryRun"), "true");
  lines = linesOf(gc({"--yes", "--json"}));
  EXPECT_EQ(member(lines.back(), "dryRun"), "false");
  const auto* result = lines.back().find("result");
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(member(*result, "removedObjects"), "1");
  EXPECT_EQ(member(*result, "removedBackups"), "[]");
  EXPECT_EQ(member(*lines.back().find("leftovers"), "files"), "0");
  const auto failed = run({"gc", (home.path() / "none").string(), "--yes", "--json"});
  EXPECT_EQ(member(linesOf(failed).at(0), "event"), "failed");
  EXPECT_EQ(member(linesOf(failed).at(0), "exit"), "10");
}

TEST_F(CollectCommand, QuietLeavesTheResultAlone) {
  addGarbage();
  const auto end = gc({"--yes", "--quiet"});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.error, "");
  EXPECT_THAT(end.output, testing::MatchesRegex("Deleted 1 object; [^\n]*\n"));
}

}  // namespace
}  // namespace orvik
