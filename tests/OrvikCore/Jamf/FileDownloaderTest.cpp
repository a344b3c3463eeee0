#include "OrvikCore/Jamf/FileDownloader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "JamfCore/Networking/APIError.h"
#include "Platform/Concurrency/Cancellation.h"
#include "tests/OrvikCore/Jamf/DownloadTesting.h"
#include "tests/Support/LogRecorder.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using platform::HTTPError;
using platform::HTTPErrorKind;
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

TEST(FileDownloader, AFileThatIsNotThereYetIsFetchedWhole) {
  ScriptedServer server(
      ScriptedServer::answering([](auto& request) { return fileAnswer(request, content); }));
  Download download;
  EXPECT_EQ(download.from(server.url()), 2000);
  EXPECT_EQ(download.content(), content);
  EXPECT_EQ(download.progress, 2000);
  EXPECT_EQ(server.requests().at(0).header("Range"), std::nullopt);
  EXPECT_EQ(server.requests().at(0).header("If-Range"), std::nullopt);
}

TEST(FileDownloader, APartOf1000BytesIsGoneOnFromWhereTheServerHonoursRange) {
  ScriptedServer server(
      ScriptedServer::answering([](auto& request) { return fileAnswer(request, content); }));
  Download download;
  files::atomicWrite(content.substr(0, 1000), download.part);
  EXPECT_EQ(download.from(server.url()), 2000);
  EXPECT_EQ(download.content(), content);
  EXPECT_EQ(download.progress, 1000) << "what was there is no progress";
  EXPECT_EQ(server.requests().at(0).header("Range"), "bytes=1000-");
  EXPECT_EQ(server.requests().at(0).header("If-Range"), std::nullopt);
}

TEST(FileDownloader, AServerThatAnswers200ToARangeRestartsTheFileFrom0) {
  ScriptedServer server(ScriptedServer::always(answer(200, content)));
  Download download;
  files::atomicWrite(std::string(3000, 'x'), download.part);
  EXPECT_EQ(download.from(server.url()), 2000);
  EXPECT_EQ(download.content(), content);
  EXPECT_EQ(server.requests().at(0).header("Range"), "bytes=3000-");
  EXPECT_EQ(download.record()->total, 2000);
}

TEST(FileDownloader, A416WithACompletePartReturnsSuccessWithoutABody) {
  for (const char* headers : {"", "Content-Range: bytes */2000\r\n"}) {
    ScriptedServer server(ScriptedServer::always(answer(416, "no such range", headers)));
    Download download;
    files::atomicWrite(content, download.part);
    EXPECT_EQ(download.from(server.url()), 2000);
    EXPECT_EQ(download.content(), content);
    EXPECT_EQ(download.progress, 0);
    EXPECT_EQ(server.requestCount(), 1U);
  }
}

TEST(FileDownloader, AConnectionThatDropsOnEachAttemptNeverUsesUpTheAttemptsWhileTheFileGrows) {
  const std::string file = fileOf(2'000'000);
  ScriptedServer server([&](Exchange& exchange) {
    const auto whole = fileAnswer(exchange.request, file);
    exchange.send(whole.substr(0, 200'000));
    exchange.close();
  });
  Download download;
  download.downloader.policy.maxAttempts = 2;
  EXPECT_EQ(download.from(server.url()), 2'000'000);
  EXPECT_TRUE(download.content() == file);
  EXPECT_GE(server.requestCount(), 10U);
}

TEST(FileDownloader, AttemptsWithoutProgressAreCounted) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send(exchange.number == 1 ? partHead(0, 2000) + content.substr(0, 100) : "");
    exchange.close();
  });
  Download download;
  EXPECT_THROW(download.from(server.url()), HTTPError);
  // One that fails, one that gains bytes and counts as the first again, and two more.
  EXPECT_EQ(server.requestCount(), 4U);
  EXPECT_EQ(download.content(), content.substr(0, 100));
}

TEST(FileDownloader, A403OfASignedURLIsRepeatedWithAFreshRequest) {
  ScriptedServer server(ScriptedServer::answering([](auto& request) {
    return request.target() == "/signed?n=2" ? fileAnswer(request, content) : answer(403, "<Error/>");
  }));
  Download download;
  int made = 0;
  const auto size = download.downloader.download(download.part, "jcds",
                                                 [&](const std::stop_token&) {
                                                   platform::HTTPRequest request;
                                                   request.url =
                                                       server.url("/signed?n=" + std::to_string(++made));
                                                   return request;
                                                 },
                                                 {});
  EXPECT_EQ(size, 2000);
  EXPECT_EQ(made, 2);
}

TEST(FileDownloader, APauseKeepsTheBytesAndResumingGoesOnWithTheAttemptCountUnchanged) {
  ScriptedServer server([](Exchange& exchange) {
    if (exchange.number == 0) {
      exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 2000\r\n\r\n" + content.substr(0, 700));
      exchange.hold();
      exchange.close();
    } else {
      exchange.send(fileAnswer(exchange.request, content));
    }
  });
  PauseGate gate;
  Download download;
  download.downloader.gate = &gate;
  download.downloader.policy = RetryPolicy::none;  // a second attempt would be one too many
  std::int64_t size = 0;
  std::jthread downloading([&] {
    size = download.downloader.download(
        download.part, "jcds",
        [&](const std::stop_token&) {
          platform::HTTPRequest request;
          request.url = server.url();
          return request;
        },
        [&](std::int64_t) {
          if (server.requestCount() == 1) gate.pause();
        });
  });
  while (gate.waiting() == 0) std::this_thread::yield();
  EXPECT_EQ(server.requestCount(), 1U);
  const auto kept = download.content();
  EXPECT_EQ(kept, content.substr(0, kept.size()));
  EXPECT_GE(kept.size(), 1U);
  gate.resume();
  downloading.join();
  EXPECT_EQ(size, 2000);
  EXPECT_EQ(download.content(), content);
  EXPECT_EQ(server.requests().at(1).header("Range"), "bytes=" + std::to_string(kept.size()) + "-");
}

TEST(FileDownloader, TheNumberBehindTheSlashOfContentRangeIsTheExpectedTotal) {
  ScriptedServer server(ScriptedServer::always(
      "HTTP/1.1 206 Part\r\nContent-Range: bytes 1000-1999/2000\r\nContent-Length: 500\r\n\r\n" +
      content.substr(1000, 500)));
  Download download;
  download.downloader.policy = RetryPolicy::none;
  files::atomicWrite(content.substr(0, 1000), download.part);
  const auto error = failureOf<DownloadError>([&] { download.from(server.url()); });
  EXPECT_EQ(error.description(), "Download incomplete: 1500 of 2000 bytes");
}

TEST(FileDownloader, WithoutATotalTheExpectedSizeIsTheOffsetAndTheLength) {
  for (const char* range : {"", "Content-Range: bytes 1000-1999/*\r\n", "Content-Range: bytes\r\n"}) {
    ScriptedServer server([&](Exchange& exchange) {
      exchange.send("HTTP/1.1 206 Part\r\nContent-Length: 1000\r\n" + std::string(range) + "\r\n" +
                    content.substr(1000));
    });
    Download download;
    files::atomicWrite(content.substr(0, 1000), download.part);
    EXPECT_EQ(download.from(server.url()), 2000);
    EXPECT_EQ(download.content(), content);
  }
}

TEST(FileDownloader, AnEmptyFileIsWholeAtOnce) {
  ScriptedServer server(ScriptedServer::always(answer(200)));
  Download download;
  EXPECT_EQ(download.from(server.url()), 0);
  EXPECT_EQ(download.content(), "");
}

TEST(FileDownloader, A404SaysThatTheFileIsNotThereAndIsNotRepeated) {
  ScriptedServer server(ScriptedServer::always(answer(404, "none")));
  Download download;
  const auto error = failureOf<DownloadError>([&] { download.from(server.url()); });
  EXPECT_EQ(error.kind(), DownloadError::Kind::notFound);
  EXPECT_EQ(server.requestCount(), 1U);
}

TEST(FileDownloader, OtherStatusesFailWithTheirNumberAndLeaveThePart) {
  for (const int status : {204, 304, 400, 410, 416}) {
    ScriptedServer server(ScriptedServer::always("HTTP/1.1 " + std::to_string(status) +
                                                 " Status\r\nContent-Length: 0\r\n\r\n"));
    Download download;
    if (status != 416) files::atomicWrite("kept", download.part);  // 416 on an empty file is no success
    const auto error = failureOf<DownloadError>([&] { download.from(server.url()); });
    EXPECT_EQ(error.status(), status);
    EXPECT_EQ(download.content(), status != 416 ? "kept" : "");
    EXPECT_EQ(server.requestCount(), 1U);
  }
}

TEST(FileDownloader, ARetryIsLoggedWithTheFilesNameTheReasonAndTheDelay) {
  const support::LogRecorder log;
  ScriptedServer server([](Exchange& exchange) {
    exchange.send(exchange.number < 2 ? answer(503) : fileAnswer(exchange.request, content));
  });
  Download download;
  download.from(server.url("/a.pkg?Signature=geheim"));
  const auto events = log.events();
  std::vector<std::string> messages;
  for (const auto& event : events) {
    if (event.category != "download") continue;
    EXPECT_EQ(event.level, tuv::LogLevel::notice);
    messages.push_back(event.message);
  }
  EXPECT_THAT(messages,
              testing::ElementsAre("download file.part: Download failed with HTTP 503; retry 1 in 0s",
                                   "download file.part: Download failed with HTTP 503; retry 2 in 0s"));
  EXPECT_FALSE(log.mentions("geheim"));
}

TEST(FileDownloader, AFailureOfTheRequestIsRepeatedOnlyWhenItMayPass) {
  for (const auto& [status, attempts] : {std::pair{503, 3}, std::pair{404, 1}}) {
    Download download;
    int made = 0;
    EXPECT_THROW(
        download.downloader.download(download.part, "jcds",
                                     [&, status = status](const std::stop_token&) -> platform::HTTPRequest {
                                       ++made;
                                       throw jamf::APIError::requestFailed(status, {});
                                     },
                                     {}),
        jamf::APIError);
    EXPECT_EQ(made, attempts);
  }
}

TEST(FileDownloader, EachAttemptHasAFreshConfigurationThatIsKept) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send(exchange.number == 0 ? answer(500) : fileAnswer(exchange.request, content));
  });
  Download download;
  int made = 0;
  download.downloader.makeConfiguration = [&] {
    platform::HTTPSessionConfiguration configuration;
    configuration.userAgent = "agent " + std::to_string(++made);
    return configuration;
  };
  download.from(server.url());
  EXPECT_EQ(server.requests().at(1).header("User-Agent"), "agent 2");
}

TEST(FileDownloader, TheTimeOutsAreItsOwnWhateverRequestAndConfigurationSay) {
  ScriptedServer server([](Exchange& exchange) {
    const auto whole = fileAnswer(exchange.request, content);
    exchange.send(whole.substr(0, whole.size() / 2));
    std::this_thread::sleep_for(30ms);  // longer than the times below
    exchange.send(whole.substr(whole.size() / 2));
  });
  Download download;
  download.downloader.policy = RetryPolicy::none;
  download.downloader.makeConfiguration = [] {
    platform::HTTPSessionConfiguration configuration;
    configuration.totalTimeout = 5ms;
    return configuration;
  };
  const auto size = download.downloader.download(download.part, "jcds",
                                                 [&](const std::stop_token&) {
                                                   platform::HTTPRequest request;
                                                   request.url = server.url();
                                                   request.idleTimeout = 5ms;
                                                   return request;
                                                 },
                                                 {});
  EXPECT_EQ(size, 2000);
}

struct Row {
  const char* name;
  std::shared_ptr<const std::exception> error;
  bool repeats;
};

template <class E>
std::shared_ptr<const std::exception> made(E error) {
  return std::make_shared<E>(std::move(error));
}

TEST(FileDownloader, ShouldRetrySaysWhatMayPass) {
  const Row rows[] = {
      {"a cancellation", made(platform::CancellationError()), false},
      {"a cancelled transfer", made(HTTPError(HTTPErrorKind::cancelled, "x")), false},
      {"a time-out", made(HTTPError(HTTPErrorKind::timedOut, "x")), true},
      {"no connection", made(HTTPError(HTTPErrorKind::cannotConnect, "x")), true},
      {"no HTTP", made(HTTPError(HTTPErrorKind::notHTTP, "x")), true},
      {"a cut connection", made(HTTPError(HTTPErrorKind::other, "x")), true},
      {"400", made(DownloadError::http(400)), false},
      {"401", made(DownloadError::http(401)), true},
      {"403", made(DownloadError::http(403)), true},
      {"408", made(DownloadError::http(408)), true},
      {"416", made(DownloadError::http(416)), false},
      {"425", made(DownloadError::http(425)), false},
      {"429", made(DownloadError::http(429)), true},
      {"499", made(DownloadError::http(499)), false},
      {"500", made(DownloadError::http(500)), true},
      {"600", made(DownloadError::http(600)), true},
      {"too few bytes", made(DownloadError::incomplete(2, 1)), true},
      {"no source", made(DownloadError::noSource("x")), false},
      {"not found", made(DownloadError::notFound()), false},
      {"a server's 503", made(jamf::APIError::requestFailed(503, {})), true},
      {"a server's 403", made(jamf::APIError::requestFailed(403, {})), false},
      {"a full disk", made(files::FileError(files::FileErrorKind::noSpace, ENOSPC, "x")), false},
      {"anything else", made(std::runtime_error("x")), false},
  };
  for (const auto& row : rows) EXPECT_EQ(FileDownloader::shouldRetry(*row.error), row.repeats) << row.name;
}

}  // namespace
}  // namespace orvik
