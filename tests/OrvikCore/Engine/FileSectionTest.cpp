#include "OrvikCore/Engine/FileSection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "OrvikCore/Jamf/PartRecord.h"
#include "Platform/Files/Files.h"
#include "tests/Support/FileRun.h"

namespace orvik {
namespace {

namespace files = platform::files;
using test::FileRun;
using test::md5Of;
using test::sha512Of;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Status = FileRef::Status;

TEST_F(FileRun, AFileIsDownloadedVerifiedAndKeptOnce) {
  const std::string bytes = "the package";
  packages({{"a.pkg", "SHA_512", sha512Of(bytes), "11", "Pages"}});
  cloud({{"a.pkg", bytes}});
  const auto manifest = runFiles();
  const auto item = items(manifest).at(0);
  EXPECT_EQ(item.id, "a.pkg");
  EXPECT_EQ(item.name, "Pages");
  EXPECT_THAT(item.objects, IsEmpty());
  const auto file = only(manifest);
  EXPECT_EQ(file.status, Status::downloaded);
  EXPECT_EQ(file.sha256, ObjectStore::sha256(bytes));
  EXPECT_EQ(file.size, 11);
  EXPECT_EQ(file.source, "jcds");
  EXPECT_EQ(file.jamfHash, "SHA_512:" + sha512Of(bytes));
  EXPECT_EQ(file.jamfHashVerified, true);
  EXPECT_EQ(file.message, std::nullopt);
  EXPECT_EQ(files::read(repository().store().fileURL(*file.sha256)), bytes);
  EXPECT_FALSE(files::exists(part("a.pkg")));
  EXPECT_FALSE(files::exists(PartRecord::path(part("a.pkg"))));
  EXPECT_EQ(manifest.totals.files, 1);
  EXPECT_EQ(manifest.totals.filesDownloaded, 1);
  EXPECT_EQ(manifest.totals.bytesDownloaded, 11);
  EXPECT_EQ(manifest.sections.back().id, "packageFiles");

  const auto lines = downloadLines(manifest);
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].method, "GET");
  EXPECT_EQ(lines[0].target, "jcds a.pkg");
  EXPECT_EQ(lines[0].status, 200);
  EXPECT_EQ(lines[0].outcome, "ok");
  EXPECT_EQ(lines[0].bytes, 11);
  EXPECT_EQ(lines[0].detail, "hash verified");
}

TEST_F(FileRun, TheSignedURLIsWrittenNowhere) {
  packages({{"a.pkg"}});
  cloud({{"a.pkg", "x"}});
  const auto manifest = runFiles();
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root()))
    if (entry.is_regular_file()) {
      EXPECT_THAT(files::read(entry.path()), testing::Not(HasSubstr("Signature")));
    }
  for (const auto& note : eventsOf<BackupEvents::Note>())
    EXPECT_THAT(note.text, testing::Not(HasSubstr("Signature")));
}

TEST_F(FileRun, TwoPackagesWithOneFileGiveOneDownloadAndOneItem) {
  packages({{"a.pkg", "", "", "", "One"}, {"a.pkg", "", "", "", "Two"}});
  cloud({{"a.pkg", "x"}});
  const auto manifest = runFiles();
  ASSERT_THAT(items(manifest), SizeIs(1));
  EXPECT_EQ(items(manifest)[0].name, "One, Two");
  EXPECT_EQ(host.requestCount(), 1u);
}

TEST_F(FileRun, AWrongHashIsStoredAndReported) {
  packages({{"a.pkg", "SHA_512", "ABCDEF"}});
  cloud({{"a.pkg", "x"}});
  const auto manifest = runFiles();
  const auto file = only(manifest);
  EXPECT_EQ(file.status, Status::downloaded);
  EXPECT_EQ(file.jamfHash, "SHA_512:abcdef");
  EXPECT_EQ(file.jamfHashVerified, false);
  EXPECT_EQ(file.message, "Content differs from the hash Jamf Pro records for this package");
  EXPECT_TRUE(repository().store().hasFile(*file.sha256));
  EXPECT_EQ(downloadLines(manifest).at(0).detail, "hash differs from Jamf Pro");
}

TEST_F(FileRun, AFileWithoutAHashIsNeitherVerifiedNorWrong) {
  packages({{"a.pkg", "SHA_512", ""}});
  share();
  put("/share/Packages/a.pkg", "x");
  bodies.set("api/v1/jcds/files", "[]");
  const auto manifest = runFiles();
  EXPECT_EQ(only(manifest).status, Status::downloaded);
  EXPECT_EQ(only(manifest).source, "Library");
  EXPECT_EQ(only(manifest).jamfHash, std::nullopt);
  EXPECT_EQ(only(manifest).jamfHashVerified, std::nullopt);
  EXPECT_EQ(downloadLines(manifest).at(0).detail, std::nullopt);
}

TEST_F(FileRun, AHashTypeThatNobodyKnowsIsNoVerdict) {
  packages({{"a.pkg", "SHA3_512", "00"}});
  cloud({{"a.pkg", "x"}});
  const auto manifest = runFiles();
  EXPECT_EQ(only(manifest).jamfHash, "SHA3_512:00");
  EXPECT_EQ(only(manifest).jamfHashVerified, std::nullopt);
}

TEST_F(FileRun, AFileUnchangedSinceTheParentMovesNoBytes) {
  packages({{"a.pkg", "MD5", md5Of("x"), "1"}, {"b.pkg", "", "", "1"}});
  share();
  put("/share/Packages/a.pkg", "x");
  put("/share/Packages/b.pkg", "y");
  bodies.set("api/v1/jcds/files", "[]");
  const auto first = runFiles();
  const auto second = runFiles();
  EXPECT_EQ(host.requestCount(), 2u);
  for (const auto& item : items(second)) {
    EXPECT_EQ(item.file->status, Status::reused);
    EXPECT_EQ(item.file->source, "Library");
    EXPECT_EQ(item.change, IndexItem::Change::unchanged);
  }
  EXPECT_EQ(items(second)[0].file->sha256, items(first)[0].file->sha256);
  EXPECT_EQ(items(second)[0].file->jamfHashVerified, true);
  EXPECT_EQ(second.totals.filesDownloaded, 0);
  EXPECT_EQ(eventsOf<BackupEvents::BytesExpected>().back().bytes, 0);
}

TEST_F(FileRun, AFileWithAnotherHashOrGoneFromTheStoreIsFetchedAgain) {
  packages({{"a.pkg", "MD5", md5Of("x")}});
  cloud({{"a.pkg", "x"}});
  const auto first = runFiles();
  packages({{"a.pkg", "MD5", md5Of("z")}});
  cloud({{"a.pkg", "z"}});
  const auto second = runFiles();
  EXPECT_EQ(only(second).status, Status::downloaded);
  EXPECT_EQ(items(second)[0].change, IndexItem::Change::changed);
  files::remove(repository().store().fileURL(*only(second).sha256));
  const auto third = runFiles();
  EXPECT_EQ(only(third).status, Status::downloaded);
}

TEST_F(FileRun, NothingIsFetchedWhenDownloadsAreOff) {
  downloads = false;
  packages({{"a.pkg", "MD5", "00", "5"}});
  cloud({{"a.pkg", "12345"}});
  const auto manifest = runFiles();
  EXPECT_EQ(only(manifest).status, Status::skipped);
  EXPECT_EQ(only(manifest).size, 5);
  EXPECT_EQ(only(manifest).jamfHash, "MD5:00");
  EXPECT_EQ(only(manifest).message, std::nullopt);
  EXPECT_EQ(host.requestCount(), 0u);
  EXPECT_THAT(eventsOf<BackupEvents::BytesExpected>(), IsEmpty());
}

TEST_F(FileRun, TheBytesToComeAreToldBeforeTheyCome) {
  packages({{"a.pkg", "", "", "5"}, {"b.pkg", "", "", "3"}});
  cloud({{"a.pkg", "12345"}, {"b.pkg", "123"}});
  runFiles();
  const auto expected = eventsOf<BackupEvents::BytesExpected>();
  ASSERT_THAT(expected, SizeIs(1));
  EXPECT_EQ(expected[0].bytes, 8);
  EXPECT_EQ(eventsOf<BackupEvents::BytesTransferred>().back().bytes, 8);
}

TEST_F(FileRun, APartOfAnEarlierRunIsGoneOnFrom) {
  packages({{"a.pkg"}});
  cloud({{"a.pkg", "0123456789"}});
  files::createDirectories(part("a.pkg").parent_path());
  files::atomicWrite("01234", part("a.pkg"));
  PartRecord{"jcds", {}, 10}.save(part("a.pkg"));
  const auto manifest = runFiles();
  EXPECT_EQ(only(manifest).sha256, ObjectStore::sha256("0123456789"));
  EXPECT_THAT(ranges, ElementsAre("bytes=5-"));
  EXPECT_EQ(manifest.totals.bytesDownloaded, 5);
}

TEST_F(FileRun, BytesOfTwoSourcesAreNeverJoined) {
  packages({{"a.pkg"}});
  share();
  put("/share/Packages/a.pkg", "abcdefghij");
  bodies.set("api/v1/jcds/files", "[]");
  files::createDirectories(part("a.pkg").parent_path());
  files::atomicWrite("01234", part("a.pkg"));
  PartRecord{"jcds", {}, 10}.save(part("a.pkg"));
  EXPECT_EQ(only(runFiles()).sha256, ObjectStore::sha256("abcdefghij"));
}

TEST_F(FileRun, PartsOfFilesThatNoPackageNamesGo) {
  packages({{"a.pkg"}});
  cloud({{"a.pkg", "x"}});
  files::createDirectories(part("gone.pkg").parent_path());
  files::atomicWrite("01234", part("gone.pkg"));
  PartRecord{"jcds", {}, 10}.save(part("gone.pkg"));
  runFiles();
  EXPECT_THAT(files::visibleNames(part("a.pkg").parent_path()), IsEmpty());
}

TEST_F(FileRun, WithoutPackagesTheSectionIsEmptyAndPartsStay) {
  bodies.fail("api/v1/packages", 403);
  files::createDirectories(part("later.pkg").parent_path());
  files::atomicWrite("01234", part("later.pkg"));
  const auto manifest = runFiles();
  EXPECT_EQ(summary(manifest, "packageFiles").status, SectionSummary::Status::complete);
  EXPECT_THAT(items(manifest), IsEmpty());
  EXPECT_TRUE(files::exists(part("later.pkg")));
}

TEST_F(FileRun, ASealedRunReadsItsOwnIndexes) {
  seals = true;
  packages({{"a.pkg", "MD5", md5Of("x")}});
  cloud({{"a.pkg", "x"}});
  const auto manifest = runFiles();
  unlockAfresh();
  EXPECT_EQ(only(manifest).jamfHashVerified, true);
}

}  // namespace
}  // namespace orvik
