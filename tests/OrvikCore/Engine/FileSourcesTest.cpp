#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "Platform/Files/Files.h"
#include "tests/Support/FileRun.h"

// Where package files are had from, in which order, and what comes of a place that fails.

namespace orvik {
namespace {

namespace files = platform::files;
using test::FileRun;
using test::md5Of;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Status = FileRef::Status;

TEST_F(FileRun, TheCloudsListFillsInSizeAndHash) {
  packages({{"a.pkg", "SHA_512", "", "234KB"}});
  cloud({{"a.pkg", "x"}, {"nobody-uses-it.pkg", "y"}});
  const auto manifest = runFiles();
  ASSERT_THAT(items(manifest), SizeIs(1));
  EXPECT_EQ(only(manifest).jamfHash, "MD5:" + md5Of("x"));
  EXPECT_EQ(only(manifest).jamfHashVerified, true);
}

TEST_F(FileRun, WithoutAnySourceEachFileIsUnavailableAndTheSectionComplete) {
  packages({{"a.pkg", "MD5", "00"}, {"b.pkg"}});
  bodies.set("api/v1/jcds/files", "[]");
  const auto manifest = runFiles();
  EXPECT_EQ(summary(manifest, "packageFiles").status, SectionSummary::Status::complete);
  for (const auto& item : items(manifest)) {
    EXPECT_EQ(item.file->status, Status::unavailable);
    EXPECT_EQ(
        item.file->message,
        "No reachable source: not on the cloud distribution point, no file share DP with anonymous HTTP "
        "downloads, and no mounted share configured.");
  }
  EXPECT_EQ(items(manifest)[0].file->jamfHash, "MD5:00");
}

TEST_F(FileRun, FilesThatCouldNotBeHadAreNamedInARemark) {
  packages({{"a"}, {"b"}, {"c"}, {"d"}, {"e"}, {"f"}, {"g"}, {"there"}});
  cloud({{"there", "x"}});
  runFiles();
  std::vector<std::string> notes;
  for (const auto& note : eventsOf<BackupEvents::Note>()) notes.push_back(note.text);
  EXPECT_THAT(notes, testing::Contains("7 of 8 package files could not be had: a, b, c, d, e and 2 more."));
}

TEST_F(FileRun, AServerWithoutTheCloudServiceIsNoFailureOfItsFiles) {
  packages({{"a.pkg"}});
  const auto manifest = runFiles();
  EXPECT_EQ(summary(manifest, "jcdsFiles").status, SectionSummary::Status::notAvailable);
  EXPECT_EQ(only(manifest).status, Status::unavailable);
}

TEST_F(FileRun, WhenTheCloudsListCouldNotBeReadItIsAskedForEachFile) {
  packages({{"a.pkg"}});
  cloud({{"a.pkg", "x"}});
  bodies.fail("api/v1/jcds/files", 403);
  const auto manifest = runFiles();
  EXPECT_EQ(only(manifest).status, Status::downloaded);
}

TEST_F(FileRun, WithTheCloudsListLeftOutNoFileIsOnTheCloud) {
  packages({{"a.pkg"}});
  cloud({{"a.pkg", "x"}});
  auto made = fileJob();
  made.options.disabledSections.insert("jcdsFiles");
  const auto manifest = BackupEngine(made).run(ResumeInterrupted::yes, onEvent());
  EXPECT_EQ(only(manifest).status, Status::unavailable);
  EXPECT_EQ(reader->count("api/v1/jcds/files/a.pkg"), 0u);
}

TEST_F(FileRun, AFailureOnTheCloudFallsThroughToTheShare) {
  packages({{"a.pkg"}});
  cloud({{"a.pkg", "x"}});
  share();
  {
    const std::lock_guard lock(hostMutex);
    content.erase("/cdn/a.pkg");
  }
  put("/share/Packages/a.pkg", "from the share");
  const auto manifest = runFiles();
  EXPECT_EQ(only(manifest).status, Status::downloaded);
  EXPECT_EQ(only(manifest).source, "Library");
  const auto lines = downloadLines(manifest);
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_EQ(lines[0].target, "jcds a.pkg");
  EXPECT_EQ(lines[0].status, 404);
  EXPECT_EQ(lines[0].outcome, "notFound");
  EXPECT_EQ(lines[1].target, "Library a.pkg");
}

TEST_F(FileRun, AnAnswerWithoutAURLIsAFailureWithASentence) {
  packages({{"a.pkg"}});
  cloud({{"a.pkg", "x"}});
  bodies.set("api/v1/jcds/files/a.pkg", R"({"url":"x"})");
  const auto manifest = runFiles();
  EXPECT_EQ(only(manifest).status, Status::failed);
  EXPECT_EQ(only(manifest).message, "JCDS returned no download URL");
  EXPECT_EQ(summary(manifest, "packageFiles").status, SectionSummary::Status::complete);
  EXPECT_THAT(index(manifest, "packageFiles").errors, IsEmpty());
}

TEST_F(FileRun, AURLThatIsNotHTTPIsRefusedWithoutItsQuery) {
  packages({{"a.pkg"}});
  cloud({{"a.pkg", "x"}});
  for (const std::string uri : {"file:///etc/passwd?Signature=s", "no url at all?Signature=s", "ftp://h/x"}) {
    bodies.set("api/v1/jcds/files/a.pkg", "{\"uri\":\"" + uri + "\"}");
    const auto file = only(runFiles());
    EXPECT_EQ(file.status, Status::failed) << uri;
    EXPECT_THAT(*file.message, testing::Not(HasSubstr("Signature")));
  }
}

TEST_F(FileRun, ASignedURLThatRanOutIsAskedForAgain) {
  packages({{"a.pkg"}});
  cloud({{"a.pkg", "x"}});
  std::atomic<int> asked = 0;
  onCall = [&](const auto& call, auto&) {
    if (call.path == "api/v1/jcds/files/a.pkg" && ++asked == 2) allowed = 1;
  };
  allowed = 0;
  const auto manifest = runFiles();
  EXPECT_EQ(only(manifest).status, Status::downloaded);
  EXPECT_EQ(asked, 2);
}

TEST_F(FileRun, AMountedShareIsTheLastSource) {
  const files::TempFolder share;
  files::createDirectories(share / "Packages");
  files::atomicWrite("from the mount", share / "Packages" / "a.pkg");
  mount = share.path().string();
  packages({{"a.pkg", "MD5", md5Of("from the mount")}, {"b.pkg"}});
  bodies.set("api/v1/jcds/files", "[]");
  const auto manifest = runFiles();
  const auto all = items(manifest);
  EXPECT_EQ(all[0].file->status, Status::downloaded);
  EXPECT_EQ(all[0].file->source, "mount:" + *mount);
  EXPECT_EQ(all[0].file->jamfHashVerified, true);
  EXPECT_EQ(all[1].file->status, Status::failed);
  EXPECT_EQ(all[1].file->message, "File not found on the distribution point (HTTP 404)");
  for (const auto& line : downloadLines(manifest)) EXPECT_EQ(line.method, "COPY");
}

TEST_F(FileRun, ANameThatLeavesItsFolderIsRefusedForTheMount) {
  const files::TempFolder share;
  files::createDirectories(share / "Packages");
  files::atomicWrite("secret", share / "outside");
  mount = share.path().string();
  packages({{"../outside"}, {".."}, {"a/b.pkg"}});
  bodies.set("api/v1/jcds/files", "[]");
  const auto manifest = runFiles();
  for (const auto& item : items(manifest)) {
    EXPECT_EQ(item.file->status, Status::failed) << item.id;
    EXPECT_THAT(*item.file->message, HasSubstr("leads out of its folder"));
  }
}

TEST_F(FileRun, ASlashInANameIsEncodedForAnHTTPShare) {
  packages({{"a/b 100%.pkg"}, {"\\u00e9.pkg"}, {"A.pkg"}, {"a.pkg"}});
  share();
  put("/share/Packages/a%2Fb%20100%25.pkg", "slash");
  put("/share/Packages/%C3%A9.pkg", "accent");
  put("/share/Packages/A.pkg", "upper");
  put("/share/Packages/a.pkg", "lower");
  bodies.set("api/v1/jcds/files", "[]");
  const auto all = items(runFiles());
  const std::vector<std::string> wanted{"slash", "accent", "upper", "lower"};
  ASSERT_THAT(all, SizeIs(4));
  for (std::size_t i = 0; i < all.size(); ++i)
    EXPECT_EQ(all[i].file->sha256, ObjectStore::sha256(wanted[i])) << all[i].id;
}

}  // namespace
}  // namespace orvik
