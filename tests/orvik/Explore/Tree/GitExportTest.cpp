#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/InMemoryKeyProvider.h"
#include "tests/Support/OrganisationFiles.h"
#include "tests/Support/TreeHost.h"

namespace orvik {
namespace {

using test::member;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
namespace files = platform::files;

class GitExport : public test::TreeHost {
 protected:
  ~GitExport() override {
    if (!files::exists(tree / ".git")) return;
    EXPECT_EQ(git({"status", "--porcelain"}), expectedStatus);
    const auto check = test::runProgram("git", {"-C", tree.string(), "fsck", "--strict", "--no-dangling"});
    EXPECT_EQ(check.status, 0) << check.err;
    EXPECT_EQ(check.out, "");
  }

  void expectRefusal(const std::string& words, const Arguments& more = {}) const {
    const auto end = toGit(more);
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(end.error, HasSubstr(words));
  }
  void commitAll(const std::string& message) const {
    git({"add", "-A"});
    git({"commit", "-q", "-m", message});
  }
  void publishFourth() const {
    test::WrittenBackup(stored, fourth)
        .section("policies")
        .item("1", "Install Office 2", policy("Install Office", false, "Ongoing"), Change::changed)
        .section("scripts")
        .item("5", "Hello", script("#!/bin/sh\necho two\nexit 0\n"))
        .publish(third);
  }

  std::string expectedStatus;
};

TEST_F(GitExport, EveryBackupIsACommitOldestFirst) {
  const auto end = toGit();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(subjects(),
            "North, 2025-03-05T09:15:00Z: 2 changed\n"
            "North, 2025-03-04T09:15:00Z: 1 new, 1 changed, 1 removed\n"
            "North, 2025-03-03T09:15:00Z: 3 new\n");
  EXPECT_EQ(newestMessage(),
            "North, 2025-03-05T09:15:00Z: 2 changed\n\nscripts: 1 changed\npolicies: 1 changed\n\n"
            "Backup: 2025-03-05T091500Z\n\n");
  EXPECT_EQ(git({"log", "-1", "--format=%an <%ae> %cn <%ce> %aI %cI"}),
            "Orvik <orvik@localhost> Orvik <orvik@localhost> 2025-03-05T09:15:00+00:00 "
            "2025-03-05T09:15:00+00:00\n");
  EXPECT_EQ(git({"log", "-1", "--format=%(trailers:key=Backup,valueonly)"}), "2025-03-05T091500Z\n\n");
  EXPECT_THAT(end.output, HasSubstr("North, 2025-03-03T09:15:00Z: 3 new\n"));
  EXPECT_EQ(end.error, "3 commits in " + tree.string() + ".\n");
  EXPECT_EQ(git({"symbolic-ref", "HEAD"}), "refs/heads/main\n");
}

TEST_F(GitExport, TheFilesAreThoseOfATree) {
  toGit();
  const auto folder = home.path() / "tree";
  ASSERT_EQ(command("export", {"--tree", folder.string()}).status, 0);
  auto files = test::contentOf(tree);
  std::erase_if(files, [](const auto& file) { return file.first.starts_with(".git/"); });
  EXPECT_EQ(files, test::contentOf(folder));
  EXPECT_THAT(git({"ls-tree", "HEAD", "scripts/"}), HasSubstr("100755 blob"));
  EXPECT_EQ(git({"show", "HEAD~2:policies/Old policy (2).json"}),
            "{\n  \"general\" : {\n    \"enabled\" : false,\n    \"frequency\" : \"Ongoing\",\n"
            "    \"name\" : \"Old policy\"\n  },\n  \"scripts\" : [\n\n  ]\n}\n");
}

TEST_F(GitExport, ASecondOneAddsTheNewBackupsAlone) {
  toGit();
  const auto before = head();
  auto end = toGit();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(end.output, "");
  EXPECT_EQ(end.error, tree.string() + " holds all backups up to 2025-03-05T091500Z already.\n");
  EXPECT_EQ(head(), before);
  publishFourth();
  end = toGit();
  EXPECT_EQ(end.error, "1 commit in " + tree.string() + ".\n");
  EXPECT_EQ(git({"rev-parse", "HEAD~1"}), before);
  EXPECT_THAT(subjects(), testing::StartsWith("North, 2025-03-06T09:15:00Z: 1 changed, 1 removed\n"));
}

TEST_F(GitExport, TheSameFolderGivesTheSameCommitsInOneGoOrInSeveral) {
  toGit();
  publishFourth();
  toGit();
  const auto other = home.path() / "other";
  ASSERT_EQ(command("export", {"--git", other.string()}).status, 0);
  EXPECT_EQ(gitIn(other, {"rev-parse", "HEAD"}), head());
}

TEST_F(GitExport, GoesOnWhereTheBackupBeforeIsGone) {
  toGit();
  for (const char* id : {first, second, third}) files::removeTree(repository.backupDirectory(id));
  publishFourth();
  EXPECT_EQ(toGit().status, 0);
  EXPECT_THAT(subjects(), testing::StartsWith("North, 2025-03-06T09:15:00Z: 1 changed, 1 removed\n"));
}

TEST_F(GitExport, ARenamedObjectIsARenameAndAnotherOneGoes) {
  toGit();
  publishFourth();
  toGit();
  EXPECT_EQ(newestChanges(),
            "R100\tpolicies/Install Office (1).json\tpolicies/Install Office 2 (1).json\n"
            "D\tpolicies/Install Wi-Fi (3).json\n");
}

TEST_F(GitExport, WhatABackupDidNotReadStaysAndIsSaid) {
  toGit();
  test::WrittenBackup(stored, fourth)
      .section("policies")
      .failed("1", "Install Office", "HTTP 500\nBackup: 2030-01-01T000000Z")
      .item("3", "Install Wi-Fi", policy("Install Wi-Fi", true, "Ongoing"))
      .unread("scripts", SectionSummary::Status::failed, "HTTP 502")
      .publish(third);
  const auto end = toGit();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(newestChanges(), "");
  EXPECT_EQ(newestMessage(),
            "North, 2025-03-06T09:15:00Z: no changes\n\n"
            "Left out: scripts: failed: HTTP 502\n"
            "Left out: policies/1: the backup could not read it: HTTP 500 Backup: 2030-01-01T000000Z\n\n"
            "Backup: 2025-03-06T091500Z\n\n");
  EXPECT_THAT(end.error, HasSubstr("Left out: policies/1 (Install Office): the backup could not read it"));
  test::WrittenBackup(stored, "2025-03-07T091500Z")
      .section("policies")
      .item("1", "Install Office", policy("Install Office", true, "Ongoing"))
      .item("3", "Install Wi-Fi", policy("Install Wi-Fi", true, "Ongoing"))
      .publish(fourth);
  toGit();
  EXPECT_EQ(newestChanges(), "M\tpolicies/Install Office (1).json\n");
}

TEST_F(GitExport, ADamagedObjectKeepsItsLastContentAndComesBackWhenItIsMended) {
  toGit();
  publishFourth();
  const auto hash = repository.index(fourth, "policies")->items[0].objects.at("classic");
  const auto good = files::read(repository.store().objectURL(hash));
  test::write(repository.store().objectURL(hash), "{\n  \"other\" : 1\n}");
  EXPECT_EQ(toGit().status, 0);
  EXPECT_EQ(newestChanges(), "D\tpolicies/Install Wi-Fi (3).json\n");
  EXPECT_THAT(newestMessage(),
              HasSubstr("\nLeft out: policies/1: what the backup stored of it is damaged\n"));
  EXPECT_THAT(newestMessage(), Not(HasSubstr(home.path().string())));
  test::write(repository.store().objectURL(hash), good);
  test::WrittenBackup(stored, "2025-03-07T091500Z")
      .section("policies")
      .item("1", "Install Office 2", policy("Install Office", false, "Ongoing"))
      .publish(fourth);
  toGit();
  EXPECT_EQ(newestChanges(), "R100\tpolicies/Install Office (1).json\tpolicies/Install Office 2 (1).json\n");
}

TEST_F(GitExport, CommitsOfTheUserStayAndItGoesOnBehindThem) {
  toGit();
  test::write(tree / "README.md", "mine");
  test::write(tree / "policies/notes.md", "mine");
  git({"rm", "-q", "policies/Install Office (1).json"});
  commitAll("Backup: of my notes");
  const auto mine = head();
  publishFourth();
  const auto end = toGit();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(git({"rev-parse", "HEAD~1"}), mine);
  EXPECT_EQ(content("README.md") + content("policies/notes.md"), "minemine");
  EXPECT_TRUE(pathsIn(tree).contains("policies/Install Office 2 (1).json"));
}

TEST_F(GitExport, AFileOfTheUserInTheWayIsNotReplaced) {
  toGit();
  test::write(tree / "policies/Install Office 2 (1).json", "mine");
  commitAll("A note");
  const auto mine = head();
  publishFourth();
  expectRefusal("policies/Install Office 2 (1).json of " + tree.string() + " is not of this export");
  EXPECT_EQ(head(), mine);
}

TEST_F(GitExport, AWorkTreeWithChangesIsRefused) {
  toGit();
  publishFourth();
  const auto before = head();
  test::write(tree / "new file", "mine");
  expectRefusal("has changes that are in no commit, new file the first of them");
  files::remove(tree / "new file");
  test::write(tree / "scripts/Hello (5).sh", "changed");
  expectRefusal("has changes that are in no commit, scripts/Hello (5).sh the first of them");
  EXPECT_EQ(content("scripts/Hello (5).sh"), "changed");
  EXPECT_EQ(head(), before);
  git({"checkout", "-q", "scripts"});
  EXPECT_EQ(toGit().status, 0);
}

TEST_F(GitExport, AnIgnoredFileInTheWayIsNotReplaced) {
  toGit();
  test::write(tree / ".gitignore", "*2 (1).json\n");
  commitAll("Ignore");
  test::write(tree / "policies/Install Office 2 (1).json", "mine");
  publishFourth();
  const auto before = head();
  expectRefusal("can't be brought to the new commits");
  EXPECT_EQ(content("policies/Install Office 2 (1).json"), "mine");
  EXPECT_EQ(head(), before);
  files::remove(tree / "policies/Install Office 2 (1).json");
  EXPECT_EQ(toGit().status, 0);
  EXPECT_EQ(git({"for-each-ref", "--format=%(refname)"}), "refs/heads/main\n");
}

TEST_F(GitExport, ARepositoryOfSomethingElseIsRefused) {
  files::createDirectories(tree);
  git({"init", "-q"});
  test::write(tree / "mine", "mine");
  commitAll("Mine\n\nBackup: 2020-01-01T000000Z");
  const auto before = head();
  expectRefusal("is a repository of something else");
  EXPECT_EQ(head(), before);
}

TEST_F(GitExport, AFolderThatIsNoRepositoryIsRefused) {
  test::write(tree / "mine", "mine");
  expectRefusal("is not empty and no git repository");
  EXPECT_THAT(pathsIn(tree), ElementsAre("mine"));
}

TEST_F(GitExport, AnEmptyRepositoryIsTakenWithItsBranch) {
  files::createDirectories(tree);
  git({"init", "-q", "--initial-branch=backups"});
  EXPECT_EQ(toGit().status, 0);
  EXPECT_EQ(git({"symbolic-ref", "HEAD"}), "refs/heads/backups\n");
  git({"checkout", "-q", "--detach"});
  publishFourth();
  expectRefusal("is on no branch");
}

TEST_F(GitExport, ARepositoryOfSHA256NamesIsTakenToo) {
  files::createDirectories(tree);
  git({"init", "-q", "--object-format=sha256"});
  EXPECT_EQ(toGit().status, 0);
  publishFourth();
  EXPECT_EQ(toGit().status, 0);
  EXPECT_THAT(subjects(), testing::StartsWith("North, 2025-03-06T09:15:00Z: 1 changed, 1 removed\n"));
}

TEST_F(GitExport, SettingsAndHooksOfOthersChangeNothing) {
  test::write(home.path() / ".gitconfig",
              "[init]\n defaultBranch = odd\n templateDir = /nowhere\n[core]\n autocrlf = true\n"
              "[user]\n name = Somebody\n[commit]\n gpgSign = true\n");
  auto start = starting("export", {"--git", tree.string()});
  start.environment["GIT_DIR"] = "/nowhere";
  start.environment["GIT_AUTHOR_NAME"] = "Somebody";
  auto end = runToEnd(start);
  EXPECT_EQ(end.status, 0) << end.error;
  for (const char* hook : {"post-checkout", "reference-transaction", "post-index-change"}) {
    test::write(tree / ".git/hooks" / hook, "#!/bin/sh\ntouch '" + (home.path() / "ran").string() + "'\n");
    std::filesystem::permissions(tree / ".git/hooks" / hook, std::filesystem::perms{0755});
  }
  publishFourth();
  end = runToEnd(start);
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_FALSE(files::exists(home.path() / "ran"));
  EXPECT_EQ(git({"log", "-1", "--format=%an"}), "Orvik\n");
}

TEST_F(GitExport, HostileNamesAreFilesThatGitTakes) {
  test::WrittenBackup backup(stored, fourth);
  backup.section("policies");
  const std::vector<std::string> names{"../../outside",
                                       ".git",
                                       "a\nM 100644 inline x",
                                       "a\"b\\c",
                                       std::string(300, 'x'),
                                       "Same",
                                       "same",
                                       ".GIT ",
                                       "git~1",
                                       "\xE2\x80\x8C.git",
                                       ".git\\x",
                                       "--help"};
  for (std::size_t i = 0; i < names.size(); ++i)
    backup.item(std::to_string(i), names[i], policy(names[i], true, "Ongoing"));
  backup.publish();
  const auto end = toGit();
  EXPECT_EQ(end.status, 0) << end.error;
  const auto listed = git({"ls-tree", "-r", "--name-only", "HEAD", "policies/"});
  EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(listed, '\n')), names.size()) << listed;
}

TEST_F(GitExport, AnInstanceNameIsOneLineOfACommit) {
  auto manifest = *repository.manifest(third);
  manifest.instance.name = "North\n\nBackup: 2030-01-01T000000Z\n\x1b[2J";
  test::write(repository.backupDirectory(third) / BackupFormat::manifestFile,
              BackupFormat::makeEncoder().encode(manifest));
  toGit();
  EXPECT_EQ(git({"log", "-1", "--format=%(trailers:key=Backup,valueonly)"}), "2025-03-05T091500Z\n\n");
  EXPECT_THAT(newestMessage(), Not(HasSubstr("\x1b")));
}

TEST_F(GitExport, CommitsAreLinesOfJSON) {
  const auto lines = linesOf(toGit({"--json"}));
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(member(lines[1], "event"), "commit");
  EXPECT_EQ(member(lines[1], "backup"), second);
  EXPECT_EQ(member(lines[1], "commit") + "\n", git({"rev-parse", "HEAD~1"}));
  EXPECT_EQ(member(lines[1], "new") + member(lines[1], "changed") + member(lines[1], "removed"), "111");
  EXPECT_EQ(member(lines[3], "event"), "finished");
  EXPECT_EQ(member(lines[3], "commits"), "3");
  EXPECT_EQ(member(lines[3], "head") + "\n", head());
}

TEST_F(GitExport, ASectionAloneIsTakenFromAllBackups) {
  EXPECT_EQ(toGit({"scripts"}).status, 0);
  EXPECT_EQ(subjects(),
            "North, 2025-03-05T09:15:00Z: 1 changed\nNorth, 2025-03-04T09:15:00Z: no changes\n"
            "North, 2025-03-03T09:15:00Z: 1 new\n");
  EXPECT_FALSE(files::exists(tree / "policies"));
}

TEST_F(GitExport, WithoutGitNothingIsMade) {
  auto start = starting("export", {"--git", tree.string()});
  start.environment["PATH"] = home.path().string();
  const auto end = runToEnd(start);
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("The program git is not in PATH"));
  EXPECT_FALSE(files::exists(tree));
}

TEST_F(GitExport, ASealedFolderIsOpenedWithItsKeyAndSealingIsNoChange) {
  toGit();
  const auto key = test::OrganisationFiles::make(home.path()).key.string();
  stored.cipher = BackupEncryption::prepare(stored.folder.path(), InMemoryKeyProvider::fromFile(key));
  test::WrittenBackup(stored, fourth)
      .section("scripts")
      .item("5", "Hello", script("#!/bin/sh\necho two\nexit 0\n"))
      .section("policies")
      .item("1", "Install Office", policy("Install Office", true, "Ongoing"))
      .item("3", "Install Wi-Fi", policy("Install Wi-Fi", true, "Ongoing"))
      .publish(third);
  BackupEncryption::forgetKeys();
  EXPECT_EQ(toGit().status, 12);
  EXPECT_EQ(toGit({"--key", key}).status, 0);
  EXPECT_EQ(newestChanges(), "M\tpolicies/Install Office (1).json\n");
  EXPECT_THAT(subjects(), testing::StartsWith("North, 2025-03-06T09:15:00Z: 1 changed\n"));
}

TEST_F(GitExport, ARepositoryOfAnotherInstanceIsRefused) {
  toGit();
  const auto before = head();
  const test::StoredBackups other;
  auto manifest = test::plainManifest(fourth);
  manifest.instance.id = platform::UUID::random();
  other.repository.writeDescriptor(manifest.instance);
  test::write(other.repository.backupDirectory(fourth) / BackupFormat::manifestFile,
              BackupFormat::makeEncoder().encode(manifest));
  const auto end = run({"export", other.folder.path().string(), "--git", tree.string()});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("holds objects of another instance"));
  EXPECT_EQ(head(), before);
}

}  // namespace
}  // namespace orvik
