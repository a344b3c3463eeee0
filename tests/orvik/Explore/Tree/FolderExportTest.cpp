#include <sys/stat.h>

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

class FolderExport : public test::TreeHost {
 protected:
  void expectRefusal(const std::string& words, const Arguments& more = {}) const {
    const auto end = toTree(more);
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(end.error, HasSubstr(words));
  }
  std::filesystem::file_time_type timeOf(const std::string& path) const {
    return std::filesystem::last_write_time(tree / path);
  }
};

TEST_F(FolderExport, EveryObjectIsAFileUnderItsNameAndID) {
  const auto end = toTree();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(pathsIn(tree),
              ElementsAre(".orvik/policies.json", ".orvik/scripts.json", "backup.json",
                          "policies/Install Office (1).json", "policies/Install Wi-Fi (3).json",
                          "scripts/Hello (5).json", "scripts/Hello (5).sh"));
  EXPECT_EQ(content("scripts/Hello (5).sh"), "#!/bin/sh\necho two\nexit 0\n");
  EXPECT_EQ(content("policies/Install Wi-Fi (3).json"),
            "{\n  \"general\" : {\n    \"enabled\" : true,\n    \"frequency\" : \"Ongoing\",\n"
            "    \"name\" : \"Install Wi-Fi\"\n  },\n  \"scripts\" : [\n\n  ]\n}\n");
  struct stat status {};
  ASSERT_EQ(::stat((tree / "scripts/Hello (5).sh").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0755u);
  EXPECT_THAT(end.output, HasSubstr((tree / "scripts/Hello (5).sh").string() + "\n"));
  EXPECT_EQ(end.error, "4 files in " + tree.string() + ": 4 written, 0 deleted.\n");
}

TEST_F(FolderExport, ARecordSaysWhatTheTreeIsOf) {
  toTree();
  const auto record = content("backup.json");
  EXPECT_THAT(record, HasSubstr("\"backup\" : \"2025-03-05T091500Z\""));
  EXPECT_THAT(record, HasSubstr("\"finishedAt\" : \"2025-03-05T09:15:00Z\""));
  EXPECT_THAT(record, HasSubstr("\"policies\" : {\n      \"objects\" : 2,\n      \"status\" : \"complete\""));
  EXPECT_THAT(record, Not(HasSubstr("unfinished")));
}

TEST_F(FolderExport, IsBroughtFromOneBackupToAnotherAndLeavesTheRestAlone) {
  toTree({"--backup", first});
  EXPECT_TRUE(pathsIn(tree).contains("policies/Old policy (2).json"));
  test::write(tree / "README.md", "mine");
  test::write(tree / "policies/notes (2).json", "mine too");
  test::write(tree / "own/file", "and mine");
  const auto script = timeOf("scripts/Hello (5).json");
  const auto end = toTree({"--backup", second});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(end.error, "4 files in " + tree.string() + ": 2 written, 1 deleted.\n");
  EXPECT_FALSE(pathsIn(tree).contains("policies/Old policy (2).json"));
  EXPECT_EQ(content("README.md") + content("policies/notes (2).json") + content("own/file"),
            "minemine tooand mine");
  EXPECT_EQ(timeOf("scripts/Hello (5).json"), script);
}

TEST_F(FolderExport, ASecondOneOfTheSameBackupTouchesNothing) {
  toTree();
  std::map<std::string, std::filesystem::file_time_type> before;
  for (const auto& path : pathsIn(tree)) before[path] = timeOf(path);
  const auto end = toTree();
  EXPECT_EQ(end.output, "");
  EXPECT_EQ(end.error, "4 files in " + tree.string() + ": 0 written, 0 deleted.\n");
  for (const auto& path : pathsIn(tree)) EXPECT_EQ(timeOf(path), before[path]) << path;
}

TEST_F(FolderExport, WhatSomebodyChangedOrDeletedIsMended) {
  toTree();
  test::write(tree / "scripts/Hello (5).sh", "changed");
  files::remove(tree / "policies/Install Office (1).json");
  EXPECT_EQ(toTree().error, "4 files in " + tree.string() + ": 2 written, 0 deleted.\n");
  EXPECT_EQ(content("scripts/Hello (5).sh"), "#!/bin/sh\necho two\nexit 0\n");
}

TEST_F(FolderExport, ASectionAloneLeavesTheOthersAsTheyAre) {
  EXPECT_EQ(toTree({"scripts", "--backup", first}).status, 0);
  EXPECT_THAT(pathsIn(tree), ElementsAre(".orvik/scripts.json", "backup.json", "scripts/Hello (5).json",
                                         "scripts/Hello (5).sh"));
  toTree({"--backup", first});
  toTree({"scripts"});
  EXPECT_EQ(content("scripts/Hello (5).sh"), "#!/bin/sh\necho two\nexit 0\n");
  EXPECT_TRUE(pathsIn(tree).contains("policies/Old policy (2).json"));
}

TEST_F(FolderExport, WhatABackupDidNotReadStays) {
  toTree();
  test::WrittenBackup(stored, fourth)
      .section("policies")
      .item("3", "Install Wi-Fi", policy("Install Wi-Fi", false, "Ongoing"), Change::changed)
      .failed("1", "Install Office", "HTTP 500")
      .unread("scripts", SectionSummary::Status::notPermitted, "HTTP 403")
      .publish(third);
  const auto paths = pathsIn(tree);
  const auto end = toTree();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(pathsIn(tree), paths);
  EXPECT_THAT(end.error,
              HasSubstr("Left out: policies/1 (Install Office): the backup could not read it: HTTP 500"));
  EXPECT_THAT(end.error, HasSubstr("Left out: scripts ("));
  EXPECT_THAT(content("backup.json"), HasSubstr("\"reason\" : \"the backup could not read it: HTTP 500\""));
  EXPECT_THAT(content("policies/Install Wi-Fi (3).json"), HasSubstr("\"enabled\" : false"));
}

TEST_F(FolderExport, DamagedObjectsAreLeftOutWithTheReason) {
  const auto index = *repository.index(third, "policies");
  test::write(repository.store().objectURL(index.items[0].objects.at("classic")), "{\n  \"other\" : 1\n}");
  const auto end = toTree();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.error, HasSubstr("Left out: policies/1 (Install Office): The object "));
  EXPECT_FALSE(pathsIn(tree).contains("policies/Install Office (1).json"));
  EXPECT_THAT(content("backup.json"), Not(HasSubstr(home.path().string())));
  EXPECT_EQ(toTree({"policies"}).status, 0);
  files::removeTree(stored.folder.path() / "store");
  files::removeTree(tree);
  EXPECT_EQ(toTree().status, 1);
}

TEST_F(FolderExport, HostileNamesStayInTheFolderOfTheirSection) {
  test::WrittenBackup backup(stored, fourth);
  backup.section("policies");
  const std::vector<std::string> names{
      "../../outside", ".git", "a\nb",     "a\"b\\c", std::string(300, 'x'), "Same", "same", "SAME", "",
      "-rf",           "CON",  "x\x1b[2J", "e\u0301"};
  for (std::size_t i = 0; i < names.size(); ++i)
    backup.item(std::to_string(i), names[i], policy(names[i], true, "Ongoing"));
  for (const std::string id : {"../x", "..", "a/b", "A", "a", ".git", "\n"})
    backup.item(id, "ID", policy("ID " + id, true, "Ongoing"));
  backup.publish();
  const auto before = test::contentOf(home.path());
  const auto end = toTree();
  EXPECT_EQ(end.status, 0) << end.error;
  std::size_t count = 0;
  for (const auto& [path, bytes] : test::contentOf(home.path())) {
    if (before.contains(path)) continue;
    EXPECT_TRUE(path.starts_with("made/when missing/")) << path;
    if (path.starts_with("made/when missing/policies/")) ++count;
    EXPECT_EQ(path.find_first_of("\n\x1b\\\""), path.npos) << path;
  }
  EXPECT_EQ(count, names.size() + 7);
  EXPECT_EQ(toTree().error,
            std::to_string(count) + " files in " + tree.string() + ": 0 written, 0 deleted.\n");
}

TEST_F(FolderExport, AVariantMoreMovesNoFile) {
  const auto publish = [&](const char* id, const std::map<std::string, std::string>& objects) {
    test::WrittenBackup(stored, id).section("computers").add(stored.item("7", "Mac", objects)).publish();
  };
  publish("2025-03-06T091500Z", {{"pro", "{\"a\":1}"}});
  publish("2025-03-07T091500Z", {{"pro", "{\"a\":1}"}, {"classic", "{\"b\":1}"}});
  toTree({"--backup", "2025-03-06T091500Z"});
  EXPECT_EQ(content("computers/Mac (7).json"), "{\n  \"a\" : 1\n}\n");
  toTree();
  EXPECT_EQ(content("computers/Mac (7).json"), "{\n  \"a\" : 1\n}\n");
  EXPECT_EQ(content("computers/Mac (7).classic.json"), "{\n  \"b\" : 1\n}\n");
}

TEST_F(FolderExport, ScriptsKeepTheirLineEndsAndProfilesTheirText) {
  const auto profile = platform::json::Value::object(
      {{"general", platform::json::Value::object({{"payloads", "<plist>\r\n</plist>"}})},
       {"scope", platform::json::Value::object()}});
  test::WrittenBackup(stored, fourth)
      .section("scripts")
      .item("5", "Hello.py", script("#!/usr/bin/python\r\nprint()\r\n"))
      .section("mobileConfigurationProfiles")
      .item("9", "Wi-Fi", profile.text())
      .publish();
  toTree();
  EXPECT_EQ(content("scripts/Hello (5).py"), "#!/usr/bin/python\r\nprint()\r\n");
  EXPECT_EQ(content("mobileConfigurationProfiles/Wi-Fi (9).mobileconfig"), "<plist>\r\n</plist>");
}

TEST_F(FolderExport, PackageFilesAreNoPartOfIt) {
  auto file = test::itemWithID("Tool.pkg");
  file.file = FileRef{"Tool.pkg", {}, 11, {}, FileRef::Status::downloaded, {}, {}, {}};
  test::WrittenBackup(stored, fourth).section("packageFiles").add(file).publish();
  const auto end = toTree();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(pathsIn(tree), ElementsAre("backup.json"));
}

TEST_F(FolderExport, AFolderOfSomethingElseIsRefused) {
  test::write(tree / "mine", "mine");
  expectRefusal("is not empty and no tree of an export");
  test::write(tree / "backup.json", "{\"format\":\"another\"}");
  expectRefusal("is not empty and no tree of an export");
  EXPECT_THAT(pathsIn(tree), ElementsAre("backup.json", "mine"));
  files::removeTree(tree);
  test::write(tree, "a file");
  expectRefusal(tree.string());
}

TEST_F(FolderExport, ATreeOfAnotherInstanceIsRefused) {
  toTree();
  const test::StoredBackups other;
  auto manifest = test::plainManifest(third);
  manifest.instance.id = platform::UUID::random();
  other.repository.writeDescriptor(manifest.instance);
  test::write(other.repository.backupDirectory(third) / BackupFormat::manifestFile,
              BackupFormat::makeEncoder().encode(manifest));
  const auto paths = pathsIn(tree);
  const auto end = run({"export", other.folder.path().string(), "--tree", tree.string()});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("holds objects of another instance"));
  EXPECT_EQ(pathsIn(tree), paths);
}

TEST_F(FolderExport, SomebodyElsesFileInTheWayIsNotReplaced) {
  toTree({"--backup", first});
  test::write(tree / "policies/Install Wi-Fi (3).json", "mine");
  expectRefusal("policies/Install Wi-Fi (3).json is not of this export and stands in its way");
  EXPECT_EQ(content("policies/Install Wi-Fi (3).json"), "mine");
  files::remove(tree / "policies/Install Wi-Fi (3).json");
  EXPECT_EQ(toTree().status, 0);
}

TEST_F(FolderExport, NoLinkIsFollowedOutOfTheFolder) {
  toTree({"--backup", first});
  const auto outside = home.path() / "outside";
  files::createDirectories(outside);
  test::write(outside / "Old policy (2).json", "of somebody");
  files::removeTree(tree / "policies");
  std::filesystem::create_directory_symlink(outside, tree / "policies");
  expectRefusal("policies is no folder");
  EXPECT_THAT(pathsIn(outside), ElementsAre("Old policy (2).json"));
  files::remove(tree / "policies");
  EXPECT_EQ(toTree().status, 0);

  const auto file = tree / "policies/Install Office (1).json";
  files::remove(file);
  std::filesystem::create_symlink(outside / "Old policy (2).json", file);
  EXPECT_EQ(toTree().status, 0);
  EXPECT_EQ(files::read(outside / "Old policy (2).json"), "of somebody");
  EXPECT_FALSE(std::filesystem::is_symlink(file));
}

TEST_F(FolderExport, AListThatNamesPathsDeletesNothing) {
  toTree({"--backup", first});
  test::write(tree / "mine", "mine");
  test::write(tree / ".orvik/policies.json", "{\"../mine\":\"2\"}");
  expectRefusal("is no list of files that an export wrote");
  EXPECT_EQ(content("mine"), "mine");
}

TEST_F(FolderExport, ASectionWhoseIDIsNoNameOfAFolderIsLeftOut) {
  auto manifest = test::plainManifest(fourth);
  for (const char* id : {"../up", ".git", "Policies", "policies"}) {
    manifest.sections.push_back(test::StoredBackups::summary(test::emptyIndex("policies")));
    manifest.sections.back().id = id;
    manifest.sections.back().index = "sections/policies.json";
  }
  test::write(repository.backupDirectory(fourth) / BackupFormat::manifestFile,
              BackupFormat::makeEncoder().encode(manifest));
  const auto end = toTree();
  for (const char* id : {"../up", ".git"})
    EXPECT_THAT(end.error, HasSubstr(std::string("Left out: ") + id + " ("));
  EXPECT_THAT(pathsIn(home.path() / "made"), ElementsAre("when missing/backup.json"));
}

TEST_F(FolderExport, WrittenAndDeletedFilesAreLinesOfJSON) {
  toTree({"--backup", first});
  const auto lines = linesOf(toTree({"--json", "--backup", second}));
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(member(lines[0], "event"), "file");
  EXPECT_EQ(member(lines[0], "id"), "1");
  EXPECT_EQ(member(lines[2], "event"), "deleted");
  EXPECT_EQ(member(lines[2], "path"), (tree / "policies/Old policy (2).json").string());
  EXPECT_EQ(lines[3].text(),
            "{\"event\":\"finished\",\"backup\":\"2025-03-04T091500Z\",\"folder\":\"" + tree.string() +
                "\",\"objects\":3,\"written\":2,\"unchanged\":2,\"deleted\":1,\"skipped\":0}");
}

TEST_F(FolderExport, ASealedFolderIsOpenedWithItsKey) {
  const auto key = test::OrganisationFiles::make(home.path()).key.string();
  stored.cipher = BackupEncryption::prepare(stored.folder.path(), InMemoryKeyProvider::fromFile(key));
  test::WrittenBackup(stored, fourth)
      .section("scripts")
      .item("5", "Sealed", script("echo sealed\n"))
      .publish();
  BackupEncryption::forgetKeys();
  EXPECT_EQ(toTree().status, 12);
  EXPECT_FALSE(files::exists(tree));
  EXPECT_EQ(toTree({"--key", key}).status, 0);
  EXPECT_EQ(content("scripts/Sealed (5).sh"), "echo sealed\n");
}

TEST_F(FolderExport, TakesOneOfTheThreeFoldersAndWholeSections) {
  EXPECT_EQ(command("export").status, 2);
  EXPECT_EQ(toTree({"--out", home.path().string()}).status, 2);
  EXPECT_EQ(toTree({"--git", home.path().string()}).status, 2);
  EXPECT_EQ(toTree({"policies", "1"}).status, 2);
  EXPECT_EQ(toGit({"policies", "1"}).status, 2);
  EXPECT_EQ(toGit({"--backup", first}).status, 2);
  EXPECT_EQ(command("export", {"--tree", ""}).status, 2);
  EXPECT_EQ(toTree({"script"}).status, 2);
  EXPECT_EQ(toGit({"script"}).status, 2);
  EXPECT_EQ(toTree({"buildings"}).status, 1);
  EXPECT_EQ(toTree({"--backup", "2020-01-01T000000Z"}).status, 10);
  EXPECT_FALSE(files::exists(tree));
}

}  // namespace
}  // namespace orvik
