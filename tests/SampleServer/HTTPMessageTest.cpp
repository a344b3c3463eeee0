#include "SampleServer/HTTPMessage.h"

#include <gtest/gtest.h>

#include <random>

namespace sample {
namespace {

using Progress = RequestReader::Progress;

struct Outcome {
  Progress progress;
  int refusal;
};

Outcome advance(std::string bytes) {
  RequestReader reader;
  const Progress progress = reader.advance(bytes);
  return {progress, reader.refusal()};
}

TEST(RequestReader, ReadsARequestWithItsParts) {
  platform::Bytes buffer =
      "POST /api/v1/x%20y?page=2&name=a%26b&flag HTTP/1.1\r\nHost: x\r\nX-Blank: \t v \r\nContent-Length: "
      "3\r\n\r\nabcGET";
  RequestReader reader;
  ASSERT_EQ(reader.advance(buffer), Progress::ready);
  const Request& request = reader.request();
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.path, "/api/v1/x%20y");
  EXPECT_EQ(request.queryItem("page"), "2");
  EXPECT_EQ(request.queryItem("name"), "a&b");
  EXPECT_EQ(request.queryItem("flag"), "");
  EXPECT_FALSE(request.queryItem("absent"));
  EXPECT_EQ(request.header("x-blank"), "v");
  EXPECT_EQ(request.body, "abc");
  EXPECT_TRUE(request.keepAlive);
  reader.drop(buffer);
  EXPECT_EQ(buffer, "GET");
}

TEST(RequestReader, ReadsTheSameHoweverItArrives) {
  const std::string whole =
      "\r\nGET /a HTTP/1.1\r\nHost: x\r\n\r\nPOST /b HTTP/1.1\r\nContent-Length: 5\r\n\r\nhello"
      "GET /c HTTP/1.0\r\n\r\n";
  for (unsigned seed = 0; seed < 200; ++seed) {
    std::mt19937 random(seed);
    platform::Bytes buffer;
    RequestReader reader;
    std::string seen;
    for (std::size_t at = 0; at < whole.size();) {
      const std::size_t take = std::min<std::size_t>(random() % 20 + 1, whole.size() - at);
      buffer += whole.substr(at, take);
      at += take;
      while (reader.advance(buffer) == Progress::ready) {
        seen += std::string(reader.request().path) + "=" + std::string(reader.request().body) + ";";
        reader.drop(buffer);
      }
    }
    ASSERT_EQ(seen, "/a=;/b=hello;/c=;") << "seed " << seed;
  }
}

TEST(RequestReader, KeepsConnectionsAsTheVersionAndTheClientSay) {
  const auto keeps = [](std::string bytes) {
    RequestReader reader;
    EXPECT_EQ(reader.advance(bytes), Progress::ready);
    return reader.request().keepAlive;
  };
  EXPECT_TRUE(keeps("GET / HTTP/1.1\r\n\r\n"));
  EXPECT_FALSE(keeps("GET / HTTP/1.1\r\nConnection: Close\r\n\r\n"));
  EXPECT_FALSE(keeps("GET / HTTP/1.0\r\n\r\n"));
  EXPECT_TRUE(keeps("GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n"));
}

TEST(RequestReader, RefusesWhatIsNoRequest) {
  for (const char* bytes :
       {"nonsense\r\n\r\n", "GET /\r\n\r\n", "GET  HTTP/1.1\r\n\r\n", "GET / HTTP/2.0\r\n\r\n",
        "GET x HTTP/1.1\r\n\r\n", "G T / HTTP/1.1\r\n\r\n", "GET / a HTTP/1.1\r\n\r\n",
        "GET /\x01 HTTP/1.1\r\n\r\n", "GET / HTTP/1.1\r\nno colon\r\n\r\n",
        "GET / HTTP/1.1\r\nBad Name: x\r\n\r\n", "GET / HTTP/1.1\r\n: x\r\n\r\n",
        "GET / HTTP/1.1\r\nContent-Length: x\r\n\r\n", "GET / HTTP/1.1\r\nContent-Length: -1\r\n\r\n",
        "GET / HTTP/1.1\r\nContent-Length: 1 2\r\n\r\n", "GET / HTTP/1.1\r\nContent-Length:\r\n\r\n",
        "GET / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n"}) {
    const Outcome outcome = advance(bytes);
    EXPECT_EQ(outcome.progress, Progress::refused) << bytes;
    EXPECT_EQ(outcome.refusal, 400) << bytes;
  }
}

TEST(RequestReader, RefusesTransferCodings) {
  EXPECT_EQ(advance("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n").refusal, 501);
}

TEST(RequestReader, BoundsHeadAndBody) {
  EXPECT_EQ(advance("GET / HTTP/1.1\r\nX: " + std::string(RequestReader::maximumHead, 'x')).refusal, 431);
  EXPECT_EQ(
      advance("GET / HTTP/1.1\r\nX: " + std::string(RequestReader::maximumHead, 'x') + "\r\n\r\n").refusal,
      431);
  EXPECT_EQ(advance("POST / HTTP/1.1\r\nContent-Length: 16777217\r\n\r\n").refusal, 413);
  EXPECT_EQ(advance("POST / HTTP/1.1\r\nContent-Length: 99999999999999999999999999\r\n\r\n").refusal, 413);
  EXPECT_EQ(advance("POST / HTTP/1.1\r\nContent-Length: 16777216\r\n\r\n").progress, Progress::more);
}

TEST(RequestReader, OffersToContinueOnce) {
  platform::Bytes buffer = "POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\n";
  RequestReader reader;
  EXPECT_EQ(reader.advance(buffer), Progress::more);
  EXPECT_TRUE(reader.takeContinue());
  EXPECT_FALSE(reader.takeContinue());
  buffer += "a";
  EXPECT_EQ(reader.advance(buffer), Progress::more);
  EXPECT_FALSE(reader.takeContinue());
  buffer += "b";
  EXPECT_EQ(reader.advance(buffer), Progress::ready);
}

TEST(AppendAnswer, PutsHeadAndBodyTogether) {
  platform::Bytes wire = "x";
  appendAnswer(wire, {.status = 200, .contentType = "text/plain", .headers = "A: b\r\n", .body = "hi"}, true);
  EXPECT_EQ(wire,
            "xHTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nA: b\r\nContent-Length: 2\r\nConnection: "
            "keep-alive\r\n\r\nhi");
}

}  // namespace
}  // namespace sample
