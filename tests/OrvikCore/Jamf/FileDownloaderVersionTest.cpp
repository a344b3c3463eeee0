// The bytes of two sources, or of two versions of a file, are never joined.

#include <gtest/gtest.h>

#include "OrvikCore/Jamf/FileDownloader.h"
#include "tests/OrvikCore/Jamf/DownloadTesting.h"

namespace orvik {
namespace {

using platform::HTTPError;
using support::answer;
using support::fileAnswer;
using support::fileOf;
using support::offsetOf;
using support::partHead;
using support::ScriptedServer;
using test::Download;
using test::failureOf;
using Exchange = ScriptedServer::Exchange;
namespace files = platform::files;

const std::string content = fileOf(2000);
const std::string head200 = "HTTP/1.1 200 OK\r\nContent-Length: 2000\r\n\r\n";

/// A part of 800 bytes of `content` that an earlier process left, with this validator.
void leave(Download& download, PartValidator validator, std::optional<std::int64_t> total = 2000) {
  files::atomicWrite(content.substr(0, 800), download.part);
  PartRecord{"jcds", std::move(validator), total}.save(download.part);
}

TEST(DownloadVersions, APartOfAnotherSourceRestartsAt0WithoutARange) {
  ScriptedServer server(
      ScriptedServer::answering([](auto& request) { return fileAnswer(request, content, "\"v1\""); }));
  Download download;
  download.source = "North";
  ScriptedServer cutting([](Exchange& exchange) {
    exchange.send(head200 + std::string(500, 'n'));
    exchange.close();
  });
  download.downloader.policy = RetryPolicy::none;
  EXPECT_THROW(download.from(cutting.url()), HTTPError);
  EXPECT_EQ(download.content(), std::string(500, 'n'));
  EXPECT_EQ(download.record()->source, "North");

  download.source = "South";
  EXPECT_EQ(download.from(server.url()), 2000);
  EXPECT_EQ(download.content(), content);
  EXPECT_EQ(server.requests().at(0).header("Range"), std::nullopt);
  EXPECT_EQ(download.record(), (PartRecord{"South", {"\"v1\"", {}}, 2000}));
}

TEST(DownloadVersions, APartOfAnotherSourceIsNoProgressOfARequestThatCanNotBeMade) {
  Download download;
  files::atomicWrite(std::string(500, 'n'), download.part);
  PartRecord{"North", {}, {}}.save(download.part);
  int made = 0;
  EXPECT_THROW(download.downloader.download(download.part, "South",
                                            [&](const std::stop_token&) -> platform::HTTPRequest {
                                              ++made;
                                              throw HTTPError(platform::HTTPErrorKind::other, "down");
                                            },
                                            {}),
               HTTPError);
  EXPECT_EQ(made, 3);
}

TEST(DownloadVersions, APartWhoseRecordCanNotBeReadRestartsAt0) {
  ScriptedServer server(
      ScriptedServer::answering([](auto& request) { return fileAnswer(request, content); }));
  Download download;
  files::atomicWrite(std::string(500, 'n'), download.part);
  files::atomicWrite("{ not a record", PartRecord::path(download.part));
  EXPECT_EQ(download.from(server.url()), 2000);
  EXPECT_EQ(download.content(), content);
}

TEST(DownloadVersions, IfRangeGoesAlongWithTheStrongestValidator) {
  const std::string date = "Mon, 20 Jul 2026 11:56:02 GMT";
  const struct {
    PartValidator validator;
    std::optional<std::string> expected;
  } rows[] = {{{"\"v1\"", date}, "\"v1\""}, {{{}, date}, date}, {{"W/\"v1\"", {}}, {}}, {{}, {}}};
  for (const auto& row : rows) {
    ScriptedServer server(
        [](Exchange& exchange) { exchange.send(partHead(800, 2000) + content.substr(800)); });
    Download download;
    leave(download, row.validator);
    EXPECT_EQ(download.from(server.url()), 2000);
    EXPECT_EQ(download.content(), content);
    EXPECT_EQ(server.requests().at(0).header("Range"), "bytes=800-");
    EXPECT_EQ(server.requests().at(0).header("If-Range"), row.expected);
  }
}

TEST(DownloadVersions, AChangedETagBringsTheWholeFileAndANewRecord) {
  const std::string changed = fileOf(1500, 9);
  ScriptedServer server(
      ScriptedServer::answering([&](auto& request) { return fileAnswer(request, changed, "\"v2\""); }));
  Download download;
  leave(download, {"\"v1\"", {}});
  EXPECT_EQ(download.from(server.url()), 1500);
  EXPECT_EQ(download.content(), changed);
  EXPECT_EQ(download.record(), (PartRecord{"jcds", {"\"v2\"", {}}, 1500}));
}

TEST(DownloadVersions, AServerThatIgnoresIfRangeIsFoundOutByItsETag) {
  const std::string changed = fileOf(2000, 9);
  ScriptedServer server([&](Exchange& exchange) {
    const auto first = offsetOf(exchange.request);
    exchange.send(first ? partHead(first, 2000, "ETag: \"v2\"\r\n") + changed.substr(first)
                        : answer(200, changed, "ETag: \"v2\"\r\n"));
  });
  Download download;
  leave(download, {"\"v1\"", {}});
  EXPECT_EQ(download.from(server.url()), 2000);
  EXPECT_EQ(download.content(), changed);
}

TEST(DownloadVersions, AChangedTotalRestartsAt0) {
  const std::string changed = fileOf(2500, 9);
  ScriptedServer server(
      ScriptedServer::answering([&](auto& request) { return fileAnswer(request, changed); }));
  Download download;
  leave(download, {});
  EXPECT_EQ(download.from(server.url()), 2500);
  EXPECT_EQ(download.content(), changed);
  EXPECT_EQ(download.record()->total, 2500);
}

TEST(DownloadVersions, ARangeThatBeginsElsewhereRestartsAt0) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send(exchange.number == 0 ? partHead(700, 2000) + content.substr(700)
                                       : fileAnswer(exchange.request, content));
  });
  Download download;
  leave(download, {});
  EXPECT_EQ(download.from(server.url()), 2000);
  EXPECT_EQ(download.content(), content);
  EXPECT_EQ(server.requests().at(1).header("Range"), std::nullopt);
}

TEST(DownloadVersions, ManyPartsInOneAnswerAreNotTakenForTheFile) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send(
        exchange.number == 0
            ? "HTTP/1.1 206 Part\r\nContent-Type: multipart/byteranges; boundary=x\r\nContent-Length: "
              "3\r\n\r\n--x"
            : fileAnswer(exchange.request, content));
  });
  Download download;
  leave(download, {});
  EXPECT_EQ(download.from(server.url()), 2000);
  EXPECT_EQ(download.content(), content);
}

TEST(DownloadVersions, A416ThatNamesAnotherTotalRestartsAt0) {
  for (const auto& [size, total] : {std::pair{3000, 2000}, std::pair{800, 2000}}) {
    ScriptedServer server([&, total = total](Exchange& exchange) {
      exchange.send(exchange.number == 0
                        ? answer(416, {}, "Content-Range: bytes */" + std::to_string(total) + "\r\n")
                        : fileAnswer(exchange.request, content));
    });
    Download download;
    files::atomicWrite(std::string(static_cast<std::size_t>(size), 'x'), download.part);
    EXPECT_EQ(download.from(server.url()), 2000);
    EXPECT_EQ(download.content(), content);
    EXPECT_EQ(server.requests().at(1).header("Range"), std::nullopt);
  }
}

TEST(DownloadVersions, A416WithoutATotalIsNoEndWhereTheRecordKnowsOfMore) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send(exchange.number == 0 ? answer(416) : fileAnswer(exchange.request, content));
  });
  Download download;
  leave(download, {});
  EXPECT_EQ(download.from(server.url()), 2000);
  EXPECT_EQ(download.content(), content);
}

TEST(DownloadVersions, AFileThatChangesAllTheTimeEndsWithASentence) {
  ScriptedServer server([](Exchange& exchange) {
    const auto first = offsetOf(exchange.request);
    if (first) return exchange.send(partHead(first, 3000 + exchange.number) + std::string(100, 'x'));
    exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 2000\r\n\r\nsome");
    exchange.close();
  });
  Download download;
  const auto error = failureOf<DownloadError>([&] { download.from(server.url()); });
  EXPECT_EQ(error.description(), "The server sends another part or another version of the file each time");
  EXPECT_LT(server.requestCount(), 12U);
}

TEST(DownloadVersions, AFileThatIsSentFromItsBeginningAndCutEachTimeEnds) {
  ScriptedServer server([](Exchange& exchange) {  // shorter and longer in turn
    exchange.send(head200 + content.substr(0, exchange.number % 2 ? 100 : 200));
    exchange.close();
  });
  Download download;
  EXPECT_THROW(download.from(server.url()), HTTPError);
  EXPECT_LT(server.requestCount(), 12U);
}

TEST(DownloadVersions, AnotherProcessGoesOnFromThePartAndItsRecord) {
  ScriptedServer server([](Exchange& exchange) {
    if (exchange.number > 0) return exchange.send(fileAnswer(exchange.request, content, "\"v1\""));
    exchange.send(answer(200, content, "ETag: \"v1\"\r\n").substr(0, 1200));
    exchange.close();
  });
  Download first;
  first.downloader.policy = RetryPolicy::none;
  EXPECT_THROW(first.from(server.url()), HTTPError);

  Download second;
  second.part = first.part;
  EXPECT_EQ(second.from(server.url()), 2000);
  EXPECT_EQ(second.content(), content);
  EXPECT_EQ(server.requests().at(1).header("If-Range"), "\"v1\"");
  EXPECT_EQ(second.progress + first.progress, 2000);
}

TEST(DownloadVersions, APartLongerThanTheTotalThatItsRecordKnowsIsNotGoneOnFrom) {
  ScriptedServer server([](Exchange& exchange) {
    if (!offsetOf(exchange.request)) return exchange.send(fileAnswer(exchange.request, content));
    exchange.send("HTTP/1.1 206 Part\r\n\r\nmore and more");
    exchange.close();
  });
  Download download;
  files::atomicWrite(fileOf(3000), download.part);
  PartRecord{"jcds", {}, 2000}.save(download.part);
  EXPECT_EQ(download.from(server.url()), 2000);
  EXPECT_EQ(download.content(), content);
}

TEST(DownloadVersions, ATotalThatComesLateIsRemembered) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send(partHead(800, 2000) + content.substr(800, 100));
    exchange.close();
  });
  Download download;
  files::atomicWrite(content.substr(0, 800), download.part);
  PartRecord{"jcds", {"\"v1\"", {}}, {}}.save(download.part);
  download.downloader.policy = RetryPolicy::none;
  EXPECT_THROW(download.from(server.url()), HTTPError);
  EXPECT_EQ(download.record(), (PartRecord{"jcds", {"\"v1\"", {}}, 2000}));
}

}  // namespace
}  // namespace orvik
