#include "JamfCore/Networking/APIClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/JamfCore/ClientFixture.h"
#include "tests/Support/LogRecorder.h"

namespace jamf {
namespace {

using support::answer;
using support::ScriptedServer;
using test::apiError;
using test::ClientFixture;
using testing::ElementsAre;
using Exchange = ClientFixture::Exchange;

struct Building {
  std::string id;
  std::optional<std::string> name;
  static constexpr auto fields() {
    return fieldList(platform::json::field("id", &Building::id),
                     platform::json::field("name", &Building::name));
  }
  bool operator==(const Building&) const = default;
};

struct Rate {
  double value = 0;
  static constexpr auto fields() { return fieldList(platform::json::field("value", &Rate::value)); }
};

struct Appointment {
  platform::Date at;
  static constexpr auto fields() { return fieldList(platform::json::field("at", &Appointment::at)); }
};

Endpoint get(std::string path) {
  Endpoint endpoint;
  endpoint.path = std::move(path);
  return endpoint;
}

TEST(APIClient, AGetCarriesTokenAndAcceptAndYieldsTheRawBody) {
  ClientFixture fixture(ScriptedServer::always(answer(200, "{\"raw\" : 1}")));
  EXPECT_EQ(fixture.client.get("api/v1/buildings", {{"page", "0"}, {"page-size", "100"}}, {}),
            "{\"raw\" : 1}");
  const auto request = fixture.requests().at(0);
  EXPECT_EQ(request.method(), "GET");
  EXPECT_EQ(request.target(), "/api/v1/buildings?page=0&page-size=100");
  EXPECT_EQ(request.header("Authorization"), "Bearer token-000001");
  EXPECT_EQ(request.header("Accept"), "application/json");
  EXPECT_EQ(request.header("Content-Type"), std::nullopt);
  EXPECT_EQ(request.body, "");
}

TEST(APIClient, ABodyGoesWithItsContentType) {
  ClientFixture fixture(ScriptedServer::always(answer(201, "{\"id\":\"7\"}")));
  Endpoint endpoint = get("JSSResource/x");
  endpoint.method = Endpoint::Method::post;
  endpoint.body = "<a/>";
  endpoint.contentType = "text/xml";
  EXPECT_EQ(fixture.client.send<Building>(endpoint), (Building{"7", {}}));
  const auto request = fixture.requests().at(0);
  EXPECT_EQ(request.method(), "POST");
  EXPECT_EQ(request.header("Content-Type"), "text/xml");
  EXPECT_EQ(request.body, "<a/>");
}

TEST(APIClient, EveryMethodReachesTheServer) {
  ClientFixture fixture(ScriptedServer::always(answer(200, "{}")));
  for (const auto& [method, text] : enumTexts(Endpoint::Method{})) {
    Endpoint endpoint = get("x");
    endpoint.method = method;
    fixture.client.send(endpoint);
    EXPECT_EQ(fixture.requests().back().method(), text);
  }
}

TEST(APIClient, AnEmptyAnswerSatisfiesSendButNotDecoding) {
  ClientFixture fixture(ScriptedServer::always("HTTP/1.1 204 No Content\r\n\r\n"));
  EXPECT_NO_THROW(fixture.client.send(get("x")));
  const auto error = apiError([&] { fixture.client.send<Building>(get("x")); });
  EXPECT_TRUE(error.as<APIError::DecodingFailed>());
}

TEST(APIClient, A401ThenA200YieldsTheDataWithTwoSendsAndOneFetch) {
  ClientFixture fixture([](Exchange& exchange) {
    exchange.send(exchange.request.header("Authorization") == "Bearer token-000002" ? answer(200, "data")
                                                                                    : answer(401));
  });
  fixture.tokens->validToken();
  ASSERT_EQ(fixture.tokenFetches(), 1u);
  EXPECT_EQ(fixture.client.get("x", {}, {}), "data");
  EXPECT_EQ(fixture.requests().size(), 2u);
  EXPECT_EQ(fixture.tokenFetches(), 2u);
  EXPECT_EQ(fixture.client.get("x", {}, {}), "data");  // the new token stays
  EXPECT_EQ(fixture.requests().size(), 3u);
}

TEST(APIClient, TwoTimes401IsRequestFailedAndNoThirdSend) {
  ClientFixture fixture(ScriptedServer::always(answer(401, "no")));
  const auto error = apiError([&] { fixture.client.get("x", {}, {}); });
  ASSERT_TRUE(error.as<APIError::RequestFailed>());
  EXPECT_EQ(error.as<APIError::RequestFailed>()->statusCode, 401);
  EXPECT_EQ(error.as<APIError::RequestFailed>()->message, "no");
  EXPECT_EQ(fixture.requests().size(), 2u);
}

TEST(APIClient, ARateLimitTellsTheServersWait) {
  const std::pair<const char*, std::optional<double>> rows[] = {
      {"Retry-After: 30\r\n", 30.0},
      {"Retry-After: 0.5\r\n", 0.5},
      {"retry-after: 1e2\r\n", 100.0},
      {"Retry-After: 0\r\n", 0.0},
      {"", std::nullopt},
      {"Retry-After:\r\n", std::nullopt},
      {"Retry-After: Wed, 21 Oct 2026 07:28:00 GMT\r\n", std::nullopt},
      {"Retry-After: 30 s\r\n", std::nullopt},
      {"Retry-After: 30,5\r\n", std::nullopt},
      {"Retry-After: inf\r\n", std::nullopt},
      {"Retry-After: nan\r\n", std::nullopt},
      {"Retry-After: 1e999\r\n", std::nullopt},
      {"Retry-After: -5\r\n", std::nullopt},
  };
  for (const auto& [header, seconds] : rows) {
    ClientFixture fixture(ScriptedServer::always(answer(429, "slow down", header)));
    const auto error = apiError([&] { fixture.client.get("x", {}, {}); });
    ASSERT_TRUE(error.as<APIError::RateLimited>()) << header;
    EXPECT_EQ(error.as<APIError::RateLimited>()->retryAfter, seconds) << header;
    EXPECT_EQ(fixture.requests().size(), 1u);
  }
}

TEST(APIClient, A404WithAFallbackPathIsSentThereOnce) {
  ClientFixture fixture(ScriptedServer::answering([](const auto& request) {
    return request.target().starts_with("/api/v1/") ? answer(200, "{\"id\":\"1\"}") : answer(404);
  }));
  Endpoint endpoint = get("api/v2/x");
  endpoint.queryItems = {{"a", "b"}};
  EXPECT_EQ(fixture.client.send<Building>(endpoint, "api/v1/x").id, "1");
  fixture.client.send(endpoint, "api/v1/x");
  const auto requests = fixture.requests();
  ASSERT_EQ(requests.size(), 4u);
  EXPECT_EQ(requests[0].target(), "/api/v2/x?a=b");
  EXPECT_EQ(requests[1].target(), "/api/v1/x?a=b");
}

TEST(APIClient, TheFallbacksFailureIsTheResult) {
  ClientFixture fixture(ScriptedServer::answering([](const auto& request) {
    return request.target() == "/new" ? answer(404, "first") : answer(404, "second");
  }));
  const auto error = apiError([&] { fixture.client.send(get("new"), "old"); });
  ASSERT_TRUE(error.as<APIError::RequestFailed>());
  EXPECT_EQ(error.as<APIError::RequestFailed>()->message, "second");
  EXPECT_EQ(fixture.requests().size(), 2u);
}

TEST(APIClient, OtherFailuresDoNotFallBack) {
  for (const int status : {400, 403, 410, 429, 500}) {
    ClientFixture fixture(ScriptedServer::always(answer(status)));
    EXPECT_THROW(fixture.client.send(get("new"), "old"), APIError);
    EXPECT_EQ(fixture.requests().size(), 1u) << status;
  }
  ClientFixture fixture(ScriptedServer::always(answer(200, "not json")));
  EXPECT_TRUE(
      apiError([&] { fixture.client.send<Building>(get("new"), "old"); }).as<APIError::DecodingFailed>());
  EXPECT_EQ(fixture.requests().size(), 1u);
}

TEST(APIClient, AFailuresBodyIsItsMessageWhenItIsText) {
  ClientFixture text(ScriptedServer::always(answer(500, "grün")));
  EXPECT_EQ(apiError([&] { text.client.get("x", {}, {}); }).description(),
            "Jamf Pro API request failed (500): grün");
  ClientFixture binary(ScriptedServer::always(answer(500, "\xff\xfe")));
  const auto error = apiError([&] { binary.client.get("x", {}, {}); });
  ASSERT_TRUE(error.as<APIError::RequestFailed>());
  EXPECT_EQ(error.as<APIError::RequestFailed>()->message, std::nullopt);
  EXPECT_EQ(error.description(), "Jamf Pro API request failed (500): unknown error");
}

TEST(APIClient, ADecodingFailureNamesThePlace) {
  ClientFixture fixture(ScriptedServer::always(answer(200, "{\"id\":7}")));
  EXPECT_EQ(apiError([&] { fixture.client.send<Building>(get("x")); }).description(),
            "Failed to decode Jamf Pro API response: id: not a text");
}

TEST(APIClient, EncodeIsCompactWithIsoDatesAndFailsAsDecodingDoes) {
  ClientFixture fixture(ScriptedServer::always(answer(200)));
  EXPECT_EQ(fixture.client.encode(Building{"1", "a/b"}), "{\"id\":\"1\",\"name\":\"a/b\"}");
  EXPECT_EQ(fixture.client.encode(Appointment{platform::Date(std::chrono::milliseconds(1741079700123))}),
            "{\"at\":\"2025-03-04T09:15:00Z\"}");
  EXPECT_TRUE(apiError([&] {
                fixture.client.encode(Rate{std::numeric_limits<double>::infinity()});
              }).as<APIError::DecodingFailed>());
}

TEST(APIClient, NoAnswerIsATransportError) {
  ClientFixture cut([](Exchange& exchange) { exchange.close(); });
  EXPECT_EQ(apiError([&] {
              cut.client.get("x", {{"q", "hidden"}}, {});
            }).description(),
            "Network error: The connection to 127.0.0.1 was lost");
  ClientFixture garbage([](Exchange& exchange) {
    exchange.send("220 mail.example.com ESMTP ready and waiting\r\n");
    exchange.close();
  });
  EXPECT_EQ(apiError([&] { garbage.client.get("x", {}, {}); }).description(),
            "Network error: No HTTP response");
}

TEST(APIClient, ACancelledTransferIsATransportError) {
  ClientFixture fixture([](Exchange& exchange) { exchange.hold(); });
  std::stop_source source;
  fixture.tokens->validToken();
  std::jthread stopper([&] {
    fixture.server.waitForRequests(2);
    source.request_stop();
  });
  const auto error = apiError([&] { fixture.client.get("x", {}, source.get_token()); });
  ASSERT_TRUE(error.as<APIError::Transport>());
  EXPECT_EQ(error.description(), "Network error: The request to 127.0.0.1 was cancelled");
}

TEST(APIClient, AnInvalidBaseUrlFailsEachRequest) {
  ClientFixture fixture(ScriptedServer::always(answer(200)));
  APIClient client("no url", fixture.tokens, fixture.session);
  EXPECT_TRUE(apiError([&] { client.get("x", {}, {}); }).as<APIError::InvalidBaseURL>());
  EXPECT_EQ(fixture.requests().size(), 0u);
}

TEST(APIClient, ATokenFailurePassesThrough) {
  ClientFixture fixture(ScriptedServer::always(answer(200)));
  const auto tokens = std::make_shared<OAuthTokenManager>(
      fixture.server.url(), "id", fixture.session,
      []() -> platform::SecretString { throw APIError::notAuthenticated(); });
  APIClient client(fixture.server.url(), tokens, fixture.session);
  EXPECT_TRUE(apiError([&] { client.get("x", {}, {}); }).as<APIError::NotAuthenticated>());
  EXPECT_EQ(fixture.server.requestCount(), 0u);
}

TEST(APIClient, RequestsOfManyThreadsAreInFlightAtOnce) {
  ClientFixture fixture([](Exchange& exchange) {
    exchange.hold();
    exchange.send(answer(200, exchange.request.target()));
  });
  fixture.tokens->validToken();
  std::atomic<int> right{0};
  std::vector<std::jthread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&, i] {
      const std::string path = "api/" + std::to_string(i);
      if (fixture.client.get(path, {}, {}) == "/" + path) ++right;
    });
  fixture.server.waitForRequests(1 + 8);  // all of them wait for their answers
  fixture.server.release();
  threads.clear();
  EXPECT_EQ(right, 8);
}

// What is logged.

TEST(APIClientLog, ASuccessIsTwoDebugLines) {
  ClientFixture fixture(ScriptedServer::always(answer(200, "{}")));
  fixture.tokens->validToken();
  const support::LogRecorder log;
  fixture.client.get("api/v1/x", {{"filter", "hidden"}}, {});
  EXPECT_THAT(log.messages("networking"), ElementsAre("→ GET api/v1/x", "← GET api/v1/x 200 in #s"));
  for (const auto& event : log.events()) EXPECT_EQ(event.level, tuv::LogLevel::debug);
  EXPECT_FALSE(log.mentions("hidden"));
  EXPECT_FALSE(log.mentions("token-0000"));
}

TEST(APIClientLog, FailuresSayWhatHappened) {
  ClientFixture fixture([](Exchange& exchange) {
    const auto target = exchange.request.target();
    if (target == "/limited") return exchange.send(answer(429, "", "Retry-After: 2.5\r\n"));
    if (target == "/unlimited") return exchange.send(answer(429));
    if (target == "/denied") return exchange.send(answer(401, "who?"));
    if (target == "/odd") return exchange.send(answer(200, "[]"));
    exchange.close();
  });
  fixture.tokens->validToken();
  const support::LogRecorder log;
  EXPECT_THROW(fixture.client.get("limited", {}, {}), APIError);
  EXPECT_THROW(fixture.client.get("unlimited", {}, {}), APIError);
  EXPECT_THROW(fixture.client.get("denied", {}, {}), APIError);
  EXPECT_THROW(fixture.client.send<Building>(get("odd")), APIError);
  EXPECT_THROW(fixture.client.get("cut", {}, {}), APIError);
  EXPECT_THAT(
      log.messages("networking"),
      ElementsAre(
          "→ GET limited", "← GET limited 429 in #s", "429 rate limited on limited, retry-after: 2.5",
          "→ GET unlimited", "← GET unlimited 429 in #s", "429 rate limited on unlimited, retry-after: -1.0",
          "→ GET denied", "← GET denied 401 in #s", "401 on denied, forcing token refresh and retrying once",
          "→ GET denied", "← GET denied 401 in #s", "✕ GET denied failed 401: who?", "→ GET odd",
          "← GET odd 200 in #s", "✕ decode jamf::{anonymous}::Building from odd failed: not an object",
          "→ GET cut", "✕ GET cut transport error after #s: The connection to 127.0.0.1 was lost"));
}

TEST(APIClientLog, ATokenThatAServerQuotesIsNeitherLoggedNorTold) {
  ClientFixture fixture(ScriptedServer::answering(
      [](const auto& request) { return answer(500, "You sent " + *request.header("Authorization")); }));
  const support::LogRecorder log;
  const auto error = apiError([&] { fixture.client.get("x", {}, {}); });
  EXPECT_EQ(error.description(), "Jamf Pro API request failed (500): You sent Bearer [secret]");
  EXPECT_FALSE(log.mentions("token-0000"));
}

TEST(APIClient, EveryAnswerIsShownWhateverItsStatus) {
  ClientFixture fixture([](Exchange& exchange) {
    exchange.send(exchange.request.target() == "/api/v1/gone" ? answer(410, "", "Sunset: soon\r\n")
                                                              : answer(200, "{}"));
  });
  std::vector<std::string> seen;
  APIClient client("http://" + fixture.server.address(), fixture.tokens, fixture.session,
                   [&](const Endpoint& endpoint, const platform::HTTPResponse& response) {
                     seen.push_back(endpoint.path + " " + std::to_string(response.status) + " " +
                                    std::string(response.header("sunset").value_or("-")));
                   });
  client.send(get("api/v1/here"));
  EXPECT_THROW(client.send(get("api/v1/gone")), APIError);
  EXPECT_THAT(seen, ElementsAre("api/v1/here 200 -", "api/v1/gone 410 soon"));
}

}  // namespace
}  // namespace jamf
