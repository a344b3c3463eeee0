#include <cerrno>

#include "Platform/HTTP/URL.h"
#include "tests/SampleServer/Client.h"

namespace sample {
namespace {

class SampleDownloadFault : public testing::Test {
 protected:
  SampleServer server_;
  PackageFile file_ = server_.packageFiles()[0];  // the large one
  std::string content_ = RawClient(server_.port()).ask(request()).body;

  std::string request(const std::string& headers = {}) const {
    return "GET /JamfShare/Packages/" + platform::percentEncodePath(file_.fileName) + " HTTP/1.1\r\n" +
           headers + "\r\n";
  }
  /// All bytes of the answer to one request, up to the end of the connection.
  std::string everything(const std::string& text) {
    RawClient client(server_.port());
    client.send(text);
    return client.drain();
  }
  static std::string bodyOf(const std::string& answer) { return answer.substr(answer.find("\r\n\r\n") + 4); }
  void fail(FaultAction action) {
    server_.faults().clear();
    server_.faults().add({.path = "JamfShare/*", .action = std::move(action)});
  }
};

TEST_F(SampleDownloadFault, TheConnectionCanEndAnywhere) {
  ASSERT_EQ(content_.size(), static_cast<std::size_t>(file_.size));
  fail(FaultCut{});
  EXPECT_EQ(everything(request()), "");
  fail(FaultCut{.after = 20});
  EXPECT_EQ(everything(request()).size(), 20U);
  fail(FaultCut{.after = 0, .from = FaultCut::From::body});
  EXPECT_TRUE(everything(request()).ends_with("\r\n\r\n"));
  fail(FaultCut{.after = 1000, .from = FaultCut::From::body});
  EXPECT_EQ(bodyOf(everything(request())), content_.substr(0, 1000));
  fail(FaultCut{.after = 1'000'000, .from = FaultCut::From::body});
  EXPECT_EQ(bodyOf(everything(request())), content_.substr(0, 1'000'000));
  fail(FaultCut{.after = 1, .from = FaultCut::From::end});
  EXPECT_EQ(bodyOf(everything(request())), content_.substr(0, content_.size() - 1));
  fail(FaultCut{.after = 5000});
  EXPECT_EQ(everything(request()).size(), 5000U);
  fail(FaultCut{.after = 99'999'999});
  EXPECT_EQ(bodyOf(everything(request())), content_);
}

TEST_F(SampleDownloadFault, ARangeIsCutFromItsOwnStart) {
  fail(FaultCut{.after = 50, .from = FaultCut::From::body});
  EXPECT_EQ(bodyOf(everything(request("Range: bytes=700-\r\n"))), content_.substr(700, 50));
}

TEST_F(SampleDownloadFault, ACutCanBeAReset) {
  fail(FaultCut{.after = 10'000, .ending = FaultCut::Ending::reset, .from = FaultCut::From::body});
  RawClient client(server_.port());
  client.send(request());
  client.drain();
  EXPECT_EQ(client.error(), ECONNRESET);
}

TEST_F(SampleDownloadFault, SmallAnswersAreCutInTheSameWay) {
  AuthorizedClient client(server_);
  const std::string body = client.get("api/v1/jcds/files").body;
  server_.faults().add({.path = "api/*", .action = FaultCut{.after = 1, .from = FaultCut::From::end}});
  client.send(getRequest("api/v1/jcds/files", client.token()));
  EXPECT_EQ(bodyOf(client.drain()), body.substr(0, body.size() - 1));
}

TEST_F(SampleDownloadFault, AHeaderCanBeWrongOrMissing) {
  fail(FaultHeader{"Content-Range", "bytes 5-9/10"});
  const std::string wrong = request("Range: bytes=700-\r\n");
  const Received answer = RawClient(server_.port()).ask(wrong);
  EXPECT_EQ(answer.status, 206);
  EXPECT_TRUE(answer.has("Content-Range: bytes 5-9/10\r\n"));
  EXPECT_EQ(answer.head.find("Content-Range"), answer.head.rfind("Content-Range"));
  EXPECT_EQ(answer.body, content_.substr(700));
  fail(FaultHeader{.name = "etag"});
  EXPECT_FALSE(RawClient(server_.port()).ask(request()).has("ETag"));
  EXPECT_TRUE(RawClient(server_.port()).ask(request()).has("Last-Modified"));
}

TEST_F(SampleDownloadFault, TheLengthCanBeALieOrMissing) {
  fail(FaultHeader{"Content-Length", "2000"});
  const std::string lie = everything(request());
  EXPECT_NE(lie.find("Content-Length: 2000\r\n"), std::string::npos);
  EXPECT_NE(lie.find("Connection: close\r\n"), std::string::npos);
  EXPECT_EQ(bodyOf(lie), content_);
  fail(FaultHeader{.name = "Content-Length"});
  const std::string silent = everything(request());
  EXPECT_EQ(silent.find("Content-Length"), std::string::npos);
  EXPECT_EQ(bodyOf(silent), content_);
}

TEST_F(SampleDownloadFault, TheBodyCanBeLongerOrShorterThanAnnounced) {
  const std::string announced = "Content-Length: " + std::to_string(file_.size) + "\r\n";
  fail(FaultLength{.more = 100});
  const std::string longer = everything(request());
  EXPECT_NE(longer.find(announced), std::string::npos);
  EXPECT_EQ(bodyOf(longer).substr(0, content_.size()), content_);
  EXPECT_EQ(bodyOf(longer).size(), content_.size() + 100);
  fail(FaultLength{.more = -100});
  const std::string shorter = everything(request());
  EXPECT_NE(shorter.find(announced), std::string::npos);
  EXPECT_EQ(bodyOf(shorter), content_.substr(0, content_.size() - 100));
  server_.faults().add({.path = "api/*", .action = FaultLength{.more = -5}});
  const std::string small = everything("GET /api/v1/auth HTTP/1.1\r\n\r\n");
  EXPECT_NE(small.find("\r\n\r\n"), std::string::npos);
}

TEST_F(SampleDownloadFault, GarbageHasTheRightLength) {
  fail(FaultGarbage{});
  const Received answer = RawClient(server_.port()).ask(request());
  EXPECT_EQ(answer.body, std::string(content_.size(), '\xfe'));
}

TEST_F(SampleDownloadFault, AFileCanBeRedirected) {
  fail(FaultAnswer{.status = 302, .headers = {{"Location", server_.url() + "/elsewhere"}}});
  const Received answer = RawClient(server_.port()).ask(request());
  EXPECT_EQ(answer.status, 302);
  EXPECT_TRUE(answer.has("Location: " + server_.url() + "/elsewhere\r\n"));
  server_.faults().clear();
  server_.faults().add(
      {.path = "cdn/*", .action = FaultAnswer{.status = 307, .headers = {{"Location", "/x"}}}});
  EXPECT_EQ(RawClient(server_.port()).ask("GET /cdn/a%20b HTTP/1.1\r\n\r\n").status, 307);
}

}  // namespace
}  // namespace sample
