#include "OrvikCore/Engine/FileSection.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "OrvikCore/Engine/FileFetch.h"
#include "OrvikCore/Jamf/PartRecord.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Files/Files.h"
#include "Platform/Hex.h"
#include "tests/Support/RunFixture.h"
#include "tests/Support/ScriptedServer.h"

namespace orvik {
namespace {

namespace files = platform::files;
using support::ScriptedServer;
using test::RunFixture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Status = FileRef::Status;

std::string md5Of(const std::string& bytes) {
  platform::Digest digest(platform::DigestAlgorithm::md5);
  digest.update(bytes);
  return platform::hexEncode(digest.finish());
}

std::string sha512Of(const std::string& bytes) {
  platform::Digest digest(platform::DigestAlgorithm::sha512);
  digest.update(bytes);
  return platform::hexEncode(digest.finish());
}

/// A package record's members.
struct Package {
  std::string fileName;
  std::string hashType = "";
  std::string hashValue = "";
  std::string size = "";
  std::string name = "";
};

/// A server's packages, and a host that has their files.
struct FileRun : testing::Test, RunFixture {
  bool downloads = true;
  std::optional<std::string> mount;
  std::atomic<int> allowed{1 << 30};  ///< how many files the host hands out before it answers 403

  std::mutex hostMutex;                        // guards what follows
  std::map<std::string, std::string> content;  ///< by target: "/cdn/a.pkg"
  std::vector<std::string> ranges;

  ScriptedServer host{ScriptedServer::answering([this](const support::ReceivedRequest& request) {
    const std::lock_guard lock(hostMutex);
    if (request.header("Authorization")) return support::answer(400);
    if (--allowed < 0) return support::answer(403);
    const auto target = request.target().substr(0, request.target().find('?'));
    const auto found = content.find(target);
    if (found == content.end()) return support::answer(404);
    const auto range = request.header("Range");
    ranges.push_back(range.value_or(""));
    if (!range) return support::answer(200, found->second);
    const auto from = std::stoul(range->substr(6));
    const auto& whole = found->second;
    return support::answer(
        206, whole.substr(from),
        fmt::format("Content-Range: bytes {}-{}/{}\r\n", from, whole.size() - 1, whole.size()));
  })};

  void packages(const std::vector<Package>& list) {
    std::string elements;
    int id = 0;
    for (const auto& each : list) {
      const auto element = fmt::format(
          R"({{"id":"{}","packageName":"{}","fileName":"{}","hashType":"{}","hashValue":"{}","size":"{}"}})",
          ++id, each.name.empty() ? each.fileName : each.name, each.fileName, each.hashType, each.hashValue,
          each.size);
      elements += (elements.empty() ? "" : ",") + element;
      bodies.set("api/v1/packages/" + std::to_string(id), element);
    }
    bodies.set("api/v1/packages", fmt::format(R"({{"totalCount":{},"results":[{}]}})", id, elements));
  }
  /// Puts files on the cloud point.
  void cloud(const std::map<std::string, std::string>& stock) {
    std::string list;
    for (const auto& [name, bytes] : stock) {
      list += fmt::format(R"({}{{"fileName":"{}","length":{},"md5":"{}"}})", list.empty() ? "" : ",", name,
                          bytes.size(), md5Of(bytes));
      bodies.set("api/v1/jcds/files/" + name,
                 fmt::format(R"({{"uri":"{}?Signature=secret"}})", host.url("/cdn/" + name)));
      put("/cdn/" + name, bytes);
    }
    bodies.set("api/v1/jcds/files", "[" + list + "]");
  }
  /// A share that hands files out to anybody at "/share".
  void share() {
    bodies.set("JSSResource/distributionpoints", R"({"distribution_points":[{"id":1,"name":"Library"}]})");
    bodies.set("JSSResource/distributionpoints/id/1",
               fmt::format(R"({{"distribution_point":{{"id":1,"name":"Library","http_downloads_enabled":true,
                   "no_authentication_required":true,"http_url":"{}"}}}})",
                           host.url("/share")));
  }
  void put(const std::string& target, const std::string& bytes) {
    const std::lock_guard lock(hostMutex);
    content[target] = bytes;
  }

  BackupJob fileJob() const {
    auto made = job({"packages", "jcdsFiles", "distributionPoints", "packageFiles"});
    made.options.downloadFiles = downloads;
    made.options.fileShareMountPath = mount;
    made.downloadRetryPolicy = {2, 0.001, 0.002};
    return made;
  }
  BackupManifest runFiles(const std::stop_token& stop = {}) {
    return BackupEngine(fileJob()).run(ResumeInterrupted::yes, onEvent(), stop);
  }
  std::vector<IndexItem> items(const BackupManifest& manifest) const {
    return index(manifest, "packageFiles").items;
  }
  FileRef only(const BackupManifest& manifest) const { return items(manifest).at(0).file.value(); }
  std::filesystem::path part(const std::string& fileName) const {
    return repository().store().downloadsDirectory() / FileFetch::partName(fileName);
  }
  std::vector<AuditEntry> downloadLines(const BackupManifest& manifest) const {
    auto lines = AuditLog::read(repository().backupDirectory(manifest.backupID));
    std::erase_if(lines, [](const AuditEntry& line) { return line.kind != AuditEntry::Kind::download; });
    return lines;
  }
};

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

TEST_F(FileRun, TheCloudsListFillsInSizeAndHash) {
  packages({{"a.pkg", "SHA_512", "", "234KB"}});
  cloud({{"a.pkg", "x"}, {"nobody-uses-it.pkg", "y"}});
  const auto manifest = runFiles();
  ASSERT_THAT(items(manifest), SizeIs(1));
  EXPECT_EQ(only(manifest).jamfHash, "MD5:" + md5Of("x"));
  EXPECT_EQ(only(manifest).jamfHashVerified, true);
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

TEST(FileTarget, ItsHashIsTheTypeAsGivenAndTheValueInLowerCase) {
  FileSection::Target target;
  EXPECT_EQ(target.jamfHash(), std::nullopt);
  target.hashType = "Sha_512";
  EXPECT_EQ(target.jamfHash(), std::nullopt);
  target.hashValue = "";
  EXPECT_EQ(target.jamfHash(), std::nullopt);
  target.hashValue = "AbC";
  EXPECT_EQ(target.jamfHash(), "Sha_512:abc");
  target.hashType = "";
  EXPECT_EQ(target.jamfHash(), std::nullopt);
}

TEST(FileTarget, IsTheParentsFileByHashOrElseBySize) {
  FileSection::Target target;
  FileRef parent;
  EXPECT_FALSE(FileSection::sameFile(parent, target));
  target.size = 5;
  EXPECT_FALSE(FileSection::sameFile(parent, target));
  parent.size = 5;
  EXPECT_TRUE(FileSection::sameFile(parent, target));
  target.hashType = "MD5";
  target.hashValue = "AA";
  EXPECT_FALSE(FileSection::sameFile(parent, target));
  parent.jamfHash = "MD5:aa";
  EXPECT_TRUE(FileSection::sameFile(parent, target));
  parent.jamfHash = "MD5:AA";
  EXPECT_FALSE(FileSection::sameFile(parent, target));
}

TEST(FileTarget, IsVerifiedByTheDigestOfItsType) {
  const FileHasher::Digests digests{"aa", "bb", "cc", 1};
  const auto verdict = [&](const char* type, const char* value) {
    FileSection::Target target;
    target.hashType = type;
    target.hashValue = value;
    return FileSection::verify(target, digests);
  };
  for (const auto* type : {"SHA_256", "SHA256", "sha_256"}) EXPECT_EQ(verdict(type, "AA"), true);
  for (const auto* type : {"SHA_512", "SHA512"}) EXPECT_EQ(verdict(type, "cc"), true);
  EXPECT_EQ(verdict("md5", "bb"), true);
  EXPECT_EQ(verdict("MD5", "aa"), false);
  EXPECT_EQ(verdict("MD5", "not hexadecimal"), false);
  EXPECT_EQ(verdict("SHA3_512", "aa"), std::nullopt);
  EXPECT_EQ(verdict("MD5", ""), std::nullopt);
  EXPECT_EQ(verdict("", "aa"), std::nullopt);
}

}  // namespace
}  // namespace orvik
