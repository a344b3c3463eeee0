#include <map>
#include <set>

#include "Platform/Crypto/Digest.h"
#include "Platform/Error.h"
#include "Platform/Files/Files.h"
#include "Platform/Hex.h"
#include "SampleServer/FileContent.h"
#include "tests/SampleServer/Client.h"

namespace sample {
namespace {

namespace files = platform::files;
using platform::DigestAlgorithm;
using platform::json::View;

std::string textOf(std::optional<View> view) {
  return view && view->string() ? std::string(*view->string()) : "";
}

std::string hexDigest(DigestAlgorithm algorithm, std::string_view bytes) {
  return platform::hexEncode(platform::digest(algorithm, bytes));
}

struct PackageRecord {
  std::string fileName, hashType, hashValue, size;
};

class SamplePackages : public testing::Test {
 protected:
  SampleServer server_;
  AuthorizedClient client_{server_};
  files::TempFolder folder_;

  std::vector<PackageRecord> packages() {
    std::vector<PackageRecord> found;
    const auto list = client_.get("api/v1/packages?page-size=2000").json();
    for (const View record : list->root()["results"]->elements()) {
      found.push_back({textOf(record["fileName"]), textOf(record["hashType"]), textOf(record["hashValue"]),
                       textOf(record["size"])});
    }
    return found;
  }
  std::string contentOf(const std::string& fileName) {
    server_.writePackageFile(fileName, folder_ / "content");
    return files::read(folder_ / "content");
  }
  PackageFile fileNamed(const std::string& fileName) {
    for (const PackageFile& file : server_.packageFiles()) {
      if (file.fileName == fileName) return file;
    }
    ADD_FAILURE() << "no file " << fileName;
    return {};
  }
};

TEST(FileContent, AnyRangeIsThePartOfTheWhole) {
  const FileContent content{42, 100'003};
  std::string whole(100'003, '\0');
  content.fill(0, whole);
  for (const std::int64_t offset : {0, 1, 7, 8, 9, 4095, 65536, 99'999}) {
    for (const std::size_t length : {0U, 1U, 3U, 8U, 17U}) {
      if (static_cast<std::size_t>(offset) + length > whole.size()) continue;
      std::string part(length, '\0');
      content.fill(offset, part);
      EXPECT_EQ(part, whole.substr(static_cast<std::size_t>(offset), length)) << offset << " " << length;
    }
  }
  EXPECT_EQ(content.digest(DigestAlgorithm::sha256), platform::sha256Hex(whole));
  EXPECT_NE((FileContent{43, 100'003}).digest(DigestAlgorithm::sha256), platform::sha256Hex(whole));
}

TEST_F(SamplePackages, RecordsTellRightWrongUnknownAndNoHashes) {
  std::map<std::string, int> kinds;
  for (const PackageRecord& record : packages()) {
    const std::string content = contentOf(record.fileName);
    if (record.hashValue.empty()) {
      ++kinds["none"];
      continue;
    }
    const auto says = [&](DigestAlgorithm algorithm) {
      return hexDigest(algorithm, content) == record.hashValue ? " right" : " wrong";
    };
    if (record.hashType == "SHA_512") ++kinds[record.hashType + says(DigestAlgorithm::sha512)];
    if (record.hashType == "SHA_256") ++kinds[record.hashType + says(DigestAlgorithm::sha256)];
    if (record.hashType == "MD5") ++kinds[record.hashType + says(DigestAlgorithm::md5)];
    if (record.hashType == "SHA3_512") ++kinds[record.hashType];
    EXPECT_EQ(record.hashValue.size(), record.hashType == "MD5"       ? 32U
                                       : record.hashType == "SHA_256" ? 64U
                                                                      : 128U);
  }
  EXPECT_EQ(kinds, (std::map<std::string, int>{{"MD5 right", 1},
                                               {"SHA3_512", 1},
                                               {"SHA_256 right", 1},
                                               {"SHA_512 right", 10},
                                               {"SHA_512 wrong", 1},
                                               {"none", 2}}));
}

TEST_F(SamplePackages, SizesAreTextNothingOrHardToRead) {
  std::multiset<std::string> odd;
  for (const PackageRecord& record : packages()) {
    if (record.size != std::to_string(fileNamed(record.fileName).size)) odd.insert(record.size);
  }
  EXPECT_EQ(odd, (std::multiset<std::string>{"", "234KB"}));
}

TEST_F(SamplePackages, FilesLieOnTheCloudTheShareBothOrNowhere) {
  int both = 0, cloud = 0, share = 0, nowhere = 0;
  std::int64_t bytes = 0, largest = 0;
  std::string names;
  for (const PackageFile& file : server_.packageFiles()) {
    ++(file.onCloud ? file.onShare ? both : cloud : file.onShare ? share : nowhere);
    bytes += file.size;
    largest = std::max(largest, file.size);
    names += file.fileName;
  }
  EXPECT_GE(both, 2);
  EXPECT_GE(cloud, 2);
  EXPECT_GE(share, 2);
  EXPECT_EQ(nowhere, 1);
  EXPECT_LT(bytes, 3'500'000);
  EXPECT_GT(largest, 1'000'000);
  EXPECT_LT(largest, 2'000'000);
  for (const char* part : {" ", "%", "&", "#", "+", "/", "Ü"})
    EXPECT_NE(names.find(part), std::string::npos) << part;
}

TEST_F(SamplePackages, TwoPackagesNameOneFile) {
  std::map<std::string, int> uses;
  for (const PackageRecord& record : packages()) ++uses[record.fileName];
  EXPECT_EQ(server_.packageFiles().size(), 15U);
  EXPECT_EQ(uses.size(), 15U);
  EXPECT_EQ(std::count_if(uses.begin(), uses.end(), [](const auto& use) { return use.second == 2; }), 1);
}

TEST_F(SamplePackages, TheCloudListsItsFilesWithTheirDigests) {
  std::set<std::string> listed;
  const auto list = client_.get("api/v1/jcds/files").json();
  for (const View file : list->root().elements()) {
    const std::string name = textOf(file["fileName"]);
    listed.insert(name);
    EXPECT_EQ(file["length"]->int64(), fileNamed(name).size);
    EXPECT_EQ(textOf(file["md5"]), hexDigest(DigestAlgorithm::md5, contentOf(name)));
    EXPECT_EQ(textOf(file["sha3"]).size(), 128U);
  }
  for (const PackageFile& file : server_.packageFiles())
    EXPECT_EQ(file.onCloud, listed.contains(file.fileName));
}

TEST_F(SamplePackages, TheFilesOfLargeFleetsAreTiny) {
  for (const FleetSize size : {FleetSize::school, FleetSize::enterprise}) {
    SampleServer server({.size = size});
    int offCloud = 0;
    for (const PackageFile& file : server.packageFiles()) {
      EXPECT_LE(file.size, 4096);
      if (!file.onCloud && !file.onShare) ++offCloud;
    }
    EXPECT_EQ(offCloud, 1);
    EXPECT_EQ(server.packageFiles().size() + 1, server.ids("packages").size());
  }
}

TEST_F(SamplePackages, AChangedFileHasOtherBytesAndOtherDigests) {
  const std::string name = server_.packageFiles()[0].fileName;
  const std::string before = server_.packageSHA256(name);
  const auto record = packages()[0];
  const std::string content = contentOf(name);
  ASSERT_TRUE(server_.changePackageFile(name));
  EXPECT_EQ(contentOf(name).size(), content.size());
  EXPECT_NE(server_.packageSHA256(name), before);
  EXPECT_EQ(server_.packageSHA256(name), platform::sha256Hex(contentOf(name)));
  EXPECT_NE(packages()[0].hashValue, record.hashValue);
  EXPECT_EQ(packages()[0].hashValue, hexDigest(DigestAlgorithm::sha512, contentOf(name)));
  EXPECT_FALSE(server_.changePackageFile("nothing.pkg"));
}

TEST_F(SamplePackages, AnAddedPackageHasItsFileWhereItIsToBe) {
  const std::string id = server_.addPackage({.fileName = "../Fallen \"A\".pkg", .size = 12, .onShare = true});
  EXPECT_EQ(server_.ids("packages").back(), id);
  const auto file = fileNamed("../Fallen \"A\".pkg");
  EXPECT_EQ(file.size, 12);
  EXPECT_TRUE(file.onCloud && file.onShare);
  EXPECT_EQ(packages().back().hashType, "SHA_512");
  EXPECT_EQ(packages().back().hashValue, hexDigest(DigestAlgorithm::sha512, contentOf(file.fileName)));
  EXPECT_EQ(server_.ids("jcdsFiles").back(), file.fileName);
  server_.addPackage(
      {.fileName = "plain.pkg", .size = 3, .onCloud = false, .hashType = "CRC", .hashValue = "x"});
  EXPECT_FALSE(fileNamed("plain.pkg").onCloud);
  EXPECT_EQ(packages().back().hashType, "CRC");
  EXPECT_EQ(packages().back().hashValue, "x");
  server_.addPackage({.fileName = "plain.pkg", .size = 99});
  EXPECT_EQ(packages().back().size, "3");
  EXPECT_EQ(client_.get("api/v1/packages/" + server_.ids("packages").back()).status, 200);
}

TEST_F(SamplePackages, AFileLeavesTheCloudWithItsEntry) {
  const std::string name = server_.packageFiles()[0].fileName;
  ASSERT_TRUE(server_.remove("jcdsFiles", name));
  EXPECT_FALSE(fileNamed(name).onCloud);
  EXPECT_TRUE(server_.remove("packages", "2"));
  EXPECT_EQ(server_.packageFiles().size(), 14U);
}

TEST_F(SamplePackages, TheShareFolderHoldsTheFilesOfTheShare) {
  const std::string longest(255, 'a');
  for (const std::string& name : {std::string(".."), longest, longest + "a"})
    server_.addPackage({.fileName = name, .size = 1, .onShare = true});
  server_.writeShareFolder(folder_ / "mount");
  std::set<std::string> expected;
  for (const PackageFile& file : server_.packageFiles()) {
    if (!file.onShare || file.fileName.find('/') != std::string::npos || file.fileName == ".." ||
        file.fileName.size() > 255)
      continue;
    expected.insert(file.fileName);
    const auto bytes = files::read(folder_ / "mount/Packages" / file.fileName);
    EXPECT_EQ(platform::sha256Hex(bytes), server_.packageSHA256(file.fileName));
  }
  const auto names = files::list(folder_ / "mount/Packages");
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), expected);
  EXPECT_GE(expected.size(), 4U);
  EXPECT_TRUE(expected.contains(longest));
}

TEST_F(SamplePackages, UnknownFilesAreNamed) {
  EXPECT_THROW(server_.packageSHA256("nothing.pkg"), platform::Error);
  EXPECT_THROW(server_.writePackageFile("nothing.pkg", folder_ / "x"), platform::Error);
}

TEST_F(SamplePackages, TheDistributionPointsAreTheServerItself) {
  std::vector<std::string> kinds;
  for (const std::string& id : server_.ids("distributionPoints")) {
    const auto document = client_.get("JSSResource/distributionpoints/id/" + id).json();
    const View point = *document->root()["distribution_point"];
    EXPECT_EQ(textOf(point["ip_address"]), "127.0.0.1");
    EXPECT_EQ(point["port"]->int64(), server_.port());
    EXPECT_NE(textOf(point["context"]).find("JamfShare"), std::string::npos);
    std::string kind = *point["http_downloads_enabled"]->boolean() ? "on" : "off";
    kind += *point["no_authentication_required"]->boolean() ? " open" : " guarded";
    EXPECT_NE(point["no_authentication_required"]->boolean(), point["username_password_required"]->boolean());
    if (const auto url = point["http_url"]) {
      EXPECT_EQ(textOf(url), server_.url() + "/JamfShare/");
      kind += " url";
    }
    kinds.push_back(kind);
  }
  EXPECT_EQ(kinds, (std::vector<std::string>{"on open url", "on open", "on guarded url", "off open url"}));
}

}  // namespace
}  // namespace sample
