#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "Platform/HTTP/HTTPSession.h"
#include "tests/Platform/HTTP/HTTPTesting.h"
#include "tests/Support/ScopedVariable.h"
#include "tests/Support/ScriptedServer.h"

namespace platform {
namespace {

using namespace std::chrono_literals;
using orvik::test::ScopedVariable;
using Clock = std::chrono::steady_clock;
using support::answer;
using support::ScriptedServer;
using test::failure;
using test::request;
using Exchange = ScriptedServer::Exchange;

TEST(HTTPFailure, ARefusedConnectionNamesHostAndPort) {
  std::uint16_t port = 0;
  {
    const TCPListener listener;
    port = listener.port();
  }
  HTTPSession session;
  const auto error = failure(session, request("http://127.0.0.1:" + std::to_string(port) + "/path?secret=1"));
  EXPECT_EQ(error.kind(), HTTPErrorKind::cannotConnect);
  EXPECT_EQ(error.description(),
            "Could not connect to 127.0.0.1:" + std::to_string(port) + ": Connection refused");
}

TEST(HTTPFailure, AnAnswerBeyondTheLimitIsRefusedWhileItComes) {
  ScriptedServer server(ScriptedServer::always(answer(200, std::string(100'000, 'x'))));
  HTTPSessionConfiguration configuration;
  configuration.mostBodyBytes = 65'536;
  HTTPSession session(configuration);
  EXPECT_EQ(failure(session, request(server.url() + "/x?secret=1")).description(),
            "The answer of 127.0.0.1 is too long");
}

TEST(HTTPFailure, AHeadWithoutEndIsRefused) {
  std::string headers;
  for (int i = 0; i < 5'000; ++i) headers += "X-Filler: " + std::string(90, 'y') + "\r\n";
  ScriptedServer server(ScriptedServer::always(answer(200, "x", headers)));
  HTTPSession session;
  EXPECT_NE(failure(session, request(server.url())).kind(), HTTPErrorKind::cancelled);
}

TEST(HTTPFailure, AHeadWithOneEndlessLineIsToldAsTooLong) {
  ScriptedServer server(
      ScriptedServer::always(answer(200, "x", "X-Filler: " + std::string(1'000'000, 'y') + "\r\n")));
  HTTPSession session;
  EXPECT_EQ(failure(session, request(server.url())).description(),
            "The head of the answer of 127.0.0.1 is too long");
}

TEST(HTTPFailure, AServerOnThisMachineIsNotAskedForThroughAProxy) {
  ScriptedServer server(ScriptedServer::always(answer(200, "direct")));
  const ScopedVariable noExceptions("no_proxy");
  const ScopedVariable proxy("http_proxy", "http://127.0.0.1:9");
  HTTPSession session;
  EXPECT_EQ(session.data(request(server.url())).body, "direct");
}

TEST(HTTPFailure, AnUnknownHostIsNamed) {
  HTTPSession session;
  const auto error = failure(session, request("http://no-such-host.invalid/"));
  EXPECT_EQ(error.kind(), HTTPErrorKind::cannotConnect);
  EXPECT_EQ(error.description(), "Could not find the host no-such-host.invalid");
}

TEST(HTTPFailure, ACutConnectionIsToldWithoutQueryAndHeaders) {
  const struct {
    const char* name;
    ScriptedServer::Script script;
  } rows[] = {
      {"closed at once", [](Exchange& exchange) { exchange.close(); }},
      {"reset at once", [](Exchange& exchange) { exchange.reset(); }},
      {"closed in the head",
       [](Exchange& exchange) {
         exchange.send("HTTP/1.1 200 OK\r\nContent-Le");
         exchange.close();
       }},
      {"closed in the body",
       [](Exchange& exchange) {
         exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
         exchange.close();
       }},
      {"closed in a chunk",
       [](Exchange& exchange) {
         exchange.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nab");
         exchange.close();
       }},
      {"malformed chunk",
       [](Exchange& exchange) {
         exchange.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n");
         exchange.close();
       }},
  };
  for (const auto& row : rows) {
    ScriptedServer server(row.script);
    HTTPSession session;
    auto sent = request(server.url("/path?query=hidden"));
    sent.headers = {{"Authorization", "Bearer hidden"}};
    const auto error = failure(session, sent);
    EXPECT_EQ(error.kind(), HTTPErrorKind::other) << row.name;
    EXPECT_EQ(error.description(), "The connection to 127.0.0.1 was lost") << row.name;
  }
}

TEST(HTTPFailure, AnAnswerThatIsNoHttpIsToldApart) {
  for (const char* garbage :
       {"220 mail.example.com ESMTP ready and waiting for you\r\n", "<html>hello</html>\r\n\r\n",
        "\x15\x03\x01\x02\x02\x46 alert alert alert\r\n\r\n", "HTTP/7.0 200 OK\r\n\r\n",
        "HTTP/1.1 xyz\r\n\r\n"}) {
    ScriptedServer server([&](Exchange& exchange) {
      exchange.send(garbage);
      exchange.close();
    });
    HTTPSession session;
    const auto error = failure(session, request(server.url()));
    EXPECT_EQ(error.kind(), HTTPErrorKind::notHTTP) << garbage << error.description();
    EXPECT_EQ(error.description(), "127.0.0.1 did not answer in HTTP");
  }
}

TEST(HTTPFailure, AnEndlessHeadIsRefused) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send("HTTP/1.1 200 OK\r\nX-Endless: ");
    for (int i = 0; i < 1000; ++i) exchange.send(std::string(1000, 'x'));
    exchange.close();
  });
  HTTPSession session;
  EXPECT_NE(failure(session, request(server.url())).kind(), HTTPErrorKind::cancelled);
}

TEST(HTTPFailure, AHeaderWithALineBreakIsNotSent) {
  ScriptedServer server(ScriptedServer::always(answer(200)));
  HTTPSession session;
  const HTTPHeaders bad[] = {
      {{"X", "a\r\nInjected: 1"}}, {{"X\r\nInjected", "1"}}, {{"", "1"}}, {{"X:", "1"}}};
  for (const auto& headers : bad) {
    auto sent = request(server.url());
    sent.headers = headers;
    EXPECT_EQ(failure(session, sent).description(),
              "The request to 127.0.0.1 has a header that can't be sent");
  }
  EXPECT_EQ(session.data(request(server.url())).status, 200);
  EXPECT_EQ(server.requestCount(), 1u);
}

// Time-outs and cancellation.

TEST(HTTPFailure, ASilentServerIsTimedOut) {
  ScriptedServer server([](Exchange& exchange) { exchange.hold(); });
  HTTPSession session;
  auto sent = request(server.url("/?hidden"));
  sent.idleTimeout = 60ms;
  const auto start = Clock::now();
  const auto error = failure(session, sent);
  const auto took = Clock::now() - start;
  EXPECT_EQ(error.kind(), HTTPErrorKind::timedOut);
  EXPECT_EQ(error.description(), "127.0.0.1 did not answer in time");
  EXPECT_GE(took, 60ms);
  EXPECT_LT(took, 1s);
}

TEST(HTTPFailure, ASessionMayAllowLessIdlenessThanARequestAndNeverMore) {
  ScriptedServer server([](Exchange& exchange) { exchange.hold(); });
  HTTPSessionConfiguration configuration;
  configuration.mostIdleTimeout = 60ms;
  HTTPSession strict(configuration);
  EXPECT_EQ(failure(strict, request(server.url())).kind(), HTTPErrorKind::timedOut);
  configuration.mostIdleTimeout = 60s;
  HTTPSession patient(configuration);
  auto sent = request(server.url());
  sent.idleTimeout = 60ms;
  EXPECT_EQ(failure(patient, sent).kind(), HTTPErrorKind::timedOut);
}

TEST(HTTPFailure, AServerThatFallsSilentInTheBodyIsTimedOut) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
    exchange.hold();
  });
  HTTPSession session;
  auto sent = request(server.url());
  sent.idleTimeout = 60ms;
  EXPECT_EQ(failure(session, sent).kind(), HTTPErrorKind::timedOut);
}

TEST(HTTPFailure, AServerThatKeepsSendingIsNotIdle) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n");
    for (int i = 0; i < 10; ++i) {
      std::this_thread::sleep_for(40ms);
      exchange.send("x");
    }
  });
  HTTPSession session;
  auto sent = request(server.url());
  sent.idleTimeout = 300ms;  // shorter than the whole exchange
  EXPECT_EQ(session.data(sent).body, "xxxxxxxxxx");
}

TEST(HTTPFailure, TheTotalTimeEndsAServerThatNeverStopsSending) {
  std::atomic<bool> going{true};
  ScriptedServer server([&](Exchange& exchange) {
    exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
    while (going) {
      exchange.send("x");
      std::this_thread::sleep_for(5ms);
    }
    exchange.close();
  });
  HTTPSessionConfiguration configuration;
  configuration.totalTimeout = 100ms;
  HTTPSession session(configuration);
  const auto start = Clock::now();
  const auto error = failure(session, request(server.url()));
  going = false;
  EXPECT_EQ(error.kind(), HTTPErrorKind::timedOut);
  EXPECT_EQ(error.description(), "The exchange with 127.0.0.1 took too long");
  EXPECT_LT(Clock::now() - start, 2s);
}

TEST(HTTPFailure, AStopEndsAHangingTransferAtOnce) {
  ScriptedServer server([](Exchange& exchange) { exchange.hold(); });
  HTTPSession session;
  std::stop_source source;
  Clock::time_point stopped;
  std::jthread stopper([&] {
    server.waitForRequests(1);
    stopped = Clock::now();
    source.request_stop();
  });
  const auto error = failure(session, request(server.url()), source.get_token());
  const auto took = Clock::now() - stopped;
  EXPECT_EQ(error.kind(), HTTPErrorKind::cancelled);
  EXPECT_EQ(error.description(), "The request to 127.0.0.1 was cancelled");
  EXPECT_LT(took, 100ms);
}

TEST(HTTPFailure, ARequestThatIsStoppedBeforehandIsNotSent) {
  ScriptedServer server(ScriptedServer::always(answer(200)));
  HTTPSession session;
  std::stop_source source;
  source.request_stop();
  EXPECT_EQ(failure(session, request(server.url()), source.get_token()).kind(), HTTPErrorKind::cancelled);
  EXPECT_EQ(server.connectionCount(), 0u);
}

TEST(HTTPFailure, AStopAfterTheAnswerHarmsNobody) {
  ScriptedServer server(ScriptedServer::always(answer(200)));
  HTTPSession session;
  for (int i = 0; i < 50; ++i) {
    std::stop_source source;
    std::jthread stopper([&] { source.request_stop(); });
    try {
      EXPECT_EQ(session.data(request(server.url()), source.get_token()).status, 200);
    } catch (const HTTPError& error) {
      EXPECT_EQ(error.kind(), HTTPErrorKind::cancelled);
    }
  }
  EXPECT_EQ(session.data(request(server.url())).status, 200);
}

TEST(HTTPFailure, OneStopEndsAllTransfersThatWaitOnIt) {
  ScriptedServer server([](Exchange& exchange) { exchange.hold(); });
  HTTPSession session;
  std::stop_source source;
  std::atomic<int> cancelled{0};
  std::vector<std::jthread> threads;
  for (int i = 0; i < 16; ++i)
    threads.emplace_back([&] {
      if (failure(session, request(server.url()), source.get_token()).kind() == HTTPErrorKind::cancelled)
        ++cancelled;
    });
  server.waitForRequests(16);
  source.request_stop();
  threads.clear();
  EXPECT_EQ(cancelled, 16);
}

}  // namespace
}  // namespace platform
