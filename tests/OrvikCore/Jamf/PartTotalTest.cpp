#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>

#include "OrvikCore/Jamf/FileDownloader.h"
#include "tests/OrvikCore/Jamf/DownloadTesting.h"

namespace orvik {
namespace {

using support::answer;
using support::fileAnswer;
using support::fileOf;
using support::offsetOf;
using support::ScriptedServer;
using test::Download;
using Exchange = ScriptedServer::Exchange;
namespace files = platform::files;

const std::string content = fileOf(2000);

/// A part of 800 bytes of `content` that an earlier process left.
void leave(Download& download, PartValidator validator, std::int64_t total = 2000) {
  files::atomicWrite(content.substr(0, 800), download.part);
  PartRecord{"jcds", std::move(validator), total}.save(download.part);
}

TEST(PartTotal, AFileThatIsNowAsLongAsThePartIsNotTakenForIt) {
  const std::string changed = fileOf(800, 9);
  ScriptedServer server(
      ScriptedServer::answering([&](auto& request) { return fileAnswer(request, changed); }));
  Download download;
  leave(download, {});
  EXPECT_EQ(download.from(server.url()), 800);
  EXPECT_EQ(download.content(), changed);
}

TEST(PartTotal, A416OfAnotherVersionRestartsAt0) {
  const std::string changed = fileOf(800, 9);
  ScriptedServer server([&](Exchange& exchange) {
    const std::string etag = "ETag: \"v2\"\r\n";
    exchange.send(exchange.number == 0 ? answer(416, {}, "Content-Range: bytes */800\r\n" + etag)
                                       : answer(200, changed, etag));
  });
  Download download;
  leave(download, {"\"v1\"", {}}, 800);
  EXPECT_EQ(download.from(server.url()), 800);
  EXPECT_EQ(download.content(), changed);
}

TEST(PartTotal, APieceWithoutATotalIsNoEndWhereTheRecordKnowsOfMore) {
  for (const bool saysWhere : {true, false}) {
    ScriptedServer server([&](Exchange& exchange) {
      const auto first = offsetOf(exchange.request);
      const auto piece = content.substr(first, 500);
      const auto range =
          saysWhere ? fmt::format("Content-Range: bytes {}-{}/*\r\n", first, first + piece.size() - 1) : "";
      exchange.send(fmt::format("HTTP/1.1 206 Part\r\nContent-Length: {}\r\n{}\r\n", piece.size(), range) +
                    piece);
    });
    Download download;
    leave(download, {});
    EXPECT_EQ(download.from(server.url()), 2000);
    EXPECT_EQ(download.content(), content);
  }
}

}  // namespace
}  // namespace orvik
