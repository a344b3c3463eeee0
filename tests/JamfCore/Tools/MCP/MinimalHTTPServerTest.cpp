#include "JamfCore/Tools/MCP/MinimalHTTPServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Error.h"
#include "tests/Support/RawSocket.h"

namespace jamf {
namespace {

using namespace std::chrono_literals;
using ::test::RawSocket;
using testing::HasSubstr;
using testing::StartsWith;

/// A server that says what it was asked.
class HTTPServer : public testing::Test {
 protected:
  void start(std::optional<MinimalHTTPServer::Limits> limits = {}) {
    server_.emplace([this](const HTTPRequest& request) { return handle(request); }, limits);
    server_->start(0);
  }

  /// Before any part of the test goes: handlers run on threads of the server.
  void TearDown() override { server_.reset(); }

  virtual HTTPResponse handle(const HTTPRequest& request) {
    ++calls;
    return HTTPResponse::json(request.method + " " + request.path + " " +
                              std::to_string(request.body.size()));
  }

  std::optional<std::string> ask(const std::string& request) {
    const RawSocket client(server().port());
    client.send(request);
    return client.readToEnd();
  }
  std::string statusOf(const std::string& request) {
    const auto answer = ask(request).value_or("nothing");
    return answer.substr(0, answer.find('\r'));
  }
  static std::string withOrigin(const std::string& origin) {
    return "GET / HTTP/1.1\r\nOrigin: " + origin + "\r\n\r\n";
  }

  MinimalHTTPServer& server() { return *server_; }

  std::atomic<int> calls = 0;

 private:
  std::optional<MinimalHTTPServer> server_;
};

TEST_F(HTTPServer, AnswersAndCloses) {
  start();
  EXPECT_EQ(ask("POST /mcp HTTP/1.1\r\nContent-Length: 2\r\n\r\n{}"),
            "HTTP/1.1 200 OK\r\nContent-Length: 11\r\nConnection: close\r\nContent-Type: "
            "application/json\r\n\r\nPOST /mcp 2");
}

TEST_F(HTTPServer, AnswersAPeerThatHasEndedItsSide) {
  start();
  const RawSocket client(server().port());
  client.send("GET / HTTP/1.1\r\n\r\n");
  client.endSending();
  EXPECT_THAT(client.readToEnd().value(), StartsWith("HTTP/1.1 200 OK"));
}

TEST_F(HTTPServer, AnswersOneOfPipelinedRequests) {
  start();
  const auto answer = ask("GET /a HTTP/1.1\r\n\r\nGET /b HTTP/1.1\r\n\r\n");
  EXPECT_THAT(answer.value(), HasSubstr("GET /a 0"));
  EXPECT_EQ(calls, 1);
}

TEST_F(HTTPServer, TakesARequestByteByByte) {
  start();
  const RawSocket client(server().port());
  for (const char c : std::string("POST /x HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc"))
    ASSERT_TRUE(client.send(std::string_view(&c, 1)));
  EXPECT_THAT(client.readToEnd().value(), HasSubstr("POST /x 3"));
}

TEST_F(HTTPServer, OriginsOfThisMachinePassOnAnySchemeAndPort) {
  start();
  for (const auto* origin : {"http://localhost", "https://localhost:3000", "http://127.0.0.1:8765",
                             "http://[::1]:1", "x://localhost", "http://user@localhost"})
    EXPECT_EQ(statusOf(withOrigin(origin)), "HTTP/1.1 200 OK") << origin;
  EXPECT_EQ(statusOf("GET / HTTP/1.1\r\n\r\n"), "HTTP/1.1 200 OK");
}

TEST_F(HTTPServer, OtherOriginsAreRefusedWithoutCallingTheHandler) {
  start();
  for (const auto* origin :
       {"null", "", "http://evil.example", "http://localhost.evil.example", "http://localhost.", "localhost",
        "http://LOCALHOST", "http://127.0.0.2", "http://127.1", "http://[0:0:0:0:0:0:0:1]",
        "http://2130706433", "http://[::2]", "http://0.0.0.0", "http://", "http://localhost@evil.example",
        "http://evil.example#localhost", "file:///etc", "http://local host",
        "http://evil.example\\@localhost"})
    EXPECT_EQ(ask(withOrigin(origin)),
              "HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\nConnection: close\r\n\r\n")
        << origin;
  EXPECT_EQ(calls, 0);
}

TEST_F(HTTPServer, ATruncatedRequestGetsNoAnswer) {
  start();
  for (const auto* request :
       {"", "GET", "GET / HTTP/1.1\r\n", "POST / HTTP/1.1\r\nContent-Length: 9\r\n\r\nabc", "GET\r\n\r\n",
        "POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n"}) {
    const RawSocket client(server().port());
    client.send(request);
    client.endSending();
    EXPECT_EQ(client.readToEnd(), "") << request;
  }
  EXPECT_EQ(calls, 0);
}

TEST_F(HTTPServer, StartingItAgainChangesNothing) {
  start();
  const auto port = server().port();
  server().start(0);
  server().start(1);
  EXPECT_EQ(server().port(), port);
  EXPECT_THAT(ask("GET / HTTP/1.1\r\n\r\n").value(), HasSubstr("200 OK"));
}

TEST_F(HTTPServer, AStoppedServerTakesNobodyAndMayStartAgain) {
  start();
  const auto port = server().port();
  server().stop();
  server().stop();
  EXPECT_EQ(server().port(), 0);
  server().start(port);
  EXPECT_EQ(server().port(), port);
  EXPECT_THAT(ask("GET / HTTP/1.1\r\n\r\n").value(), HasSubstr("200 OK"));
}

TEST_F(HTTPServer, ATakenPortIsTriedTenTimesAndNamed) {
  start();
  MinimalHTTPServer second([](const HTTPRequest&) { return HTTPResponse::status(200); });
  const auto begin = std::chrono::steady_clock::now();
  try {
    second.start(server().port());
    FAIL() << "two servers on one port";
  } catch (const platform::Error& error) {
    EXPECT_EQ(error.description(), "Can't listen on port " + std::to_string(server().port()) +
                                       " of 127.0.0.1: Address already in use");
  }
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 9 * 200ms);
  EXPECT_EQ(second.port(), 0);
}

TEST_F(HTTPServer, APortThatIsGivenBackMeanwhileIsHad) {
  start();
  const auto port = server().port();
  MinimalHTTPServer second([](const HTTPRequest&) { return HTTPResponse::status(404); });
  std::thread starter([&] { second.start(port); });
  server().stop();
  starter.join();
  EXPECT_EQ(second.port(), port);
}

TEST_F(HTTPServer, ARequestThatHasComeIsAnsweredAfterAStop) {
  start();
  const RawSocket client(server().port());
  client.send("GET /");
  const RawSocket other(server().port());
  other.send("GET / HTTP/1.1\r\n\r\n");
  EXPECT_TRUE(other.readToEnd());  // so the first was accepted before
  server().stop();
  client.send(" HTTP/1.1\r\n\r\n");
  EXPECT_THAT(client.readToEnd().value(), StartsWith("HTTP/1.1 200 OK"));
}

struct SlowHTTPServer : HTTPServer {
  HTTPResponse handle(const HTTPRequest&) override {
    together.arrive_and_wait();
    return HTTPResponse::status(200);
  }
  std::latch together{20};
};

TEST_F(SlowHTTPServer, HandlersRunSideBySide) {
  start();
  std::vector<RawSocket> clients;
  for (int i = 0; i < 20; ++i) {
    clients.emplace_back(server().port());
    clients.back().send("GET / HTTP/1.1\r\n\r\n");
  }
  for (const auto& client : clients)
    EXPECT_THAT(client.readToEnd().value_or(""), StartsWith("HTTP/1.1 200 OK"));
}

struct FailingHTTPServer : HTTPServer {
  HTTPResponse handle(const HTTPRequest&) override { throw platform::CancellationError(); }
};

TEST_F(FailingHTTPServer, AHandlerThatThrowsEndsItsConnectionAlone) {
  start();
  EXPECT_EQ(ask("GET / HTTP/1.1\r\n\r\n"), "");
  EXPECT_EQ(ask("GET / HTTP/1.1\r\n\r\n"), "");
}

// With limits.

TEST_F(HTTPServer, WithLimitsAHeadThatIsTooLargeIsRefused) {
  start(MinimalHTTPServer::Limits());
  EXPECT_EQ(statusOf("GET / HTTP/1.1\r\nA: " + std::string(16 * 1024, 'x')), "HTTP/1.1 431 Error");
  EXPECT_EQ(statusOf("GET / HTTP/1.1\r\nA: " + std::string(16 * 1024, 'x') + "\r\n\r\n"),
            "HTTP/1.1 431 Error");
  EXPECT_EQ(statusOf("GET / HTTP/1.1\r\nA: " + std::string(16 * 1024 - 23, 'x') + "\r\n\r\n"),
            "HTTP/1.1 200 OK");
}

TEST_F(HTTPServer, WithLimitsABodyThatIsTooLargeIsRefusedBeforeItComes) {
  start(MinimalHTTPServer::Limits());
  EXPECT_EQ(statusOf("POST / HTTP/1.1\r\nContent-Length: 8388609\r\n\r\n"), "HTTP/1.1 413 Error");
  EXPECT_EQ(statusOf("POST / HTTP/1.1\r\nContent-Length: 8388608\r\n\r\n" + std::string(8388608, ' ')),
            "HTTP/1.1 200 OK");
}

TEST_F(HTTPServer, WithLimitsAHundredMegabytesGetTheirRefusal) {
  start(MinimalHTTPServer::Limits());
  const RawSocket client(server().port());
  std::thread sender([&] {
    client.send("POST / HTTP/1.1\r\nContent-Length: 104857600\r\n\r\n");
    const std::string block(1 << 20, ' ');
    for (int i = 0; i < 100 && client.send(block); ++i) {
    }
    client.endSending();
  });
  EXPECT_THAT(client.readToEnd().value_or("nothing"), StartsWith("HTTP/1.1 413 Error"));
  sender.join();
}

TEST_F(HTTPServer, WithLimitsALengthThatIsNoPlainNumberIsRefused) {
  start(MinimalHTTPServer::Limits());
  for (const auto* length : {"-5", "+5", "5x", "0x5", "9223372036854775808", "1 2", "", "-0"})
    EXPECT_EQ(statusOf("POST / HTTP/1.1\r\nContent-Length: " + std::string(length) + "\r\n\r\nabcde"),
              "HTTP/1.1 400 Bad Request")
        << length;
  EXPECT_EQ(calls, 0);
}

TEST_F(HTTPServer, WithLimitsChunkedBodiesAreRefused) {
  start(MinimalHTTPServer::Limits());
  EXPECT_EQ(statusOf("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n"),
            "HTTP/1.1 411 Error");
}

TEST_F(HTTPServer, WithLimitsAHeadThatCanNotBeReadIsRefused) {
  start(MinimalHTTPServer::Limits());
  EXPECT_EQ(statusOf("nonsense\r\n\r\n"), "HTTP/1.1 400 Bad Request");
  EXPECT_EQ(statusOf("GET /\xff HTTP/1.1\r\n\r\n"), "HTTP/1.1 400 Bad Request");
}

TEST_F(HTTPServer, WithLimitsHalfARequestEndsInTime) {
  MinimalHTTPServer::Limits limits;
  limits.patience = 50ms;
  start(limits);
  const RawSocket client(server().port());
  client.send("POST / HTTP/1.1\r\nContent-Length: 5\r\n\r\nab");
  EXPECT_EQ(client.readToEnd(), "");
}

TEST_F(HTTPServer, WithLimitsManyHalfOpenConnectionsKeepNobodyOut) {
  start(MinimalHTTPServer::Limits());
  std::vector<RawSocket> idle;
  for (int i = 0; i < 500; ++i) {
    idle.emplace_back(server().port());
    if (i % 50 == 0) {
      EXPECT_EQ(statusOf("GET / HTTP/1.1\r\n\r\n"), "HTTP/1.1 200 OK");
    }
    idle.back().send("POST / HTTP/1.1\r\nContent-Length: 5\r\n\r\nab");
  }
  EXPECT_EQ(statusOf("GET / HTTP/1.1\r\n\r\n"), "HTTP/1.1 200 OK");
}

TEST_F(HTTPServer, PeersThatLeaveEarlyLeaveNothingBehind) {
  start(MinimalHTTPServer::Limits());
  for (int i = 0; i < 300; ++i) {
    RawSocket client(server().port());
    client.send(i % 3 == 0 ? "GET / HTTP/1.1\r\n\r\n" : "GET / HT");
    if (i % 2 == 0) client.abort();
  }
  EXPECT_EQ(statusOf("GET / HTTP/1.1\r\n\r\n"), "HTTP/1.1 200 OK");
}

}  // namespace
}  // namespace jamf
