#include "Platform/Crypto/Digest.h"
#include "Platform/HTTP/URL.h"
#include "SampleServer/ByteRange.h"
#include "tests/SampleServer/Client.h"

namespace sample {
namespace {

using namespace std::chrono_literals;

class SampleDownload : public testing::Test {
 protected:
  SampleServer server_{{.log = LogDetail::all}};
  AuthorizedClient client_{server_};
  RawClient plain_{server_.port()};
  PackageFile file_ = server_.packageFiles()[3];  // on the cloud

  /// The URL that the server hands out; empty where there is none.
  std::string uri(const std::string& fileName) {
    const auto answer = client_.get("api/v1/jcds/files/" + platform::percentEncodeQueryItem(fileName)).json();
    const auto uri = answer ? answer->root()["uri"] : std::nullopt;
    return uri ? std::string(*uri->string()) : std::string();
  }
  /// The same without the server's own part.
  std::string target(const std::string& fileName) {
    const std::string whole = uri(fileName);
    EXPECT_TRUE(whole.starts_with(server_.url() + "/")) << whole.size();
    return whole.substr(server_.url().size());
  }
  Received fetch(const std::string& target, const std::string& headers = {}) {
    return plain_.ask("GET " + target + " HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n");
  }
  static std::string share(std::string_view fileName) {
    std::string encoded;
    for (const char c : platform::percentEncodePath(fileName))
      encoded += c == '/' ? "%2F" : std::string(1, c);
    return "/JamfShare/Packages/" + encoded;
  }
  bool isWhole(const Received& answer, const PackageFile& file) {
    return answer.status == 200 && platform::sha256Hex(answer.body) == server_.packageSHA256(file.fileName);
  }
};

TEST(ByteRange, IsReadAsClientsWriteIt) {
  const auto range = [](std::int64_t offset, std::int64_t length) {
    return std::optional(ByteRange{offset, length});
  };
  EXPECT_EQ(parseByteRange("bytes=0-", 10), range(0, 10));
  EXPECT_EQ(parseByteRange("bytes=4-", 10), range(4, 6));
  EXPECT_EQ(parseByteRange("bytes=4-5", 10), range(4, 2));
  EXPECT_EQ(parseByteRange("bytes=4-99", 10), range(4, 6));
  EXPECT_EQ(parseByteRange("bytes=-3", 10), range(7, 3));
  EXPECT_EQ(parseByteRange("bytes=-30", 10), range(0, 10));
  for (const char* beyond : {"bytes=10-", "bytes=99-100", "bytes=-0"}) {
    EXPECT_EQ(parseByteRange(beyond, 10)->length, 0) << beyond;
  }
  EXPECT_EQ(parseByteRange("bytes=0-", 0)->length, 0);
  for (const char* none : {"", "bytes", "bytes=", "bytes=-", "bytes=5-4", "bytes=a-", "bytes=1-2,4-5",
                           "lines=1-2", "bytes=99999999999999999999-"}) {
    EXPECT_EQ(parseByteRange(none, 10), std::nullopt) << none;
  }
}

TEST_F(SampleDownload, EveryFileOfTheCloudComesWholeFromItsURL) {
  int fetched = 0;
  for (const PackageFile& file : server_.packageFiles()) {
    if (!file.onCloud) {
      EXPECT_EQ(uri(file.fileName), "") << file.fileName;
      continue;
    }
    EXPECT_TRUE(isWhole(fetch(target(file.fileName)), file)) << file.fileName;
    ++fetched;
  }
  EXPECT_EQ(fetched, 10);
  EXPECT_EQ(client_.get("api/v1/jcds/files/nothing.pkg").status, 404);
}

TEST_F(SampleDownload, AURLNeedsATokenAndItsFileMustHaveNone) {
  EXPECT_EQ(fetch("/api/v1/jcds/files/" + platform::percentEncodePath(file_.fileName)).status, 401);
  const Received refused = fetch(target(file_.fileName), "Authorization: Bearer x\r\n");
  EXPECT_EQ(refused.status, 400);
  EXPECT_TRUE(refused.has("application/xml"));
}

TEST_F(SampleDownload, AURLThatIsNotTheServersOwnIsRefused) {
  const std::string good = target(file_.fileName);
  const std::string path = good.substr(0, good.find('?'));
  for (const std::string& bad :
       {path, path + "?Expires=9999999999&Signature=0&Key-Pair-Id=x", good.substr(0, good.find("&Signature")),
        "/cdn/other.pkg" + good.substr(good.find('?')),
        path + "?Expires=1" + good.substr(good.find("&Sig"))}) {
    const Received answer = fetch(bad);
    EXPECT_EQ(answer.status, 403);
    EXPECT_NE(answer.body.find("<Code>AccessDenied</Code>"), std::string::npos);
  }
  EXPECT_EQ(fetch(good).status, 200);
}

TEST_F(SampleDownload, URLsExpireTogetherOrWithTime) {
  const std::string old = target(file_.fileName);
  server_.expirePresignedURLs();
  EXPECT_EQ(fetch(old).status, 403);
  EXPECT_EQ(fetch(target(file_.fileName)).status, 200);
  server_.setPresignedLifetime(0s);
  EXPECT_EQ(fetch(target(file_.fileName)).status, 403);
}

TEST(SampleDownloadTime, AURLLivesAsLongAsItsLifetime) {
  std::atomic<std::int64_t> seconds = 0;
  SampleServer server({.clock = [&] { return platform::MonotonicTime(std::chrono::seconds(seconds)); }});
  server.setPresignedLifetime(30s);
  AuthorizedClient client(server);
  const std::string name = server.packageFiles()[0].fileName;
  const auto answer = client.get("api/v1/jcds/files/" + platform::percentEncodePath(name)).json();
  const std::string target(answer->root()["uri"]->string()->substr(server.url().size()));
  const std::string request = "GET " + target + " HTTP/1.1\r\n\r\n";
  seconds = 29;
  EXPECT_EQ(RawClient(server.port()).ask(request).status, 200);
  seconds = 30;
  EXPECT_EQ(RawClient(server.port()).ask(request).status, 403);
}

TEST_F(SampleDownload, AnyURLCanBeHandedOut) {
  server_.setSignedHost("https://dist.example.net/x");
  EXPECT_TRUE(uri(file_.fileName).starts_with("https://dist.example.net/x/cdn/"));
  server_.setSignedURI("ftp://odd host");
  EXPECT_EQ(uri(file_.fileName), "ftp://odd host");
  server_.setSignedURI("");
  EXPECT_EQ(client_.get("api/v1/jcds/files/" + platform::percentEncodePath(file_.fileName)).body, "{}");
  server_.setSignedURI(std::nullopt);
  server_.setSignedHost("");
  EXPECT_TRUE(uri(file_.fileName).starts_with(server_.url() + "/cdn/"));
}

TEST_F(SampleDownload, ARefusedSectionHandsOutNoURLs) {
  server_.refuseSection("jcdsFiles", 403);
  EXPECT_EQ(client_.get("api/v1/jcds/files/" + platform::percentEncodePath(file_.fileName)).status, 403);
}

TEST_F(SampleDownload, TheShareIsOpenToAnybody) {
  int fetched = 0;
  for (const PackageFile& file : server_.packageFiles()) {
    const Received answer = fetch(share(file.fileName));
    if (!file.onShare) {
      EXPECT_EQ(answer.status, 404) << file.fileName;
      continue;
    }
    EXPECT_TRUE(isWhole(answer, file)) << file.fileName;
    ++fetched;
  }
  EXPECT_GE(fetched, 5);
  for (const char* path : {"/JamfShare/Packages/nothing.pkg", "/JamfShare/Packages/", "/JamfShare/",
                           "/JamfShare/x", "/JamfShare/Packages/Werkzeuge/Setup%203.1.pkg"}) {
    EXPECT_EQ(fetch(path).status, 404) << path;
  }
  EXPECT_EQ(fetch("/JamfShare/Packages/Werkzeuge%2FSetup%203.1.pkg").status, 200);
}

TEST_F(SampleDownload, ARangeIsAPartOfTheFile) {
  for (const std::string& path :
       {target(server_.packageFiles()[0].fileName), share(server_.packageFiles()[0].fileName)}) {
    const std::string whole = fetch(path).body;
    const std::string size = std::to_string(whole.size());
    const Received rest = fetch(path, "Range: bytes=1000-\r\n");
    EXPECT_EQ(rest.status, 206);
    EXPECT_TRUE(
        rest.has("Content-Range: bytes 1000-" + std::to_string(whole.size() - 1) + "/" + size + "\r\n"));
    EXPECT_EQ(rest.body, whole.substr(1000));
    const Received some = fetch(path, "Range: bytes=1000-1999\r\n");
    EXPECT_TRUE(some.has("Content-Range: bytes 1000-1999/" + size + "\r\n"));
    EXPECT_EQ(some.body, whole.substr(1000, 1000));
    const Received beyond = fetch(path, "Range: bytes=" + size + "-\r\n");
    EXPECT_EQ(beyond.status, 416);
    EXPECT_TRUE(beyond.has("Content-Range: bytes */" + size + "\r\n"));
    EXPECT_EQ(beyond.body, "");
  }
}

TEST_F(SampleDownload, WithoutRangesEverythingComes) {
  server_.setRangeServed(false);
  EXPECT_TRUE(isWhole(fetch(target(file_.fileName), "Range: bytes=10-\r\n"), file_));
  EXPECT_EQ(fetch(target(file_.fileName), "Range: bytes=99999999-\r\n").status, 200);
}

std::string headerOf(const Received& answer, std::string_view name) {
  const std::size_t start = answer.head.find("\r\n" + std::string(name) + ": ");
  if (start == std::string::npos) return {};
  const std::size_t value = start + name.size() + 4;
  return answer.head.substr(value, answer.head.find("\r\n", value) - value);
}

TEST_F(SampleDownload, AConditionHoldsForTheSameVersionOnly) {
  const Received first = fetch(target(file_.fileName));
  const std::string etag = headerOf(first, "ETag");
  const std::string date = headerOf(first, "Last-Modified");
  ASSERT_FALSE(etag.empty() || date.empty());
  const auto partial = [&](const std::string& validator) {
    return fetch(target(file_.fileName), "Range: bytes=5-\r\nIf-Range: " + validator + "\r\n").status;
  };
  EXPECT_EQ(partial(etag), 206);
  EXPECT_EQ(partial(date), 206);
  EXPECT_EQ(partial("\"other\""), 200);
  server_.changePackageFile(file_.fileName);
  EXPECT_EQ(partial(etag), 200);
  EXPECT_EQ(partial(date), 200);
  const Received second = fetch(target(file_.fileName));
  EXPECT_NE(headerOf(second, "ETag"), etag);
  EXPECT_NE(headerOf(second, "Last-Modified"), date);
  EXPECT_EQ(second.body.size(), first.body.size());
  EXPECT_NE(second.body, first.body);
  server_.setDownloadValidators(false, false);
  const Received bare = fetch(target(file_.fileName));
  EXPECT_EQ(headerOf(bare, "ETag") + headerOf(bare, "Last-Modified"), "");
  EXPECT_EQ(partial(headerOf(second, "ETag")), 200);
}

TEST_F(SampleDownload, AnEmptyFileHasNoRange) {
  server_.addPackage({.fileName = "empty.pkg", .size = 0, .onShare = true});
  EXPECT_EQ(fetch(share("empty.pkg")).status, 200);
  const Received answer = fetch(share("empty.pkg"), "Range: bytes=0-\r\n");
  EXPECT_EQ(answer.status, 416);
  EXPECT_TRUE(answer.has("Content-Range: bytes */0\r\n"));
}

TEST_F(SampleDownload, AnyPartOfAFileOfGigabytesComesAtOnce) {
  constexpr std::int64_t size = 40LL << 30;
  server_.addPackage(
      {.fileName = "large.pkg", .size = size, .onCloud = false, .onShare = true, .hashValue = ""});
  const Received last = fetch(share("large.pkg"), "Range: bytes=" + std::to_string(size - 5) + "-\r\n");
  EXPECT_EQ(last.status, 206);
  EXPECT_EQ(last.body.size(), 5U);
}

TEST_F(SampleDownload, TheLogKnowsRangesAndNoKeys) {
  const std::string path = target(file_.fileName);
  fetch(path, "Range: bytes=7-\r\n");
  fetch(share(server_.packageFiles()[0].fileName), "Authorization: Basic eDp5\r\n");
  const auto entries = server_.log().entries();
  const LoggedRequest& cloud = entries[entries.size() - 2];
  EXPECT_EQ(cloud.path, "cdn/" + file_.fileName);
  EXPECT_EQ(cloud.query, "");
  EXPECT_EQ(cloud.range, "bytes=7-");
  EXPECT_EQ(cloud.status, 206);
  EXPECT_FALSE(cloud.authorized);
  EXPECT_EQ(entries.back().range, "");
  EXPECT_TRUE(entries.back().authorized);
}

TEST_F(SampleDownload, FilesAreOnlyRead) {
  for (const std::string& path : {target(file_.fileName), share(server_.packageFiles()[0].fileName)}) {
    EXPECT_EQ(plain_.ask("DELETE " + path + " HTTP/1.1\r\n\r\n").status, 405);
  }
}

TEST_F(SampleDownload, ALimitedSpeedCountsForRunningDownloads) {
  server_.addPackage(
      {.fileName = "slow.pkg", .size = 3'000'000, .onCloud = false, .onShare = true, .hashValue = ""});
  server_.setDownloadRate(1'000'000);
  const auto start = platform::MonotonicClock::now();
  plain_.send("GET " + share("slow.pkg") + " HTTP/1.1\r\nRange: bytes=0-99999\r\n\r\n");
  EXPECT_EQ(plain_.receive().body.size(), 100'000U);
  EXPECT_GE(platform::MonotonicClock::now() - start, 60ms);
  server_.setDownloadRate(2'000);
  plain_.send("GET " + share("slow.pkg") + " HTTP/1.1\r\n\r\n");
  server_.setDownloadRate(0);
  EXPECT_EQ(plain_.receive().body.size(), 3'000'000U);
}

TEST_F(SampleDownload, AStopEndsASlowDownload) {
  server_.setDownloadRate(10);
  plain_.send("GET " + share(server_.packageFiles()[0].fileName) + " HTTP/1.1\r\n\r\n");
  ASSERT_FALSE(plain_.ended());  // the head is there
  server_.stop();
  EXPECT_LT(plain_.drain().size(), 10'000U);
}

}  // namespace
}  // namespace sample
