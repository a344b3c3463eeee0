#include "SampleServer/SampleServer.h"

#include <atomic>
#include <barrier>
#include <thread>

#include "tests/SampleServer/Client.h"

namespace sample {
namespace {

constexpr std::string_view version = "api/v1/jamf-pro-version";

TEST(SampleServer, ServesManyRequestsOnOneConnection) {
  SampleServer server;
  AuthorizedClient client(server);
  for (int i = 0; i < 50; ++i) {
    const Received answer = client.get(version);
    ASSERT_EQ(answer.status, 200);
    ASSERT_TRUE(answer.has("Connection: keep-alive"));
  }
}

TEST(SampleServer, AnswersPipelinedRequestsInOrder) {
  SampleServer server;
  AuthorizedClient client(server);
  std::string requests;
  for (const char* path : {"api/v1/jamf-pro-version", "api/v1/nothing", "api/v2/engage"}) {
    requests += getRequest(path, client.token());
  }
  client.send(requests);
  EXPECT_NE(client.receive().body.find("version"), std::string::npos);
  EXPECT_EQ(client.receive().status, 404);
  EXPECT_NE(client.receive().body.find("isEnabled"), std::string::npos);
}

TEST(SampleServer, ClosesWhereTheClientAsksForIt) {
  SampleServer server;
  RawClient client(server.port());
  EXPECT_EQ(client.ask("GET /api/v1/auth HTTP/1.1\r\nConnection: close\r\n\r\n").status, 401);
  EXPECT_TRUE(client.ended());
}

TEST(SampleServer, RefusesMalformedRequestsAndCloses) {
  SampleServer server;
  const auto refusal = [&server](const std::string& bytes) {
    RawClient client(server.port());
    const int status = client.ask(bytes).status;
    EXPECT_TRUE(client.ended());
    return status;
  };
  EXPECT_EQ(refusal("what is this\r\n\r\n"), 400);
  EXPECT_EQ(refusal("POST / HTTP/1.1\r\nContent-Length: many\r\n\r\n"), 400);
  EXPECT_EQ(refusal("POST / HTTP/1.1\r\nContent-Length: 999999999\r\n\r\n"), 413);
  EXPECT_EQ(refusal("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"), 501);
  EXPECT_EQ(refusal("GET / HTTP/1.1\r\nX: " + std::string(66000, 'x')), 431);
  EXPECT_EQ(RawClient(server.port()).ask("GET /x HTTP/1.1\r\n\r\n").status, 401);
}

TEST(SampleServer, PagesPastTheEndAndWrongPagesAnswer) {
  SampleServer server({.size = FleetSize::school});
  AuthorizedClient client(server);
  const auto last = client.get("api/v1/packages?page=1&page-size=200").json();
  EXPECT_EQ(last->root()["results"]->elements().count(), 40U);
  const auto past = client.get("api/v1/packages?page=2&page-size=200").json();
  EXPECT_EQ(past->root()["results"]->elements().count(), 0U);
  EXPECT_EQ(past->root()["totalCount"]->int64(), 240);
  const auto standard = client.get("api/v1/packages").json();
  EXPECT_EQ(standard->root()["results"]->elements().count(), 100U);
  EXPECT_EQ(client.get("api/v1/packages?page=x").status, 400);
  EXPECT_EQ(client.get("api/v1/packages?page-size=0").status, 400);
  EXPECT_EQ(client.get("api/v1/packages?page=18446744073709551615").status, 200);
}

TEST(SampleServer, ServesManyClientsSideBySide) {
  SampleServer server;
  const std::string token = freshToken(server);
  const auto ids = server.ids("policies");
  const std::string expected =
      RawClient(server.port()).ask(getRequest("JSSResource/policies/id/3", token)).body;
  std::atomic<int> right = 0;
  {
    std::barrier start(32);
    std::vector<std::jthread> clients;
    for (int i = 0; i < 32; ++i) {
      clients.emplace_back([&] {
        RawClient client(server.port());
        start.arrive_and_wait();
        for (int k = 0; k < 20; ++k) {
          if (client.ask(getRequest("JSSResource/policies/id/3", token)).body == expected) ++right;
        }
      });
    }
  }
  EXPECT_EQ(right, 32 * 20);
  EXPECT_EQ(server.inFlight(), 0);
  EXPECT_GE(server.maxInFlight(), 1);
  EXPECT_LE(server.maxInFlight(), 32);
}

TEST(SampleServer, TheFleetMayChangeWhileItIsRead) {
  SampleServer server;
  const std::string token = freshToken(server);
  std::atomic<bool> done = false;
  std::jthread writer([&] {
    for (std::uint64_t seed = 0; !done; ++seed) server.mutate(3, seed);
  });
  RawClient client(server.port());
  for (int i = 0; i < 50; ++i) {
    ASSERT_TRUE(client.ask(getRequest("JSSResource/policies", token)).json());
    ASSERT_TRUE(client.ask(getRequest("api/v1/scripts?page-size=5", token)).json());
  }
  done = true;
}

TEST(SampleServer, ChangesReachTheClient) {
  SampleServer server;
  AuthorizedClient client(server);
  const std::string before = client.get("JSSResource/policies/id/3").body;
  EXPECT_TRUE(server.change("policies", "3"));
  EXPECT_NE(client.get("JSSResource/policies/id/3").body, before);
  EXPECT_TRUE(server.remove("policies", "3"));
  EXPECT_EQ(client.get("JSSResource/policies/id/3").status, 404);
  EXPECT_TRUE(server.rename("policies", "4", "Umbenannt"));
  EXPECT_NE(client.get("JSSResource/policies").body.find("\"Umbenannt\""), std::string::npos);
  const auto added = server.add("accounts");
  ASSERT_TRUE(added && added->starts_with("user:"));
  EXPECT_EQ(client.get("JSSResource/accounts/userid/" + added->substr(5)).status, 200);
  EXPECT_TRUE(server.remove("accounts", "group:1"));
  EXPECT_EQ(client.get("JSSResource/accounts/groupid/1").status, 404);
}

TEST(SampleServer, UnknownObjectsCantBeChanged) {
  SampleServer server;
  EXPECT_FALSE(server.change("policies", "999"));
  EXPECT_FALSE(server.change("nothing", "1"));
  EXPECT_FALSE(server.change("accounts", "1"));
  EXPECT_FALSE(server.remove("policies", "x"));
  EXPECT_FALSE(server.rename("smtpServer", "1", "x"));
  EXPECT_FALSE(server.add("nothing"));
  EXPECT_TRUE(server.ids("nothing").empty());
}

TEST(SampleServer, StopsWithOpenConnectionsAndStartsAgainOnItsPort) {
  SampleServer server;
  AuthorizedClient idle(server);
  ASSERT_EQ(idle.get(version).status, 200);
  const std::uint16_t port = server.port();
  server.stop();
  server.stop();
  EXPECT_TRUE(idle.ended());
  EXPECT_FALSE(RawClient(port).connected());
  server.start();
  server.start();
  EXPECT_EQ(server.port(), port);
  EXPECT_EQ(RawClient(port).ask(getRequest(version, idle.token())).status, 200);
}

TEST(SampleServer, TheLogTellsWhatWasAsked) {
  SampleServer server({.log = LogDetail::all});
  AuthorizedClient client(server);
  client.get("api/v1/scripts?page=0");
  client.get("JSSResource/nothing%20here");
  const auto entries = server.log().entries();
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].method, "POST");
  EXPECT_FALSE(entries[0].authorized);
  EXPECT_EQ(entries[1].path, "api/v1/scripts");
  EXPECT_EQ(entries[1].query, "page=0");
  EXPECT_EQ(entries[1].status, 200);
  EXPECT_TRUE(entries[1].authorized);
  EXPECT_LE(entries[1].started, entries[1].ended);
  EXPECT_EQ(server.log().count("api/v1/scripts"), 1U);
  EXPECT_EQ(server.log().count("JSSResource/nothing here"), 1U);
  EXPECT_EQ(server.log().total(), 3U);
  EXPECT_EQ(server.log().notGet(), 1U);
  server.log().clear();
  EXPECT_EQ(server.log().total(), 0U);
}

TEST(SampleServer, TotalsAloneKeepNoPaths) {
  SampleServer server({.log = LogDetail::totals});
  AuthorizedClient client(server);
  client.get(version);
  EXPECT_EQ(server.log().total(), 2U);
  EXPECT_EQ(server.log().count(version), 0U);
  EXPECT_TRUE(server.log().entries().empty());
}

TEST(SampleServer, TheHookSeesEachRequestBeforeItsAnswer) {
  SampleServer server;
  AuthorizedClient client(server);
  std::vector<std::uint64_t> numbers;
  server.setRequestHook([&numbers](std::uint64_t number) { numbers.push_back(number); });
  client.get(version);
  client.get(version);
  server.setRequestHook({});
  client.get(version);
  EXPECT_EQ(numbers, (std::vector<std::uint64_t>{2, 3}));
}

TEST(SampleServer, WaitsForABodyAfterTellingTheClientToContinue) {
  SampleServer server;
  RawClient client(server.port());
  const Received word =
      client.ask("POST /api/oauth/token HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 19\r\n\r\n");
  EXPECT_EQ(word.status, 100);
  EXPECT_EQ(client.ask("grant_type=password").status, 400);
}

}  // namespace
}  // namespace sample
