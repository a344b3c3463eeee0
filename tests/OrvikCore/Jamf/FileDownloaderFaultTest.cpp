#include <gtest/gtest.h>

#include <mutex>
#include <random>
#include <thread>

#include "OrvikCore/Jamf/FileDownloader.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/FaultSeam.h"
#include "tests/OrvikCore/Jamf/DownloadTesting.h"
#include "tests/Support/LogRecorder.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
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

// Cut connections.

TEST(DownloadFaults, AConnectionCutAnywhereIsTakenUpAgain) {
  const std::string whole = head200 + content;
  for (const std::size_t cut : {std::size_t{0}, std::size_t{10}, head200.size() - 1, head200.size(),
                                head200.size() + 1, head200.size() + 999, whole.size() - 1}) {
    ScriptedServer server([&](Exchange& exchange) {
      if (exchange.number > 0) return exchange.send(fileAnswer(exchange.request, content));
      exchange.send(whole.substr(0, cut));
      exchange.close();
    });
    Download download;
    EXPECT_EQ(download.from(server.url()), 2000) << cut;
    EXPECT_EQ(download.content(), content) << cut;
    const auto gained = cut > head200.size() ? cut - head200.size() : 0;
    EXPECT_EQ(offsetOf(server.requests().at(1)), gained) << "bytes that came are not asked for twice";
    EXPECT_EQ(download.progress, 2000);
  }
}

TEST(DownloadFaults, AConnectionThatIsResetIsTakenUpAgain) {
  ScriptedServer server([&](Exchange& exchange) {
    if (exchange.number > 0) return exchange.send(fileAnswer(exchange.request, content));
    exchange.send(head200 + content.substr(0, 100));
    exchange.reset();
  });
  Download download;
  EXPECT_EQ(download.from(server.url()), 2000);
  EXPECT_EQ(download.content(), content);
}

TEST(DownloadFaults, ABodyShorterThanTheRangeSaysIsIncompleteAndGoneOnFrom) {
  ScriptedServer server([](Exchange& exchange) {
    if (exchange.number > 0) return exchange.send(fileAnswer(exchange.request, content));
    exchange.send("HTTP/1.1 206 Part\r\nContent-Range: bytes 0-999/2000\r\nContent-Length: 1000\r\n\r\n" +
                  content.substr(0, 1000));
  });
  Download download;
  EXPECT_EQ(download.from(server.url()), 2000);
  EXPECT_EQ(download.content(), content);
  EXPECT_EQ(offsetOf(server.requests().at(1)), 1000U);
}

TEST(DownloadFaults, ABodyLongerThanItsLengthIsCutThere) {
  ScriptedServer server(ScriptedServer::always(head200 + content + "and more"));
  Download download;
  EXPECT_EQ(download.from(server.url()), 2000);
  EXPECT_EQ(download.content(), content);
}

TEST(DownloadFaults, ABodyLongerThanTheTotalRestartsAndIsNotRepeatedForEver) {
  ScriptedServer server([](Exchange& exchange) {
    const auto first = std::to_string(offsetOf(exchange.request));
    exchange.send("HTTP/1.1 206 Part\r\nContent-Range: bytes " + first +
                  "-1999/2000\r\nContent-Length: 3000\r\n\r\n" + fileOf(3000));
  });
  Download download;
  EXPECT_THROW(download.from(server.url()), DownloadError);
  EXPECT_LT(server.requestCount(), 20U);
}

// Addresses.

TEST(DownloadFaults, AnAddressThatIsNoURLOrOfAnotherSchemeIsRefusedWithoutItsQuery) {
  const support::LogRecorder log;
  const std::pair<const char*, const char*> rows[] = {
      {"", "The download address is not a valid URL"},
      {"no url?Signature=geheim", "The download address is not a valid URL"},
      {"https://a b/?Signature=geheim", "The download address is not a valid URL"},
      {"https:///x?Signature=geheim", "The download address is not a valid URL"},
      {"file:///etc/passwd?Signature=geheim",
       "The download address begins with \"file://\"; only http and https are allowed"},
      {"ftp://127.0.0.1/x?Signature=geheim",
       "The download address begins with \"ftp://\"; only http and https are allowed"}};
  for (const auto& [address, sentence] : rows) {
    Download download;
    const auto error = failureOf<DownloadError>([&] { download.from(address); });
    EXPECT_EQ(error.kind(), DownloadError::Kind::noSource);
    EXPECT_EQ(error.description(), sentence);
    EXPECT_EQ(download.requestsMade, 1) << "not repeated";
  }
  EXPECT_FALSE(log.mentions("geheim"));
}

TEST(DownloadFaults, RedirectsAreFollowedWithTheRange) {
  ScriptedServer server(ScriptedServer::answering([](auto& request) {
    return request.target() == "/a" ? answer(307, "moved", "Location: /b\r\n") : fileAnswer(request, content);
  }));
  Download download;
  files::atomicWrite(content.substr(0, 800), download.part);
  EXPECT_EQ(download.from(server.url("/a")), 2000);
  EXPECT_EQ(download.content(), content);
  EXPECT_EQ(server.requests().at(1).header("Range"), "bytes=800-");
}

TEST(DownloadFaults, ARedirectToAnotherSchemeIsRefusedAndTheSecretIsNotTold) {
  const support::LogRecorder log;
  for (const char* address : {"file:///etc/passwd", "ftp://127.0.0.1/x?Signature=geheim"}) {
    ScriptedServer server(
        ScriptedServer::always(answer(302, {}, "Location: " + std::string(address) + "\r\n")));
    Download download;
    const auto error = failureOf<HTTPError>([&] { download.from(server.url("/?Signature=geheim")); });
    EXPECT_NE(error.description().find(" led to an address that is neither http nor https"),
              std::string::npos)
        << error.description();
    EXPECT_EQ(download.content(), "");
  }
  EXPECT_FALSE(log.mentions("geheim"));
}

TEST(DownloadFaults, NothingSecretStandsInTheRecord) {
  ScriptedServer server(
      ScriptedServer::answering([](auto& request) { return fileAnswer(request, content, "\"v1\""); }));
  Download download;
  download.from(server.url("/file?Signature=geheim"));
  const auto text = files::read(PartRecord::path(download.part));
  EXPECT_EQ(text.find("geheim"), std::string::npos);
  EXPECT_EQ(text.find("127.0.0.1"), std::string::npos);
}

// The disk.

TEST(DownloadFaults, AFullDiskAtAnyMomentLeavesThePartAndIsNotRepeated) {
  std::size_t failures = 0;
  for (std::uint64_t n = 1;; ++n) {
    ScriptedServer server(
        ScriptedServer::answering([](auto& request) { return fileAnswer(request, content, "\"v1\""); }));
    Download download;
    files::atomicWrite(content.substr(0, 800), download.part);
    files::armFaultSeam(n, files::FaultAction::failFromThen, ENOSPC);
    std::string sentence;
    try {
      download.from(server.url());
    } catch (const files::FileError& error) {
      sentence = error.description();
    }
    files::disarmFaultSeam();
    const auto kept = download.content();
    EXPECT_EQ(kept, content.substr(0, kept.size()));
    EXPECT_GE(kept.size(), 800U);
    EXPECT_LE(download.requestsMade, 1);
    if (sentence.empty()) break;
    ++failures;
    EXPECT_NE(sentence.find(": No space left on device"), std::string::npos) << sentence;
    EXPECT_EQ(download.from(server.url()), 2000) << "the next run goes on";
    EXPECT_EQ(download.content(), content);
  }
  EXPECT_GE(failures, 6U) << "opening, the record's steps, writing and flushing";
}

TEST(DownloadFaults, AFolderInPlaceOfTheFileIsAnError) {
  ScriptedServer server(ScriptedServer::always(answer(200, content)));
  Download download;
  files::createDirectories(download.part);
  EXPECT_THROW(download.from(server.url()), files::FileError);
  EXPECT_EQ(download.requestsMade, 1);
}

// Cancelling.

void expectPromptCancellation(Download& download, const std::string& url,
                              const std::function<void()>& untilThere) {
  std::stop_source source;
  platform::MonotonicTime stopped;
  std::jthread stopping([&] {
    untilThere();
    stopped = platform::MonotonicClock::now();
    source.request_stop();
  });
  EXPECT_THROW(download.from(url, source.get_token()), platform::CancellationError);
  const auto ended = platform::MonotonicClock::now();
  stopping.join();
  EXPECT_LT(ended - stopped, 500ms);
}

TEST(DownloadFaults, CancellingEndsTheWaitForTheHeadAndForTheBody) {
  for (const std::string& sent : {std::string(), head200 + "some"}) {
    ScriptedServer server([&](Exchange& exchange) {
      exchange.send(sent);
      exchange.hold();
    });
    Download download;
    expectPromptCancellation(download, server.url(), [&] {
      server.waitForRequests(1);
      while (!sent.empty() && download.progress == 0) std::this_thread::yield();
    });
    EXPECT_EQ(download.content(), sent.empty() ? "" : "some");
  }
}

TEST(DownloadFaults, CancellingEndsATransferAtFullSpeed) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 100000000000\r\n\r\n");
    const std::string piece(1 << 20, 'x');
    for (int i = 0; i < 200; ++i) exchange.send(piece);
  });
  Download download;
  expectPromptCancellation(download, server.url(), [&] {
    while (download.progress < 20'000'000) std::this_thread::yield();
  });
}

TEST(DownloadFaults, CancellingEndsTheSleepBeforeARepeat) {
  ScriptedServer server(ScriptedServer::always(answer(503)));
  const support::LogRecorder log;
  Download download;
  download.downloader.policy = {5, 3600, 3600};
  expectPromptCancellation(download, server.url(), [&] {
    while (log.messages("download").empty()) std::this_thread::yield();
  });
}

TEST(DownloadFaults, CancellingEndsTheWaitAtTheGate) {
  PauseGate gate;
  gate.pause();
  Download download;
  download.downloader.gate = &gate;
  expectPromptCancellation(download, "http://127.0.0.1:1/", [&] {
    while (gate.waiting() == 0) std::this_thread::yield();
  });
  EXPECT_EQ(download.requestsMade, 0);
  EXPECT_FALSE(files::exists(download.part));
}

// All of it at random.

/// What a moody server does to one exchange.
struct Mood {
  std::size_t version = 0;
  int status = 0;         ///< answers with that instead, unless 0
  std::uint32_t cut = 0;  ///< the answer's length modulo this, unless 0
  bool resets = false;
};

std::string versionOf(std::size_t version) {
  return fileOf(50'000 + 1000 * version, 77 + static_cast<std::uint32_t>(version));
}

TEST(DownloadFaults, WhateverHappensTheFileIsOneOfTheServersVersionsInTheEnd) {
  for (std::uint32_t seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    std::mutex mutex;  // guards what follows up to the server
    std::mt19937 random(seed);
    std::size_t version = 0;
    const auto mood = [&] {
      const std::lock_guard lock(mutex);
      if (random() % 8 == 0) ++version;
      const bool fails = random() % 5 == 0;
      const bool isWhole = random() % 3 == 0;
      return Mood{version, fails ? (random() % 2 ? 503 : 403) : 0,
                  isWhole ? 0 : static_cast<std::uint32_t>(1 + random()), random() % 2 == 0};
    };
    ScriptedServer server([&](Exchange& exchange) {
      const Mood now = mood();
      if (now.status) return exchange.send(answer(now.status));
      const auto etag = "\"" + std::to_string(now.version) + "\"";
      const auto whole = fileAnswer(exchange.request, versionOf(now.version), etag);
      if (!now.cut) return exchange.send(whole);
      exchange.send(whole.substr(0, now.cut % whole.size()));
      now.resets ? exchange.reset() : exchange.close();
    });
    Download download;
    download.downloader.policy.maxAttempts = 2;
    std::optional<std::int64_t> size;
    for (int run = 0; run < 200 && !size; ++run) {
      try {
        size = download.from(server.url());
      } catch (const tuv::Error&) {
      }
    }
    ASSERT_TRUE(size);
    EXPECT_TRUE(download.content() == versionOf(static_cast<std::size_t>(*size - 50'000) / 1000));
  }
}

}  // namespace
}  // namespace orvik
