#include "OrvikCore/Store/CollectionPreflight.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/GarbageCollection.h"
#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/SampleFolder.h"
#include "tests/Support/TestKeys.h"

namespace {

using namespace orvik;
namespace files = platform::files;
using Kind = CollectionRefused::Kind;
using testing::HasSubstr;

class Preflight : public testing::Test {
 protected:
  Preflight() { files::removeTree(sample.partial()); }
  ~Preflight() override { BackupEncryption::forgetKeys(); }

  struct Refusal {
    std::optional<Kind> kind;
    std::string text;
  };
  Refusal refusal(UnfinishedRuns unfinished = UnfinishedRuns::refuse) const try {
    CollectionPreflight::check(sample.repository, unfinished);
    return {};
  } catch (const CollectionRefused& error) {
    return {error.kind(), error.description()};
  }
  /// The refusal names the file and says that nothing is deleted.
  void expectRefusal(Kind kind, const files::Path& path,
                     UnfinishedRuns unfinished = UnfinishedRuns::refuse) const {
    const auto found = refusal(unfinished);
    EXPECT_EQ(found.kind, kind) << found.text;
    EXPECT_THAT(found.text, HasSubstr(path.string()));
    EXPECT_THAT(found.text, HasSubstr(", so nothing is deleted. "));
  }
  files::Path root() const { return sample.folder.path(); }
  void makeRun() const { files::createDirectories(sample.partial()); }

  test::SampleFolder sample;
};

TEST_F(Preflight, OfAWholeFolderGivesTheNamesOfItsBackups) {
  const auto preflight = CollectionPreflight::check(sample.repository, UnfinishedRuns::refuse);
  EXPECT_THAT(preflight.folders, testing::ElementsAre(test::SampleFolder::backupID));
  EXPECT_NO_THROW(preflight.requireUnchanged(sample.repository));
}

TEST_F(Preflight, ChangesNothing) {
  const auto before = test::contentOf(root());
  EXPECT_EQ(refusal().kind, std::nullopt);
  EXPECT_EQ(test::contentOf(root()), before);
}

TEST_F(Preflight, RefusesAnUnreadableManifest) {
  for (const auto* text : {"", "{", "[]"}) {
    test::write(sample.manifest(), text);
    expectRefusal(Kind::incomplete, sample.manifest());
  }
  files::remove(sample.manifest());
  std::filesystem::create_directory(sample.manifest());
  expectRefusal(Kind::incomplete, sample.manifest());
}

TEST_F(Preflight, AFolderWithoutAManifestIsNoFinishedBackupAndNoRefusal) {
  files::createDirectories(sample.repository.backupDirectory("2025-03-06T091500Z") / "sections");
  EXPECT_EQ(refusal().kind, std::nullopt);
}

TEST_F(Preflight, AStrayFileBesideTheBackupsIsNoRefusal) {
  test::write(root() / "backups/desktop.ini", "x");
  test::write(root() / "backups/.hidden/manifest.json", "x");
  EXPECT_EQ(refusal().kind, std::nullopt);
}

TEST_F(Preflight, RefusesWhenADeclaredIndexIsMissing) {
  files::remove(sample.index());
  expectRefusal(Kind::incomplete, sample.index());
  std::filesystem::create_directory(sample.index());
  expectRefusal(Kind::incomplete, sample.index());
}

TEST_F(Preflight, RefusesAnIndexThatIsDeclaredWhereNoneIsRead) {
  test::write(root() / "elsewhere.json", "{}");
  for (const auto* path : {"../../elsewhere.json", "sections/x/y.json", "sections/.policies.json",
                           "sections/policies.txt", "policies.json"}) {
    auto manifest = *sample.repository.manifest(test::SampleFolder::backupID);
    manifest.sections[0].index = path;
    test::write(sample.repository.backupDirectory(test::SampleFolder::backupID) / path, "{}");
    test::write(sample.manifest(), BackupFormat::makeEncoder().encode(manifest));
    EXPECT_EQ(refusal().kind, Kind::incomplete) << path;
  }
}

TEST_F(Preflight, RefusesWhenTheBackupsAreMissingOrNoneIsFinishedAndTheStoreIsNotEmpty) {
  files::remove(sample.manifest());
  expectRefusal(Kind::incomplete, root() / "backups");
  EXPECT_THAT(refusal().text, HasSubstr("holds no finished backup"));
  files::removeTree(root() / "backups");
  expectRefusal(Kind::incomplete, root() / "backups");
  EXPECT_THAT(refusal().text, HasSubstr("is missing"));
  files::removeTree(root() / "store/objects");
  EXPECT_EQ(refusal().kind, Kind::incomplete) << "there are package files";
  files::removeTree(root() / "store/files");
  EXPECT_EQ(refusal().kind, std::nullopt) << "there is nothing to lose";
  test::write(root() / "store/packs/x.pack", "x");
  EXPECT_EQ(refusal().kind, Kind::incomplete);
}

TEST_F(Preflight, AnErrorIsNotEmptiness) {
  files::removeTree(root() / "backups");
  test::write(root() / "backups", "a file");
  expectRefusal(Kind::incomplete, root() / "backups");
  files::remove(root() / "backups");
  std::filesystem::create_symlink("nowhere", root() / "backups");
  expectRefusal(Kind::incomplete, root() / "backups");
  if (geteuid() == 0) return;
  files::remove(root() / "backups");
  std::filesystem::create_directory(root() / "backups");
  std::filesystem::permissions(root() / "backups", std::filesystem::perms::none);
  expectRefusal(Kind::incomplete, root() / "backups");
  std::filesystem::permissions(root() / "backups", std::filesystem::perms::owner_all);
}

TEST_F(Preflight, RefusesAStoreOfWhichAPartCanNotBeListed) {
  for (const auto* part : {"objects", "files", "packs"}) {
    SCOPED_TRACE(part);
    const auto folder = root() / "store" / part;
    files::removeTree(folder);
    test::write(folder, "no folder");
    expectRefusal(Kind::incomplete, folder);
    files::remove(folder);
  }
}

TEST_F(Preflight, RefusesWhileAnInterruptedRunWaitsUnlessToldOtherwise) {
  makeRun();
  expectRefusal(Kind::unfinished, sample.partial());
  EXPECT_EQ(refusal(UnfinishedRuns::allow).kind, std::nullopt);
}

TEST_F(Preflight, DemandsTheIndexesThatARunDeclaresToo) {
  makeRun();
  const auto summaries = sample.partial() / BackupFormat::summariesFile;
  const std::vector<SectionSummary> declared{test::summaryOf("policies"), test::summaryOf("scripts", false)};
  test::write(summaries, BackupFormat::makeEncoder().encode(declared));
  const auto index = sample.partial() / BackupFormat::sectionPath("policies");
  expectRefusal(Kind::incomplete, index, UnfinishedRuns::allow);
  BackupRepository::writeIndex(test::emptyIndex("policies"), index, std::nullopt);
  EXPECT_EQ(refusal(UnfinishedRuns::allow).kind, std::nullopt);
  test::write(summaries, "torn");
  expectRefusal(Kind::incomplete, summaries, UnfinishedRuns::allow);
}

TEST_F(Preflight, RefusesASealedFolderWithoutAKeyAndPassesItWithOne) {
  test::sealFolder(root());
  EXPECT_EQ(refusal().kind, std::nullopt);
  BackupEncryption::forgetKeys();
  expectRefusal(Kind::sealed, root());
}

TEST_F(Preflight, RefusesWhenTheKeyRecordIsUnreadableOrGone) {
  const auto record = root() / BackupFormat::encryptionFile;
  test::write(record, "torn");
  expectRefusal(Kind::sealed, record);
  files::remove(record);
  auto manifest = *sample.repository.manifest(test::SampleFolder::backupID);
  manifest.encryption = BackupManifest::EncryptionRef{"x", {"k"}};
  test::write(sample.manifest(), BackupFormat::makeEncoder().encode(manifest));
  expectRefusal(Kind::sealed, record);
}

TEST_F(Preflight, RefusesASealedRunWhoseKeyRecordIsGone) {
  makeRun();
  PartialBackupState{
      test::SampleFolder::partialID, test::date("2025-03-05T09:15:00Z"), {}, test::plainOptions(), 2, true}
      .save(sample.partial());
  expectRefusal(Kind::sealed, root() / BackupFormat::encryptionFile, UnfinishedRuns::allow);
}

TEST_F(Preflight, NoticesANameThatAppearsOrVanishes) {
  const auto preflight = CollectionPreflight::check(sample.repository, UnfinishedRuns::refuse);
  const auto added = sample.repository.backupDirectory("2026-01-01T000000Z");
  const auto changing = [&] {
    try {
      preflight.requireUnchanged(sample.repository);
    } catch (const CollectionRefused& error) {
      EXPECT_EQ(error.kind(), Kind::changing);
      return error.description();
    }
    return std::string();
  };
  files::createDirectories(added);
  EXPECT_THAT(changing(), HasSubstr("2026-01-01T000000Z"));
  files::removeTree(added);
  EXPECT_EQ(changing(), "");
  files::removeTree(sample.repository.backupDirectory(test::SampleFolder::backupID));
  EXPECT_THAT(changing(), HasSubstr(test::SampleFolder::backupID));
}

class PreflightOfContent : public Preflight {
 protected:
  /// What a plan that deletes an object and a package file runs into; empty when it may go on.
  std::string refusalOfPlan(const std::set<std::string>& without = {}) const {
    const auto store = sample.repository.store();
    store.put("{\"garbage\":1}");
    test::write(store.fileURL(ObjectStore::sha256("garbage")), "garbage");
    const auto preflight = CollectionPreflight::check(sample.repository, UnfinishedRuns::refuse);
    const auto plan = planCollection(sample.repository, without);
    EXPECT_NE(plan.expected(), CleanupResult());
    try {
      preflight.requireContent(plan, sample.repository, without);
    } catch (const CollectionRefused& error) {
      EXPECT_EQ(error.kind(), Kind::incomplete);
      EXPECT_THAT(error.description(), HasSubstr(", so nothing is deleted. "));
      return error.description();
    }
    return {};
  }
  void writeFileIndex(const std::optional<FileRef>& file) const {
    auto index = test::emptyIndex("packageFiles");
    index.items = {test::itemWithID("7")};
    index.items[0].file = file;
    BackupRepository::writeIndex(index, sample.index().parent_path() / "packageFiles.json", std::nullopt);
  }
};

TEST_F(PreflightOfContent, OfAWholeStoreLetsGarbageGo) { EXPECT_EQ(refusalOfPlan(), ""); }

TEST_F(PreflightOfContent, RefusesWhileAnObjectIsMissingThatABackupRefersTo) {
  files::remove(sample.repository.store().objectURL(sample.package));
  EXPECT_THAT(refusalOfPlan(), HasSubstr(sample.package));
}

TEST_F(PreflightOfContent, RefusesWhenAFlippedByteOfAnIndexGivesAnObjectAnotherName) {
  auto index = files::read(sample.index());
  const auto at = index.find(sample.json);
  ASSERT_NE(at, std::string::npos);
  index[at] = index[at] == '0' ? '1' : '0';
  test::write(sample.index(), index);
  EXPECT_THAT(refusalOfPlan(), HasSubstr("though a backup refers to it"));
}

TEST_F(PreflightOfContent, RefusesWhileAPackageFileIsMissing) {
  files::remove(sample.repository.store().fileURL(sample.fileDigest));
  EXPECT_THAT(refusalOfPlan(), HasSubstr("The package file " + sample.fileDigest));
}

TEST_F(PreflightOfContent, RefusesWhenAnIndexDoesNotSayWhichPackageFileItMeans) {
  FileRef file{"Tool.pkg", {}, 11, {}, FileRef::Status::reused, {}, {}, {}};
  writeFileIndex(file);
  EXPECT_THAT(refusalOfPlan(), HasSubstr("packageFiles.json doesn't say which package file 7 is"));
  file.status = FileRef::Status::unavailable;
  writeFileIndex(file);
  EXPECT_EQ(refusalOfPlan(), "");
  writeFileIndex({});
  EXPECT_THAT(refusalOfPlan(), HasSubstr("packageFiles.json doesn't say which package file 7 is"));
}

TEST_F(PreflightOfContent, AsksNothingOfBackupsThatGo) {
  files::remove(sample.repository.store().objectURL(sample.package));
  writeFileIndex({});
  EXPECT_EQ(refusalOfPlan({test::SampleFolder::backupID}), "");
}

TEST_F(PreflightOfContent, AsksNothingWhereNothingGoes) {
  files::remove(sample.repository.store().objectURL(sample.package));
  const auto preflight = CollectionPreflight::check(sample.repository, UnfinishedRuns::refuse);
  EXPECT_NO_THROW(preflight.requireContent(planCollection(sample.repository), sample.repository));
}

TEST_F(Preflight, AStopEndsIt) {
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(CollectionPreflight::check(sample.repository, UnfinishedRuns::refuse, stop.get_token()),
               platform::CancellationError);
}

}  // namespace
