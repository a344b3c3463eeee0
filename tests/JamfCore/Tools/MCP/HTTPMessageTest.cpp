#include "JamfCore/Tools/MCP/HTTPMessage.h"

#include <gtest/gtest.h>

#include <string>

namespace jamf {
namespace {

using Progress = HTTPRequestReader::Progress;

TEST(HTTPRequest, IsNothingUntilItsBodyIsWhole) {
  const std::string head = "POST /x HTTP/1.1\r\ncontent-length: 5\r\n\r\n";
  EXPECT_FALSE(parseHTTPRequest(head + "abc"));
  const auto request = parseHTTPRequest(head + "abcdefg");
  ASSERT_TRUE(request);
  EXPECT_EQ(request->body, "abcde");
  EXPECT_EQ(*request, (HTTPRequest{"POST", "/x", {{"content-length", "5"}}, "abcde"}));
}

TEST(HTTPRequest, WithoutALengthHasAnEmptyBody) {
  const auto request = parseHTTPRequest("GET /a?b=c HTTP/1.1\r\nHost: localhost\r\n\r\nrest");
  ASSERT_TRUE(request);
  EXPECT_EQ(request->method, "GET");
  EXPECT_EQ(request->path, "/a?b=c");
  EXPECT_EQ(request->body, "");
}

TEST(HTTPRequest, ALineOfOneWordNeverParses) {
  EXPECT_FALSE(parseHTTPRequest("GET\r\n\r\n"));
  EXPECT_FALSE(parseHTTPRequest("\r\n\r\n"));
  EXPECT_FALSE(parseHTTPRequest("\r\nGET /x HTTP/1.1\r\n\r\n"));
  EXPECT_TRUE(parseHTTPRequest("GET /x\r\n\r\n")) << "the version is not looked at";
  EXPECT_TRUE(parseHTTPRequest("get /x nonsense and more\r\n\r\n"));
}

TEST(HTTPRequest, AHeaderLineWithoutAColonIsSkipped) {
  const auto request = parseHTTPRequest("GET / HTTP/1.1\r\nnonsense\r\n  folded\r\nA: b\r\n\r\n");
  ASSERT_TRUE(request);
  EXPECT_EQ(request->headers, (std::map<std::string, std::string>{{"A", "b"}}));
}

TEST(HTTPRequest, HeadersKeepTheirSpellingAndAreFoundInAnyCase) {
  const auto request =
      parseHTTPRequest("GET / HTTP/1.1\r\nX-Thing \t: \t a: b \t\r\nTwice: 1\r\nTwice: 2\r\n\r\n");
  ASSERT_TRUE(request);
  EXPECT_TRUE(request->headers.contains("X-Thing"));
  ASSERT_TRUE(request->header("x-tHING"));
  EXPECT_EQ(*request->header("x-tHING"), "a: b");
  EXPECT_EQ(*request->header("twice"), "2");
  EXPECT_EQ(request->header("X-Thin"), nullptr);
}

TEST(HTTPRequest, ALengthThatIsNoNumberCountsAsNone) {
  for (const auto* length : {"5x", "", "0x5", "5 5", "99999999999999999999", "+", "+-5", "-", "٥"}) {
    const auto request =
        parseHTTPRequest("POST / HTTP/1.1\r\nContent-Length: " + std::string(length) + "\r\n\r\nabc");
    ASSERT_TRUE(request) << length;
    EXPECT_EQ(request->body, "") << length;
  }
  EXPECT_EQ(parseHTTPRequest("POST / HTTP/1.1\r\nContent-Length: +2\r\n\r\nabc")->body, "ab");
}

TEST(HTTPRequest, ANegativeLengthNeverParses) {
  const std::string request = "POST / HTTP/1.1\r\nContent-Length: -5\r\n\r\nabcdefgh";
  EXPECT_FALSE(parseHTTPRequest(request));
  HTTPRequestReader reader;
  EXPECT_EQ(reader.append(request), Progress::malformed);
  EXPECT_EQ(reader.append("more"), Progress::malformed);
}

TEST(HTTPRequest, AHeadThatIsNoUTF8NeverParsesAndABodyMayBeAnything) {
  EXPECT_FALSE(parseHTTPRequest("GET /\xff HTTP/1.1\r\n\r\n"));
  const std::string body("\xff\0\r", 3);
  const auto request = parseHTTPRequest("POST / HTTP/1.1\r\nContent-Length: 3\r\n\r\n" + body);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->body, body);
}

TEST(HTTPRequest, BareLineFeedsEndNoHead) { EXPECT_FALSE(parseHTTPRequest("GET / HTTP/1.1\nA: b\n\n")); }

TEST(HTTPRequest, ByteByByteIsTheSameAsAtOnce) {
  const std::string text =
      "POST /mcp HTTP/1.1\r\nHost: x\r\n\r: odd\r\nContent-Length: 6\r\n\r\nab\r\n\r\nnext request";
  HTTPRequestReader reader;
  std::size_t fed = 0;
  while (reader.append(text.substr(fed, 1)) == Progress::more) ++fed;
  EXPECT_EQ(fed, text.find("next") - 1);
  EXPECT_EQ(reader.contentLength(), 6);
  EXPECT_EQ(reader.take(), parseHTTPRequest(text));
}

TEST(HTTPRequest, TheFirstEmptyLineEndsTheHeadForGood) {
  HTTPRequestReader reader;
  EXPECT_EQ(reader.append("nonsense\r\n\r"), Progress::more);
  EXPECT_EQ(reader.append("\n"), Progress::malformed);
  EXPECT_EQ(reader.append("GET / HTTP/1.1\r\n\r\n"), Progress::malformed);
}

TEST(HTTPResponse, WritesItsFixedHeadersFirst) {
  HTTPResponse response{405, "Method Not Allowed", {{"Allow", "POST"}, {"A", "b"}}, "body"};
  EXPECT_EQ(response.rawBytes(),
            "HTTP/1.1 405 Method Not Allowed\r\nContent-Length: 4\r\nConnection: close\r\nA: b\r\nAllow: "
            "POST\r\n\r\nbody");
}

TEST(HTTPResponse, ItsLengthCountsBytesNotCharacters) {
  const auto response = HTTPResponse::json("\"ä😀\"");
  EXPECT_EQ(response.rawBytes(),
            "HTTP/1.1 200 OK\r\nContent-Length: 8\r\nConnection: close\r\nContent-Type: "
            "application/json\r\n\r\n\"ä😀\"");
}

TEST(HTTPResponse, KnowsTheTextsOfSixStatuses) {
  const std::map<std::int64_t, std::string> texts{
      {200, "OK"},        {202, "Accepted"},           {400, "Bad Request"}, {403, "Forbidden"},
      {404, "Not Found"}, {405, "Method Not Allowed"}, {500, "Error"},       {413, "Error"}};
  for (const auto& [code, text] : texts) {
    EXPECT_EQ(HTTPResponse::status(code), (HTTPResponse{code, text, {}, {}}));
    EXPECT_EQ(HTTPResponse::json("{}", code).statusText, text);
  }
}

}  // namespace
}  // namespace jamf
