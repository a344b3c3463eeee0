#include <gtest/gtest.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

#include "Platform/HTTP/HTTPSession.h"
#include "tests/Platform/HTTP/HTTPTesting.h"
#include "tests/Support/ScriptedServer.h"

namespace platform {
namespace {

using namespace std::chrono_literals;
using support::answer;
using support::ScriptedServer;
using test::request;
using Exchange = ScriptedServer::Exchange;

/// Keeps what it gets and tells when it has changed. `hold` makes it block in `receivedBytes`.
class Recorder final : public HTTPStreamDelegate {
 private:
  template <class Change>
  bool changing(const Change& change) {
    const std::lock_guard lock(mutex_);
    const bool result = change();
    changed_.notify_all();
    return result;
  }
  template <class Condition, class Result>
  auto when(const Condition& condition, const Result& result) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, condition);
    return result();
  }

 public:
  bool receivedHead(HTTPResponse head) override {
    return changing([&] {
      EXPECT_TRUE(body_.empty());
      heads_.push_back(std::move(head));
      return answersHead_;
    });
  }
  bool receivedBytes(Bytes bytes) override {
    EXPECT_FALSE(bytes.empty());
    std::unique_lock lock(mutex_);
    EXPECT_EQ(heads_.size(), 1U);
    body_ += bytes;
    changed_.notify_all();
    changed_.wait(lock, [this] { return !holds_; });
    return answersBytes_;
  }
  void ended(std::optional<HTTPError> failure) noexcept override {
    changing([&] {
      EXPECT_FALSE(ended_);
      ended_ = true;
      failure_ = std::move(failure);
      return true;
    });
  }

  void refuseHead() { answersHead_ = false; }
  void refuseBytes() { answersBytes_ = false; }
  void hold() {
    changing([&] { return holds_ = true; });
  }
  void release() {
    changing([&] { return !(holds_ = false); });
  }

  HTTPResponse head() {
    return when([this] { return !heads_.empty(); }, [this] { return heads_.at(0); });
  }
  Bytes waitForBytes(std::size_t count) {
    return when([&] { return body_.size() >= count; }, [this] { return body_; });
  }
  /// Waits for the end.
  std::optional<HTTPError> failure() {
    return when([this] { return ended_; }, [this] { return failure_; });
  }
  Bytes body() {
    return when([] { return true; }, [this] { return body_; });
  }
  std::size_t heads() {
    return when([] { return true; }, [this] { return heads_.size(); });
  }

 private:
  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::vector<HTTPResponse> heads_;
  Bytes body_;
  bool answersHead_ = true, answersBytes_ = true, holds_ = false, ended_ = false;
  std::optional<HTTPError> failure_;
};

struct HTTPStream : testing::Test {
  std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
};

TEST_F(HTTPStream, TheHeadComesBeforeTheBodyAndTheEndBehindIt) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send("HTTP/1.1 206 Part\r\nContent-Length: 6\r\nX-A: b\r\n\r\n");
    exchange.hold();
    exchange.send("abcdef");
  });
  auto session = std::make_unique<HTTPSession>();
  auto stream = std::make_unique<HTTPSession::Stream>(session->stream(request(server.url()), recorder));
  const auto head = recorder->head();
  EXPECT_EQ(head.status, 206);
  EXPECT_EQ(head.header("x-a"), "b");
  EXPECT_TRUE(head.body.empty());
  server.release();
  EXPECT_FALSE(recorder->failure());
  EXPECT_EQ(recorder->body(), "abcdef");
  stream.reset();
  session.reset();
  EXPECT_EQ(recorder.use_count(), 1);
}

TEST_F(HTTPStream, ASlowBodyArrivesAsItComes) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nhalf");
    exchange.hold();
    exchange.send("half");
  });
  HTTPSession session;
  const auto stream = session.stream(request(server.url()), recorder);
  EXPECT_EQ(recorder->waitForBytes(4), "half");
  server.release();
  EXPECT_FALSE(recorder->failure());
}

TEST_F(HTTPStream, ABodyLongerThanTheLimitOfOtherAnswersPasses) {
  const Bytes body(3'000'000, 'x');
  ScriptedServer server(ScriptedServer::always(answer(200, body)));
  HTTPSessionConfiguration configuration;
  configuration.mostBodyBytes = 1000;
  HTTPSession session(configuration);
  const auto stream = session.stream(request(server.url()), recorder);
  EXPECT_FALSE(recorder->failure());
  EXPECT_TRUE(recorder->body() == body);
}

TEST_F(HTTPStream, BytesComeInOrderWhereverTheyAreCut) {
  Bytes body;
  for (int i = 0; i < 3000; ++i) body += std::to_string(i) + ",";
  ScriptedServer server([&](Exchange& exchange) { exchange.drip(answer(200, body), 99); });
  HTTPSession session;
  const auto stream = session.stream(request(server.url()), recorder);
  EXPECT_FALSE(recorder->failure());
  EXPECT_EQ(recorder->body(), body);
}

TEST_F(HTTPStream, AChunkedBodyArrivesWithoutItsTrailers) {
  ScriptedServer server(ScriptedServer::always(
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\nHTTP/x: y\r\n\r\n"));
  HTTPSession session;
  const auto stream = session.stream(request(server.url()), recorder);
  EXPECT_FALSE(recorder->failure());
  EXPECT_EQ(recorder->body(), "abc");
  EXPECT_EQ(recorder->head().header("HTTP/x"), std::nullopt);
}

TEST_F(HTTPStream, OnlyTheFinalHeadIsShown) {
  ScriptedServer server([](Exchange& exchange) {
    if (exchange.request.target() == "/first")
      exchange.send(answer(302, "moved", "Location: /second\r\nX-Old: 1\r\n"));
    else
      exchange.send("HTTP/1.1 103 Hints\r\nX-Hint: 1\r\n\r\n" + answer(200, "end", "X-New: 1\r\n"));
  });
  HTTPSession session;
  const auto stream = session.stream(request(server.url("/first")), recorder);
  EXPECT_FALSE(recorder->failure());
  EXPECT_EQ(recorder->heads(), 1U);
  EXPECT_EQ(recorder->head().status, 200);
  EXPECT_EQ(recorder->head().headers.size(), 2U);
  EXPECT_EQ(recorder->body(), "end");
}

TEST_F(HTTPStream, AStatusOfAnyKindIsShownWithItsBody) {
  for (const int status : {204, 304, 404, 416, 503}) {
    recorder = std::make_shared<Recorder>();
    const bool hasBody = status >= 400;
    ScriptedServer server(ScriptedServer::always(
        hasBody ? answer(status, "text") : "HTTP/1.1 " + std::to_string(status) + " Status\r\n\r\n"));
    HTTPSession session;
    const auto stream = session.stream(request(server.url()), recorder);
    EXPECT_FALSE(recorder->failure());
    EXPECT_EQ(recorder->head().status, status);
    EXPECT_EQ(recorder->body(), hasBody ? "text" : "");
  }
}

TEST_F(HTTPStream, ARedirectThatNamesNoPlaceIsTheAnswer) {
  ScriptedServer server(ScriptedServer::always(answer(302, "where?")));
  HTTPSession session;
  const auto stream = session.stream(request(server.url()), recorder);
  EXPECT_FALSE(recorder->failure());
  EXPECT_EQ(recorder->head().status, 302);
}

TEST_F(HTTPStream, ARedirectToAnotherProtocolIsAFailureWithoutAHead) {
  for (const char* address : {"file:///etc/passwd", "ftp://127.0.0.1/x"}) {
    recorder = std::make_shared<Recorder>();
    ScriptedServer server(
        ScriptedServer::always(answer(302, "", "Location: " + std::string(address) + "\r\n")));
    HTTPSession session;
    const auto stream = session.stream(request(server.url()), recorder);
    const auto failure = recorder->failure();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind(), HTTPErrorKind::other);
    EXPECT_EQ(recorder->heads(), 0U);
    EXPECT_TRUE(recorder->body().empty());
  }
}

TEST_F(HTTPStream, NoEncodingIsAskedForAndNoneIsUndone) {
  ScriptedServer server(ScriptedServer::always(answer(200, "\x1f\x8b not", "Content-Encoding: gzip\r\n")));
  HTTPSession session;
  const auto stream = session.stream(request(server.url()), recorder);
  EXPECT_FALSE(recorder->failure());
  EXPECT_EQ(recorder->body(), "\x1f\x8b not");
  EXPECT_EQ(server.requests().at(0).header("Accept-Encoding"), std::nullopt);
}

TEST_F(HTTPStream, BytesThatCameBeforeACutArriveBeforeTheFailure) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nsome");
    exchange.close();
  });
  HTTPSession session;
  const auto stream = session.stream(request(server.url()), recorder);
  EXPECT_TRUE(recorder->failure());
  EXPECT_EQ(recorder->body(), "some");
}

TEST_F(HTTPStream, AHeadThatIsCutIsNone) {
  for (const char* sent : {"", "HTTP/1.1 200 OK\r\nContent-Le"}) {
    recorder = std::make_shared<Recorder>();
    ScriptedServer server([&](Exchange& exchange) {
      exchange.send(sent);
      exchange.close();
    });
    HTTPSession session;
    const auto stream = session.stream(request(server.url()), recorder);
    EXPECT_TRUE(recorder->failure());
    EXPECT_EQ(recorder->heads(), 0U);
  }
}

TEST_F(HTTPStream, ADelegateThatWantsNoMoreEndsTheTransfer) {
  for (const bool atHead : {true, false}) {
    recorder = std::make_shared<Recorder>();
    atHead ? recorder->refuseHead() : recorder->refuseBytes();
    ScriptedServer server([](Exchange& exchange) {
      exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nsome");
      exchange.hold();
    });
    HTTPSession session;
    const auto stream = session.stream(request(server.url()), recorder);
    EXPECT_EQ(recorder->failure()->kind(), HTTPErrorKind::cancelled);
    EXPECT_EQ(recorder->body(), atHead ? "" : "some");
  }
}

TEST_F(HTTPStream, CancellingEndsItBeforeTheHeadAndInTheBody) {
  for (const char* sent : {"", "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nsome"}) {
    recorder = std::make_shared<Recorder>();
    ScriptedServer server([&](Exchange& exchange) {
      exchange.send(sent);
      exchange.hold();
    });
    HTTPSession session;
    auto stream = session.stream(request(server.url()), recorder);
    server.waitForRequests(1);
    if (*sent) recorder->waitForBytes(4);
    std::jthread([&] { stream.cancel(); }).join();
    EXPECT_EQ(recorder->failure()->kind(), HTTPErrorKind::cancelled);
    stream.cancel();  // a second time does nothing
  }
}

TEST_F(HTTPStream, LettingItGoCancelsIt) {
  ScriptedServer server([](Exchange& exchange) { exchange.hold(); });
  HTTPSession session;
  { const auto stream = session.stream(request(server.url()), recorder); }
  EXPECT_EQ(recorder->failure()->kind(), HTTPErrorKind::cancelled);
}

TEST_F(HTTPStream, ASessionThatGoesEndsItsStreams) {
  ScriptedServer server([](Exchange& exchange) { exchange.hold(); });
  auto session = std::make_unique<HTTPSession>();
  auto stream = std::make_unique<HTTPSession::Stream>(session->stream(request(server.url()), recorder));
  stream.reset();
  session.reset();
  EXPECT_EQ(recorder->failure()->kind(), HTTPErrorKind::cancelled);
}

TEST_F(HTTPStream, AServerThatFallsSilentIsTimedOut) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nsome");
    exchange.hold();
  });
  HTTPSession session;
  auto sent = request(server.url());
  sent.idleTimeout = 50ms;
  const auto stream = session.stream(sent, recorder);
  EXPECT_EQ(recorder->failure()->kind(), HTTPErrorKind::timedOut);
  EXPECT_EQ(recorder->body(), "some");
}

TEST_F(HTTPStream, TheTotalTimeHoldsThoughBytesFlow) {
  std::atomic<bool> over = false;
  ScriptedServer server([&](Exchange& exchange) {
    exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 100000000\r\n\r\n");
    while (!over) {
      exchange.send("x");
      std::this_thread::sleep_for(5ms);
    }
    exchange.close();
  });
  HTTPSessionConfiguration configuration;
  configuration.totalTimeout = 100ms;
  HTTPSession session(configuration);
  const auto stream = session.stream(request(server.url()), recorder);
  const auto failure = recorder->failure();
  over = true;
  EXPECT_EQ(failure->kind(), HTTPErrorKind::timedOut);
  EXPECT_NE(failure->description().find("took too long"), std::string::npos);
}

TEST_F(HTTPStream, TimeThatTheDelegateBlocksIsNoIdlenessOfTheServer) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nhalf");
    exchange.hold();
    exchange.send("half");
  });
  HTTPSession session;
  auto sent = request(server.url());
  sent.idleTimeout = 200ms;
  recorder->hold();
  const auto stream = session.stream(sent, recorder);
  recorder->waitForBytes(4);
  std::this_thread::sleep_for(300ms);  // longer than the idle time, in the delegate's hands
  recorder->release();
  server.release();
  EXPECT_FALSE(recorder->failure());
  EXPECT_EQ(recorder->body(), "halfhalf");
}

TEST_F(HTTPStream, ARequestThatCanNotBeSentEndsWithItsFailure) {
  HTTPSession session;
  auto bad = request("http://127.0.0.1/");
  bad.headers.emplace_back("X", "a\r\nY: b");
  const auto stream = session.stream(bad, recorder);
  EXPECT_TRUE(recorder->failure());
  EXPECT_EQ(recorder->heads(), 0U);
}

}  // namespace
}  // namespace platform
