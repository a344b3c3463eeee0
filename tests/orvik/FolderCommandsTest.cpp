#include "orvik/FolderCommands.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>

#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/InMemoryKeyProvider.h"
#include "OrvikCore/Store/PackCache.h"
#include "OrvikCore/Store/PackStore.h"
#include "tests/Support/FolderHost.h"
#include "tests/Support/OrganisationFiles.h"

namespace orvik {
namespace {

using std::chrono::hours;
using std::chrono::seconds;
using test::member;
using test::ProgramEnd;
using test::RunningProgram;
using test::runToEnd;
using testing::HasSubstr;
using testing::Not;
namespace files = platform::files;

class FolderCommands : public test::FolderHost {
 protected:
  /// An object that no backup refers to.
  std::string addGarbage() const { return store().put("{\"garbage\":true}"); }
  ObjectStore store() const { return sample.repository.store(); }
  bool has(const std::string& hash) const { return files::exists(store().objectURL(hash)); }

  ProgramEnd command(const std::string& name, const Arguments& more) const {
    return run(arguments(name, more));
  }
  Arguments arguments(const std::string& name, const Arguments& more = {}) const {
    Arguments all{name, folder()};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  std::unique_ptr<BackupLock::Holder> otherWriter() const {
    return BackupLock::acquire(root(), "test", platform::now());
  }

  /// A backup of one object, which it gives.
  std::string addBackup(const std::string& id, platform::Date finishedAt, const std::string& body) const {
    const auto hash = store().put(body);
    auto index = test::emptyIndex("policies");
    index.items = {test::itemWithID("1")};
    index.items[0].objects = {{"json", hash}};
    const auto folder = sample.repository.backupDirectory(id);
    BackupRepository::writeIndex(index, folder / BackupFormat::sectionPath("policies"), std::nullopt);
    auto manifest = test::plainManifest(id);
    manifest.finishedAt = finishedAt;
    manifest.sections = {test::summaryOf("policies")};
    test::write(folder / BackupFormat::manifestFile, BackupFormat::makeEncoder().encode(manifest));
    return hash;
  }
  void makeOld(const files::Path& path) const {
    const auto age = std::chrono::floor<std::chrono::seconds>(platform::now() - hours(25)).time_since_epoch();
    const timespec times[2] = {{age.count(), 0}, {age.count(), 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }
  /// Seals the folder, whose content so far is plain, for the key in the file that it gives.
  std::string seal() const {
    const auto key = test::OrganisationFiles::make(home.path()).key;
    BackupEncryption::prepare(root(), InMemoryKeyProvider::fromFile(key));
    BackupEncryption::forgetKeys();
    return key.string();
  }
};

class CollectCommand : public FolderCommands {
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

class RetentionCommand : public FolderCommands {
 protected:
  static constexpr const char* middle = "2025-03-10T000000Z";
  static constexpr const char* newest = "2025-03-20T000000Z";

  RetentionCommand() {
    middleObject = addBackup(middle, test::date("2025-03-10T00:01:00Z"), "{\"of\":\"middle\"}");
    newestObject = addBackup(newest, test::date("2025-03-20T00:01:00Z"), "{\"of\":\"newest\"}");
  }
  ProgramEnd retention(const Arguments& more) const { return command("retention", more); }
  std::vector<std::string> ids() const { return files::visibleNames(root() / "backups"); }

  std::string middleObject;
  std::string newestObject;
};

TEST_F(RetentionCommand, DeletesOldBackupsAndWhatOnlyTheyReferredTo) {
  const auto end = retention({"--keep", "2", "--yes"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(ids(), testing::ElementsAre(middle, newest));
  EXPECT_TRUE(has(middleObject) && has(newestObject));
  EXPECT_FALSE(has(sample.json));
  EXPECT_FALSE(store().hasFile(sample.fileDigest));
  EXPECT_THAT(end.output, HasSubstr("Deleted 1 backup, 3 objects and 1 package file; "));
  EXPECT_FALSE(files::exists(lockPath()));
}

TEST_F(RetentionCommand, ADryRunSaysOfEachBackupWhyAndChangesNothing) {
  const auto before = content();
  const auto end = retention({"--keep=2", "--keep-days=5", "--dry-run"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, testing::ContainsRegex(std::string(newest) + " .*stays: the newest backup"));
  EXPECT_THAT(end.output,
              testing::ContainsRegex(std::string(middle) + " .*goes: it finished more than 5 days"));
  EXPECT_THAT(end.output, testing::ContainsRegex(std::string(test::SampleFolder::backupID) + " .*goes: "));
  EXPECT_THAT(end.output, HasSubstr("Would delete 2 backups, 4 objects and 1 package file; "));
  EXPECT_THAT(end.output, HasSubstr(" of the backups' own folders.\n"));
  EXPECT_EQ(content(), before);
  EXPECT_THAT(retention({"--keep=9", "--dry-run"}).output, HasSubstr("stays: within the limits"));
}

TEST_F(RetentionCommand, TheNewestStaysWhateverTheLimitsSay) {
  EXPECT_EQ(retention({"--keep=1", "--keep-days=1", "--yes"}).status, 0);
  EXPECT_THAT(ids(), testing::ElementsAre(newest));
  EXPECT_TRUE(has(newestObject));
}

TEST_F(RetentionCommand, WithNothingToDeleteItSaysWhy) {
  const auto before = content();
  const auto end = retention({"--keep", "3", "--yes"});
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.output, HasSubstr("Nothing to delete: every backup is within the limits.\n"));
  EXPECT_EQ(content(), before);
}

TEST_F(RetentionCommand, RefusesAsACollectionDoes) {
  files::remove(sample.index());
  const auto before = content();
  const auto end = retention({"--keep", "1", "--yes"});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr(sample.index().string()));
  EXPECT_EQ(content(), before);
  EXPECT_EQ(retention({"--keep", "1"}).status, 2);
}

TEST_F(RetentionCommand, ASealedFolderNeedsItsKey) {
  const auto key = seal();
  EXPECT_EQ(retention({"--keep", "1", "--yes"}).status, 12);
  EXPECT_EQ(ids().size(), 3u);
  EXPECT_EQ(retention({"--keep", "1", "--yes", "--key", key}).status, 0);
  EXPECT_EQ(ids().size(), 1u);
}

TEST_F(RetentionCommand, ABackupOfTheFutureIsRemarkedOn) {
  EXPECT_THAT(retention({"--keep=9", "--dry-run"}).error, Not(HasSubstr("future")));
  addBackup("2999-01-01T000000Z", test::date("2999-01-01T00:01:00Z"), "{}");
  EXPECT_THAT(retention({"--keep=9", "--dry-run"}).error,
              HasSubstr("The newest backup 2999-01-01T000000Z lies in the future"));
  const auto lines = linesOf(retention({"--keep=9", "--dry-run", "--json"}));
  EXPECT_EQ(member(lines.at(0), "event"), "note");
}

TEST_F(RetentionCommand, JSONNamesEveryBackupAndEndsWithTheResult) {
  const auto lines = linesOf(retention({"--keep=2", "--yes", "--json"}));
  ASSERT_GE(lines.size(), 4u);
  EXPECT_EQ(member(lines[0], "event"), "verdict");
  EXPECT_EQ(member(lines[0], "backupID"), newest);
  EXPECT_EQ(member(lines[0], "stays"), "true");
  EXPECT_EQ(member(lines[0], "reason"), "newest");
  EXPECT_EQ(member(lines[1], "reason"), "withinLimits");
  EXPECT_EQ(member(lines[2], "reason"), "beyondCount");
  EXPECT_EQ(member(lines[2], "finishedAt"), "2025-03-04T09:15:07Z");
  const auto* result = lines.back().find("result");
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(member(*result, "removedBackups"), std::string("[\"") + test::SampleFolder::backupID + "\"]");
  EXPECT_EQ(member(*result, "removedObjects"), "3");
}

class PackCommand : public FolderCommands {
 protected:
  ProgramEnd pack(const Arguments& more = {}) const { return command("pack", more); }
  std::size_t looseCount() const { return PackStore::looseObjects(root()).size(); }
};

TEST_F(PackCommand, MovesSingleObjectsIntoOneFile) {
  ASSERT_EQ(looseCount(), 3u);
  const auto end = pack();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, testing::MatchesRegex("Packed 3 objects \\([^\n]*\\) into one file.\n"));
  EXPECT_EQ(looseCount(), 0u);
  PackCache::shared().invalidate(store().packsDirectory());
  EXPECT_TRUE(store().has(sample.json, ObjectStore::IncludingOverlay::no));
  EXPECT_FALSE(files::exists(lockPath()));
  const auto again = pack();
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.output, "Nothing to pack: there are no single object files.\n");
}

TEST_F(PackCommand, ADamagedObjectStaysAndIsRemarkedOn) {
  test::write(store().objectURL(sample.json), "damaged");
  const auto end = pack({"--json"});
  EXPECT_EQ(end.status, 0) << end.error;
  const auto lines = linesOf(end);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_THAT(member(lines[0], "text"), HasSubstr("1 object file stay"));
  EXPECT_EQ(member(lines[1], "event"), "finished");
  EXPECT_EQ(member(lines[1], "objects"), "2");
  EXPECT_EQ(member(lines[1], "left"), "1");
  EXPECT_EQ(files::read(store().objectURL(sample.json)), "damaged");
  EXPECT_EQ(pack().output, "Nothing was packed.\n");
}

TEST_F(PackCommand, ASealedFolderNeedsItsKey) {
  const auto key = seal();
  const auto before = content();
  EXPECT_EQ(pack().status, 12);
  EXPECT_EQ(content(), before);
  EXPECT_EQ(pack({"--key", key}).status, 0);
  EXPECT_EQ(looseCount(), 0u);
}

TEST_F(PackCommand, AnotherWriterIsRespected) {
  const auto other = otherWriter();
  const auto before = content();
  EXPECT_EQ(pack().status, 11);
  EXPECT_EQ(content(), before);
}

}  // namespace
}  // namespace orvik
