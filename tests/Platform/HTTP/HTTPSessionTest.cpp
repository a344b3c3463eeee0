#include "Platform/HTTP/HTTPSession.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/Platform/HTTP/HTTPTesting.h"
#include "tests/Support/ScriptedServer.h"

namespace platform {
namespace {

using namespace std::chrono_literals;
using support::answer;
using support::ScriptedServer;
using test::failure;
using test::request;
using Exchange = ScriptedServer::Exchange;

TEST(HTTPSession, AGetYieldsStatusHeadersAndBody) {
  ScriptedServer server(
      ScriptedServer::always(answer(200, "{\"a\":1}", "Content-Type: application/json\r\nX-Empty:\r\n")));
  HTTPSession session;
  auto sent = request(server.url("/a/../b%2Fc?x=1&y=%20"));
  sent.headers = {{"Authorization", "Bearer t"}, {"X-None", ""}};
  const auto response = session.data(sent);
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.body, "{\"a\":1}");
  EXPECT_EQ(response.header("content-TYPE"), "application/json");
  EXPECT_EQ(response.header("X-Empty"), "");
  EXPECT_EQ(response.header("X-Other"), std::nullopt);

  const auto received = server.requests().at(0);
  EXPECT_EQ(received.method(), "GET");
  EXPECT_EQ(received.target(), "/a/../b%2Fc?x=1&y=%20");
  EXPECT_EQ(received.header("Host"), server.address());
  EXPECT_EQ(received.header("Authorization"), "Bearer t");
  EXPECT_EQ(received.header("X-None"), "");
  EXPECT_EQ(received.header("Accept-Encoding"), std::nullopt);
  EXPECT_EQ(received.header("User-Agent"), std::nullopt);
}

TEST(HTTPSession, EveryMethodSendsItsBody) {
  ScriptedServer server(ScriptedServer::always(answer(201)));
  HTTPSession session;
  const std::string body = std::string("<a>\0\xff</a>", 9);
  for (const char* method : {"POST", "PUT", "PATCH", "DELETE"}) {
    auto sent = request(server.url(), method);
    sent.body = body;
    EXPECT_EQ(session.data(sent).status, 201);
    const auto received = server.requests().back();
    EXPECT_EQ(received.method(), method);
    EXPECT_EQ(received.body, body) << method;
    EXPECT_EQ(received.header("Expect"), std::nullopt);
    EXPECT_EQ(received.header("Content-Type"), std::nullopt);
  }
}

TEST(HTTPSession, APostWithoutBodySaysSo) {
  ScriptedServer server(ScriptedServer::always(answer(204)));
  HTTPSession session;
  EXPECT_EQ(session.data(request(server.url(), "POST")).status, 204);
  EXPECT_EQ(server.requests().at(0).header("Content-Length"), "0");
}

TEST(HTTPSession, AHeadEndsWithTheHeaders) {
  ScriptedServer server(ScriptedServer::always("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n"));
  HTTPSession session;
  const auto response = session.data(request(server.url(), "HEAD"));
  EXPECT_EQ(response.header("Content-Length"), "1000");
  EXPECT_TRUE(response.body.empty());
}

TEST(HTTPSession, AStatusOfAnyKindIsAnAnswer) {
  ScriptedServer server(ScriptedServer::answering(
      [](const auto& received) { return answer(std::stoi(received.target().substr(1)), "text"); }));
  HTTPSession session;
  for (const int status : {200, 299, 304, 400, 401, 404, 429, 500, 503, 599}) {
    const auto response = session.data(request(server.url("/" + std::to_string(status))));
    EXPECT_EQ(response.status, status);
  }
}

TEST(HTTPSession, TheUserAgentIsTheConfiguredOne) {
  ScriptedServer server(ScriptedServer::always(answer(200)));
  HTTPSessionConfiguration configuration;
  configuration.userAgent = "Orvik/1.2";
  HTTPSession session(configuration);
  session.data(request(server.url()));
  EXPECT_EQ(server.requests().at(0).header("User-Agent"), "Orvik/1.2");
}

TEST(HTTPSession, TheBodyHasRoomForTheReadersPadding) {
  ScriptedServer server(ScriptedServer::answering([](const auto& received) {
    return answer(200, std::string(std::stoul(received.target().substr(1)), 'x'));
  }));
  HTTPSession session;
  for (const std::size_t size : {1u, 15u, 63u, 64u, 65u, 16384u, 1'000'000u}) {
    const auto body = session.data(request(server.url("/" + std::to_string(size)))).body;
    EXPECT_EQ(body.size(), size);
    EXPECT_GE(body.capacity() - body.size(), 64u) << size;
  }
}

TEST(HTTPSession, AnAnnouncedLengthReservesNoMoreThanIsSane) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 900000000000000\r\n\r\nstart");
    exchange.close();
  });
  HTTPSession session;
  EXPECT_EQ(failure(session, request(server.url())).kind(), HTTPErrorKind::other);
}

TEST(HTTPSession, OnlyTheLastAnswersHeadersCount) {
  ScriptedServer server([](Exchange& exchange) {
    if (exchange.request.target() == "/first")
      exchange.send(answer(302, "moved", "Location: /second\r\nX-Old: 1\r\n"));
    else
      exchange.send("HTTP/1.1 100 Continue\r\nX-Interim: 1\r\n\r\n" + answer(200, "end", "X-New: 1\r\n"));
  });
  HTTPSession session;
  const auto response = session.data(request(server.url("/first")));
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.body, "end");
  EXPECT_EQ(response.header("X-Old"), std::nullopt);
  EXPECT_EQ(response.header("X-Interim"), std::nullopt);
  EXPECT_EQ(response.header("X-New"), "1");
}

TEST(HTTPSession, AnAnswerCutAnywhereReadsTheSame) {
  const std::string whole =
      "HTTP/1.1 200 OK\r\nX-Long: one\r\n  two\r\nTransfer-Encoding: chunked\r\n\r\n"
      "5\r\nhello\r\n10;name=value\r\n, world of bytes\r\n0\r\nX-Trailer: t\r\n\r\n";
  ScriptedServer server([&](Exchange& exchange) {
    exchange.number == 0 ? exchange.send(whole)
                         : exchange.drip(whole, static_cast<std::uint32_t>(exchange.number));
  });
  HTTPSession session;
  for (int seed = 0; seed < 20; ++seed) {
    const auto response = session.data(request(server.url()));
    EXPECT_EQ(response.status, 200) << "seed " << seed;
    EXPECT_EQ(response.body, "hello, world of bytes") << "seed " << seed;
    EXPECT_EQ(response.header("X-Long"), "one two") << "seed " << seed;
  }
  EXPECT_EQ(server.connectionCount(), 1u);
}

TEST(HTTPSession, AKeptConnectionServesTheNextRequest) {
  ScriptedServer server(ScriptedServer::always(answer(200, "x")));
  HTTPSession session;
  for (int i = 0; i < 5; ++i) session.data(request(server.url()));
  EXPECT_EQ(server.connectionCount(), 1u);
}

TEST(HTTPSession, AKeptConnectionThatDiedIsReplacedForAGet) {
  ScriptedServer server([](Exchange& exchange) {
    if (exchange.number == 1) return exchange.close();  // the second request, on the kept connection
    exchange.send(answer(200, "x"));
  });
  HTTPSession session;
  session.data(request(server.url()));
  EXPECT_EQ(session.data(request(server.url())).status, 200);
  EXPECT_EQ(server.requestCount(), 3u);
}

TEST(HTTPSession, APostIsNeverSentTwice) {
  ScriptedServer server([](Exchange& exchange) {
    if (exchange.request.method() == "POST") return exchange.close();
    exchange.send(answer(200, "x"));
  });
  HTTPSession session;
  session.data(request(server.url()));
  EXPECT_EQ(failure(session, request(server.url(), "POST")).kind(), HTTPErrorKind::other);
  EXPECT_EQ(server.requestCount(), 2u);
}

TEST(HTTPSession, ManyThreadsShareASessionAndItsConnections) {
  ScriptedServer server(
      ScriptedServer::answering([](const auto& received) { return answer(200, received.target()); }));
  HTTPSession session;
  std::atomic<int> right{0};
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 32; ++thread)
      threads.emplace_back([&, thread] {
        for (int i = 0; i < 50; ++i) {
          const std::string target = "/" + std::to_string(thread) + "/" + std::to_string(i);
          if (session.data(request(server.url(target))).body == target) ++right;
        }
      });
  }
  EXPECT_EQ(right, 32 * 50);
  EXPECT_EQ(server.requestCount(), 32u * 50);
  EXPECT_LE(server.connectionCount(), 32u);
}

TEST(HTTPSession, MoreRequestsThanConnectionsWaitForOneAndAreNotIdleMeanwhile) {
  ScriptedServer server([](Exchange& exchange) {
    if (exchange.number == 0) exchange.hold();
    exchange.send(answer(200));
  });
  HTTPSessionConfiguration configuration;
  configuration.maxConnectionsPerHost = 1;
  HTTPSession session(configuration);
  std::jthread first([&] { EXPECT_EQ(session.data(request(server.url())).status, 200); });
  server.waitForRequests(1);
  std::atomic<bool> answered{false};
  std::jthread second([&] {
    auto sent = request(server.url());
    sent.idleTimeout = 150ms;
    EXPECT_EQ(session.data(sent).status, 200);
    answered = true;
  });
  auto third = request("http://127.0.0.1:1/");
  EXPECT_EQ(failure(session, third).kind(), HTTPErrorKind::cannotConnect);  // other hosts don't wait
  std::this_thread::sleep_for(300ms);  // twice the second request's idle time
  EXPECT_FALSE(answered);
  server.release();
  first.join();
  second.join();
  EXPECT_EQ(server.connectionCount(), 1u);
}

// Cookies.

TEST(HTTPSession, CookiesBelongToTheSession) {
  ScriptedServer server(ScriptedServer::always(answer(200, "", "Set-Cookie: node=7; Path=/\r\n")));
  HTTPSession session;
  HTTPSession other;
  session.data(request(server.url()));
  session.data(request(server.url()));
  other.data(request(server.url()));
  const auto received = server.requests();
  EXPECT_EQ(received.at(0).header("Cookie"), std::nullopt);
  EXPECT_EQ(received.at(1).header("Cookie"), "node=7");
  EXPECT_EQ(received.at(2).header("Cookie"), std::nullopt);
}

TEST(HTTPSession, ACookieReachesRequestsThatRunAtTheSameTime) {
  ScriptedServer server([](Exchange& exchange) {
    if (exchange.request.target() == "/held") exchange.hold();
    exchange.send(
        answer(200, "", exchange.request.target() == "/set" ? "Set-Cookie: node=7; Path=/\r\n" : ""));
  });
  HTTPSession session;
  std::jthread held([&] { session.data(request(server.url("/held"))); });
  server.waitForRequests(1);
  session.data(request(server.url("/set")));
  server.release();
  held.join();
  // Two connections and two handles are free by now; whichever is taken knows the cookie.
  std::jthread one([&] { session.data(request(server.url("/a"))); });
  session.data(request(server.url("/b")));
  one.join();
  const auto received = server.requests();
  EXPECT_EQ(received.at(2).header("Cookie"), "node=7");
  EXPECT_EQ(received.at(3).header("Cookie"), "node=7");
}

// Redirects.

struct TwoHosts {
  ScriptedServer second{ScriptedServer::always(answer(200, "second"))};
  ScriptedServer first{ScriptedServer::answering([](const support::ReceivedRequest& received) {
    return received.target() == "/end" ? answer(200, "first")
                                       : answer(302, "", "Location: " + received.target().substr(1) + "\r\n");
  })};
  HTTPSessionConfiguration configuration() const {
    HTTPSessionConfiguration made;
    made.connectTo = {{"one.example:80", first.address()}, {"two.example:80", second.address()}};
    return made;
  }
};

TEST(HTTPSession, ConnectToReachesTheServerUnderTheUrlsName) {
  TwoHosts hosts;
  HTTPSession session(hosts.configuration());
  EXPECT_EQ(session.data(request("http://two.example/")).body, "second");
  EXPECT_EQ(hosts.second.requests().at(0).header("Host"), "two.example");
}

TEST(HTTPSession, ARedirectToAnotherHostCarriesNoAuthorization) {
  TwoHosts hosts;
  HTTPSession session(hosts.configuration());
  auto sent = request("http://one.example/http://two.example/x");
  sent.headers = {{"Authorization", "Bearer secret"}, {"Accept", "application/json"}};
  EXPECT_EQ(session.data(sent).body, "second");
  EXPECT_EQ(hosts.first.requests().at(0).header("Authorization"), "Bearer secret");
  const auto received = hosts.second.requests().at(0);
  EXPECT_EQ(received.header("Authorization"), std::nullopt);
  EXPECT_EQ(received.header("Accept"), "application/json");
}

TEST(HTTPSession, ARedirectOnTheSameHostKeepsAuthorization) {
  TwoHosts hosts;
  HTTPSession session(hosts.configuration());
  auto sent = request("http://one.example/http://one.example/end");
  sent.headers = {{"Authorization", "Bearer secret"}};
  EXPECT_EQ(session.data(sent).body, "first");
  EXPECT_EQ(hosts.first.requests().at(1).header("Authorization"), "Bearer secret");
}

TEST(HTTPSession, OnlyAGetFollowsARedirect) {
  TwoHosts hosts;
  HTTPSession session(hosts.configuration());
  for (const char* method : {"POST", "PUT", "PATCH", "DELETE"})
    EXPECT_EQ(session.data(request("http://one.example/http://two.example/", method)).status, 302) << method;
  EXPECT_EQ(hosts.second.requestCount(), 0u);
}

TEST(HTTPSession, TenRedirectsAreFollowedAndNoMore) {
  ScriptedServer server(ScriptedServer::answering([](const auto& received) {
    const int left = std::stoi(received.target().substr(1));
    return left == 0 ? answer(200) : answer(302, "", "Location: /" + std::to_string(left - 1) + "\r\n");
  }));
  HTTPSession session;
  EXPECT_EQ(session.data(request(server.url("/10"))).status, 200);
  const auto error = failure(session, request(server.url("/11")));
  EXPECT_EQ(error.kind(), HTTPErrorKind::other);
  EXPECT_EQ(error.description(), "127.0.0.1 redirected too many times");
}

TEST(HTTPSession, ARedirectToAFileIsRefused) {
  TwoHosts hosts;
  HTTPSession session(hosts.configuration());
  for (const char* target : {"file:///etc/hostname", "ftp://two.example/", "gopher://two.example/"}) {
    const auto error = failure(session, request("http://one.example/" + std::string(target)));
    EXPECT_EQ(error.kind(), HTTPErrorKind::other) << target;
    EXPECT_NE(error.description().find("led to an address that is neither http nor https"), std::string::npos)
        << error.description();
  }
}

TEST(HTTPSession, AnAddressOfAnotherProtocolIsRefused) {
  HTTPSession session;
  EXPECT_EQ(failure(session, request("file:///etc/hostname")).kind(), HTTPErrorKind::other);
  EXPECT_EQ(failure(session, request("not a url")).description(),
            "The address of the request is not a valid URL");
}

}  // namespace
}  // namespace platform
