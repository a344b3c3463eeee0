#include "OrvikCore/Store/BackupRepository.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <memory>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "tests/Support/Folders.h"
#include "tests/Support/Golden.h"
#include "tests/Support/SampleRecords.h"
#include "tests/Support/TestKeys.h"

namespace {

using namespace orvik;
namespace files = platform::files;
using Names = std::vector<std::string>;

class Repository : public testing::Test {
 protected:
  ~Repository() override { BackupEncryption::forgetKeys(); }

  files::TempFolder folder;
  const BackupRepository repository{folder.path()};

  void publish(const std::string& name, const BackupManifest& manifest) const {
    test::write(folder / "backups" / name / "manifest.json", BackupFormat::makeEncoder().encode(manifest));
  }
  void publish(const std::string& name) const { publish(name, test::plainManifest(name)); }

  Names completeIDs() const {
    Names ids;
    for (const auto& backup : repository.completeBackups()) ids.push_back(backup.id);
    return ids;
  }
};

TEST_F(Repository, StatesItsPaths) {
  const BackupRepository other("/root", "slug");
  EXPECT_EQ(other.instanceDirectory, "/root/slug");
  EXPECT_EQ(other.backupsDirectory(), "/root/slug/backups");
  EXPECT_EQ(other.backupDirectory("1"), "/root/slug/backups/1");
  EXPECT_EQ(other.partialDirectory("1"), "/root/slug/backups/1.partial");
  const auto store = other.store();
  EXPECT_EQ(store.instanceDirectory, "/root/slug");
  EXPECT_FALSE(store.overlay);
  EXPECT_EQ(store.cipher, std::nullopt);
}

TEST_F(Repository, OfAMissingOrEmptyFolderIsEmpty) {
  for (const auto& missing : {repository, BackupRepository(folder / "none")}) {
    EXPECT_EQ(missing.descriptor(), std::nullopt);
    EXPECT_TRUE(missing.completeBackups().empty());
    EXPECT_FALSE(missing.latestComplete());
    EXPECT_EQ(missing.partialBackupIDs(), Names());
    EXPECT_EQ(missing.diskUsage(), 0);
    EXPECT_FALSE(missing.isLocked());
  }
}

TEST_F(Repository, ReadsTheDescriptorThatItWrote) {
  const auto instance = test::instanceNamed("North");
  repository.writeDescriptor(instance);
  EXPECT_EQ(files::read(folder / "instance.json"), BackupFormat::makeEncoder().encode(instance));
  EXPECT_EQ(repository.descriptor(), instance);
}

TEST_F(Repository, ListsCompleteBackupsNewestFirst) {
  for (const char* id : {"2025-03-04T091500Z", "2024-12-31T235959Z", "2025-03-04T091501Z"}) publish(id);
  EXPECT_EQ(completeIDs(), (Names{"2025-03-04T091501Z", "2025-03-04T091500Z", "2024-12-31T235959Z"}));
  EXPECT_EQ(repository.latestComplete()->id, "2025-03-04T091501Z");
  EXPECT_EQ(repository.latestComplete()->manifest, test::plainManifest("2025-03-04T091501Z"));
}

TEST_F(Repository, AFolderWithoutAManifestThatDecodesIsNoCompleteBackup) {
  publish("2025-03-01T000000Z");
  std::filesystem::create_directories(folder / "backups/2025-03-02T000000Z");
  test::write(folder / "backups/2025-03-03T000000Z/manifest.json", "{}");
  auto text = BackupFormat::makeEncoder().encode(test::plainManifest("2025-03-04T000000Z"));
  text.replace(text.find("\"complete\""), 10, "\"halfway\"");
  test::write(folder / "backups/2025-03-04T000000Z/manifest.json", text);
  std::filesystem::create_directories(folder / "backups/2025-03-05T000000Z/manifest.json");
  test::makePipe(folder / "backups/2025-03-06T000000Z/manifest.json");
  test::write(folder / "backups/2025-03-07T000000Z", "a file");
  std::filesystem::create_symlink("nowhere", folder / "backups/2025-03-08T000000Z");
  EXPECT_EQ(completeIDs(), Names{"2025-03-01T000000Z"});
  EXPECT_EQ(repository.latestComplete()->id, "2025-03-01T000000Z");
  EXPECT_EQ(repository.manifest("2025-03-04T000000Z"), std::nullopt);
}

TEST_F(Repository, HiddenAndPartialFoldersAreNoCompleteBackups) {
  publish(".2025-03-04T091500Z");
  publish("2025-03-04T091500Z.partial");
  publish(".partial");
  EXPECT_EQ(completeIDs(), Names());
  EXPECT_FALSE(repository.latestComplete());
  EXPECT_EQ(repository.partialBackupIDs(), Names{"2025-03-04T091500Z"});
}

TEST_F(Repository, ListsPartialRunsAscendingByTheirID) {
  for (const char* name : {"b.partial", "a-.partial", "a.partial", "c", ".d.partial", "a.partial.partial"})
    std::filesystem::create_directories(folder / "backups" / name);
  EXPECT_EQ(repository.partialBackupIDs(), (Names{"a", "a-", "a.partial", "b"}));
}

TEST_F(Repository, ABackupGoesByTheNameOfItsFolder) {
  publish("2025-03-04T091500Z", test::plainManifest("1999-01-01T000000Z"));
  EXPECT_EQ(completeIDs(), Names{"2025-03-04T091500Z"});
  EXPECT_EQ(repository.manifest("2025-03-04T091500Z")->backupID, "1999-01-01T000000Z");
  EXPECT_EQ(repository.manifest("1999-01-01T000000Z"), std::nullopt);
}

TEST_F(Repository, AnIDThatIsNoNameHasNoManifestAndNoIndex) {
  publish("1");
  test::write(folder / "manifest.json", files::read(folder / "backups/1/manifest.json"));
  test::write(folder / "backups/manifest.json", files::read(folder / "backups/1/manifest.json"));
  const auto index = BackupFormat::makeEncoder().encode(test::emptyIndex("s"));
  for (const char* place : {"sections/s.json", "backups/sections/s.json", "backups/1/sections/s.json"})
    test::write(folder / place, index);
  EXPECT_TRUE(repository.index("1", "s"));
  for (const auto& id :
       {std::string(), std::string("."), std::string(".."), std::string("../backups/1"), std::string("1/"),
        std::string("/1"), std::string("1\0", 2), std::string("1.partial"), std::string(300, 'x')}) {
    EXPECT_EQ(repository.manifest(id), std::nullopt) << id;
    EXPECT_EQ(repository.index(id, "s"), std::nullopt) << id;
  }
}

TEST_F(Repository, ANameThatIsNotUTF8IsANameLikeAnyOther) {
  const std::string name = "b\xff\xfe";
  publish(name, test::plainManifest("b"));
  EXPECT_EQ(completeIDs(), Names{name});
  EXPECT_TRUE(repository.manifest(name));
}

TEST_F(Repository, WritesAndReadsAPlainIndex) {
  const auto index = test::emptyIndex("policies");
  const auto path = folder / "backups/1/sections/policies.json";
  BackupRepository::writeIndex(index, path, std::nullopt);
  EXPECT_EQ(files::read(path), BackupFormat::makeEncoder().encode(index));
  EXPECT_EQ(repository.index("1", "policies"), index);
  EXPECT_EQ(BackupRepository::loadIndex(folder / "backups/1", "policies", std::nullopt), index);
}

TEST_F(Repository, ASealedIndexIsReadOnlyWithItsCipher) {
  const auto cipher = test::sealFolder(folder.path());
  BackupEncryption::forgetKeys();
  const auto index = test::emptyIndex("policies");
  const auto path = folder / "backups/1/sections/policies.json";
  BackupRepository::writeIndex(index, path, cipher);
  EXPECT_TRUE(BackupCipher::isSealed(files::read(path)));
  EXPECT_EQ(cipher.open(files::read(path)), BackupFormat::makeEncoder().encode(index));

  EXPECT_EQ(repository.index("1", "policies"), std::nullopt);
  EXPECT_EQ(BackupRepository::loadIndex(folder / "backups/1", "policies", cipher), index);
  EXPECT_EQ(BackupRepository::loadIndex(folder / "backups/1", "policies", test::cipherOf("another")),
            std::nullopt);
  EXPECT_EQ(BackupEncryption::unlock(folder.path(), test::organisationKeys()), cipher);
  EXPECT_EQ(repository.cipher(), cipher);
  EXPECT_EQ(repository.index("1", "policies"), index);
}

TEST_F(Repository, APlainIndexOfAnEncryptedInstanceIsReadAsItIs) {
  BackupRepository::writeIndex(test::emptyIndex("s"), folder / "backups/1/sections/s.json", std::nullopt);
  EXPECT_TRUE(BackupRepository::loadIndex(folder / "backups/1", "s", test::cipherOf()));
}

TEST_F(Repository, AnIndexIsFoundByItsFileWhateverSectionItStates) {
  BackupRepository::writeIndex(test::emptyIndex("another"), folder / "backups/1/sections/policies.json",
                               std::nullopt);
  EXPECT_EQ(repository.index("1", "policies")->sectionID, "another");
  EXPECT_EQ(repository.index("1", "another"), std::nullopt);
}

TEST_F(Repository, ASectionThatIsNoVisibleNameHasNoIndex) {
  const auto index = BackupFormat::makeEncoder().encode(test::emptyIndex("s"));
  for (const char* place : {"s.json", "sections/.s.json", "sections/.json", "sections/below/s.json"})
    test::write(folder / "backups/1" / place, index);
  for (const auto& section : {std::string(), std::string(".s"), std::string("../s"), std::string("below/s"),
                              std::string("s\0", 2), std::string("/s")})
    EXPECT_EQ(repository.index("1", section), std::nullopt) << section;
}

TEST_F(Repository, IsLockedWhileASealedFolderHasNoKey) {
  test::sealFolder(folder.path());
  BackupEncryption::forgetKeys();
  EXPECT_TRUE(repository.isLocked());
  BackupEncryption::unlock(folder.path(), test::organisationKeys());
  EXPECT_FALSE(repository.isLocked());
}

TEST_F(Repository, DiskUsageCountsHiddenFilesAndNoLinks) {
  test::write(folder / "a/.hidden", std::string(5000, 'x'));
  const auto alone = repository.diskUsage();
  EXPECT_GE(alone, 5000);
  std::filesystem::create_symlink(folder / "a/.hidden", folder / "link");
  std::filesystem::create_directory_symlink(folder.path(), folder / "loop");
  EXPECT_EQ(repository.diskUsage(), alone);
  test::makeSparse(folder / "sparse", std::uintmax_t{1} << 40);
  EXPECT_LT(repository.diskUsage(), alone + 1'000'000) << "what is allocated counts, not what is claimed";
}

TEST_F(Repository, DiscoversInstancesByNameWithNumbersByValue) {
  const auto add = [&](const char* slug, const char* name) {
    BackupRepository(folder.path(), slug).writeDescriptor(test::instanceNamed(name, slug));
  };
  add("a", "School 10");
  add("b", "School 9");
  add("c", "school 1");
  add(".d", "A hidden one");
  add("e", "School 9");
  std::filesystem::create_directories(folder / "empty");
  test::write(folder / "broken/instance.json", "{");
  test::write(folder / "file", "x");
  test::makePipe(folder / "pipe/instance.json");
  test::makeSparse(folder / "huge/instance.json", std::uintmax_t{1} << 40);
  Names slugs;
  for (const auto& instance : BackupRepository::discoverInstances(folder.path()))
    slugs.push_back(instance.slug);
  EXPECT_EQ(slugs, (Names{".d", "c", "b", "e", "a"}));
}

TEST_F(Repository, AnUnreadableRootHasNoInstances) {
  EXPECT_TRUE(BackupRepository::discoverInstances(folder / "none").empty());
  test::write(folder / "file", "x");
  EXPECT_TRUE(BackupRepository::discoverInstances(folder / "file").empty());
}

TEST_F(Repository, AManifestOf100MBOfGarbageIsNothing) {
  test::makeSparse(folder / "backups/1/manifest.json", 100'000'000);
  EXPECT_EQ(completeIDs(), Names());
}

TEST_F(Repository, AManifestNestedTooDeeplyIsNothing) {
  test::write(folder / "backups/1/manifest.json", std::string(1'000'000, '['));
  test::write(folder / "backups/2/manifest.json",
              "{\"sections\":" + std::string(600, '[') + std::string(600, ']') + "}");
  EXPECT_EQ(completeIDs(), Names());
}

}  // namespace
