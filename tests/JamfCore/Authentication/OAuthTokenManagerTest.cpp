#include "JamfCore/Authentication/OAuthTokenManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "JamfCore/Networking/APIError.h"
#include "tests/JamfCore/ClientFixture.h"
#include "tests/Support/LogRecorder.h"

namespace jamf {
namespace {

using namespace std::chrono_literals;
using support::answer;
using support::ScriptedServer;
using test::apiError;
using test::clientSecret;
using testing::ElementsAre;
using Exchange = ScriptedServer::Exchange;

std::string tokenBody(std::string_view token, std::int64_t expiresIn) {
  return "{\"access_token\":\"" + std::string(token) + "\",\"expires_in\":" + std::to_string(expiresIn) +
         ",\"token_type\":\"Bearer\",\"scope\":\"ignored\"}";
}

/// A manager that talks to a script, at a time that the test sets.
struct Tokens {
  explicit Tokens(ScriptedServer::Script script) : server(std::move(script)) {}

  std::string valid() { return std::string(manager.validToken().reveal()); }
  std::string refreshed() { return std::string(manager.invalidateAndRefresh().reveal()); }

  ScriptedServer server;
  std::atomic<std::int64_t> now{1'000'000'000'000};  // milliseconds
  std::atomic<int> secretsAsked{0};
  OAuthTokenManager manager{server.url("/jamf/"), "id+1 & more", std::make_shared<platform::HTTPSession>(),
                            [this] {
                              ++secretsAsked;
                              return platform::SecretString(clientSecret);
                            },
                            [this] { return platform::Date(std::chrono::milliseconds(now)); }};
};

/// Hands out "t0", "t1" and so on.
ScriptedServer::Script numbered(std::int64_t expiresIn) {
  return [expiresIn](Exchange& exchange) {
    exchange.send(answer(200, tokenBody("t" + std::to_string(exchange.number), expiresIn)));
  };
}

TEST(OAuthTokenManager, TheRequestIsAFormWithOnlyWhatAQueryForbidsEscaped) {
  Tokens tokens(numbered(1800));
  EXPECT_EQ(tokens.valid(), "t0");
  const auto request = tokens.server.requests().at(0);
  EXPECT_EQ(request.method(), "POST");
  EXPECT_EQ(request.target(), "/jamf/api/oauth/token");
  EXPECT_EQ(request.header("Content-Type"), "application/x-www-form-urlencoded");
  EXPECT_EQ(request.header("Authorization"), std::nullopt);
  EXPECT_EQ(
      request.body,
      "grant_type=client_credentials&client_id=id+1%20%26%20more&client_secret=Q7-top+secret/value%26x");
}

TEST(OAuthTokenManager, AValidTokenIsReusedAndTheSecretNotAskedFor) {
  Tokens tokens(numbered(1800));
  EXPECT_EQ(tokens.valid(), "t0");
  EXPECT_EQ(tokens.valid(), "t0");
  EXPECT_EQ(tokens.server.requestCount(), 1u);
  EXPECT_EQ(tokens.secretsAsked, 1);
}

TEST(OAuthTokenManager, ATokenWithExactlySixtySecondsLeftIsRefetched) {
  Tokens tokens(numbered(100));
  EXPECT_EQ(tokens.valid(), "t0");
  tokens.now += 39'999;  // 60.001 seconds left
  EXPECT_EQ(tokens.valid(), "t0");
  tokens.now += 1;
  EXPECT_EQ(tokens.valid(), "t1");
}

TEST(OAuthTokenManager, ExpiryCountsFromTheAnswerNotFromTheRequest) {
  Tokens* reached = nullptr;
  Tokens tokens([&reached](Exchange& exchange) {
    reached->now += 50'000;  // the answer takes that long
    exchange.send(answer(200, tokenBody("t" + std::to_string(exchange.number), 100)));
  });
  reached = &tokens;
  EXPECT_EQ(tokens.valid(), "t0");
  tokens.now += 39'999;
  EXPECT_EQ(tokens.valid(), "t0");
}

TEST(OAuthTokenManager, AShortLivedTokenIsNeverReused) {
  for (const std::int64_t seconds : {30ll, 60ll, 0ll, -5ll}) {
    Tokens tokens(numbered(seconds));
    EXPECT_EQ(tokens.valid(), "t0");
    EXPECT_EQ(tokens.valid(), "t1");
    EXPECT_EQ(tokens.server.requestCount(), 2u) << seconds;
  }
}

TEST(OAuthTokenManager, AnAbsurdLifeIsALongOne) {
  Tokens tokens(numbered(INT64_MAX));
  EXPECT_EQ(tokens.valid(), "t0");
  EXPECT_EQ(tokens.valid(), "t0");
}

TEST(OAuthTokenManager, InvalidateFetchesWhateverWasCached) {
  Tokens tokens(numbered(1800));
  EXPECT_EQ(tokens.valid(), "t0");
  EXPECT_EQ(tokens.refreshed(), "t1");
  EXPECT_EQ(tokens.valid(), "t1");
}

TEST(OAuthTokenManager, AFailedRefreshLeavesNothingCached) {
  Tokens tokens([](Exchange& exchange) {
    exchange.send(exchange.number == 1 ? answer(500, "down") : answer(200, tokenBody("t", 1800)));
  });
  tokens.valid();
  EXPECT_THROW(tokens.refreshed(), APIError);
  tokens.valid();
  EXPECT_EQ(tokens.server.requestCount(), 3u);
}

TEST(OAuthTokenManager, AFailedFetchLeavesWhatWasThere) {
  Tokens tokens([](Exchange& exchange) {
    exchange.send(exchange.number == 0 ? answer(200, tokenBody("t0", 1800)) : answer(500));
  });
  EXPECT_EQ(tokens.valid(), "t0");
  tokens.now += 1'790'000;
  EXPECT_THROW(tokens.valid(), APIError);
  tokens.now -= 1'790'000;
  EXPECT_EQ(tokens.valid(), "t0");
  EXPECT_EQ(tokens.server.requestCount(), 2u);
}

TEST(OAuthTokenManager, A401IsAuthenticationFailedAndNotRepeated) {
  Tokens tokens(ScriptedServer::always(answer(401, "{\"error\":\"invalid_client\"}")));
  const support::LogRecorder log;
  const auto error = apiError([&] { tokens.valid(); });
  ASSERT_TRUE(error.as<APIError::AuthenticationFailed>());
  EXPECT_EQ(error.as<APIError::AuthenticationFailed>()->statusCode, 401);
  EXPECT_EQ(error.as<APIError::AuthenticationFailed>()->message, "{\"error\":\"invalid_client\"}");
  EXPECT_EQ(tokens.server.requestCount(), 1u);
  EXPECT_THAT(log.messages("auth"), ElementsAre("token missing or near expiry, fetching a new one",
                                                "token request failed 401: {\"error\":\"invalid_client\"}"));
}

TEST(OAuthTokenManager, AFailureThatIsNoTextHasNoMessage) {
  Tokens tokens(ScriptedServer::always(answer(503, "\xff")));
  EXPECT_EQ(apiError([&] { tokens.valid(); }).description(),
            "Authentication with Jamf Pro failed (503): unknown error");
}

TEST(OAuthTokenManager, EveryFieldOfTheAnswerIsRequiredAndNoErrorHoldsTheToken) {
  const std::pair<const char*, const char*> rows[] = {
      {"{\"access_token\":\"eyJhbGciOi\",\"expires_in\":1800}", "token_type: missing"},
      {"{\"access_token\":\"eyJhbGciOi\",\"token_type\":\"Bearer\"}", "expires_in: missing"},
      {"{\"expires_in\":1800,\"token_type\":\"Bearer\"}", "access_token: missing"},
      {"{\"access_token\":\"eyJhbGciOi\",\"expires_in\":\"eyJhbGciOi\",\"token_type\":\"B\"}",
       "expires_in: not an integer"},
      {"{\"access_token\":\"eyJhbGciOi\",\"expires_in\":1800.5,\"token_type\":\"B\"}",
       "expires_in: not an integer"},
      {"{\"access_token\":\"eyJhbGciOi\"", nullptr},
      {"eyJhbGciOi", nullptr},
      {"", nullptr},
  };
  for (const auto& [body, problem] : rows) {
    Tokens tokens(ScriptedServer::always(answer(200, body)));
    const support::LogRecorder log;
    const auto error = apiError([&] { tokens.valid(); });
    ASSERT_TRUE(error.as<APIError::DecodingFailed>()) << body;
    if (problem) {
      EXPECT_EQ(error.as<APIError::DecodingFailed>()->underlying, problem);
    }
    EXPECT_EQ(error.description().find("eyJhbGciOi"), std::string::npos) << error.description();
    EXPECT_FALSE(log.mentions("eyJhbGciOi"));
    EXPECT_THROW(tokens.valid(), APIError) << "nothing may be cached";
  }
}

TEST(OAuthTokenManager, NoAnswerIsATransportError) {
  Tokens cut([](Exchange& exchange) { exchange.close(); });
  Tokens garbage([](Exchange& exchange) {
    exchange.send("220 mail.example.com ESMTP ready and waiting\r\n");
    exchange.close();
  });
  const support::LogRecorder log;
  EXPECT_EQ(apiError([&] { cut.valid(); }).description(),
            "Network error: The connection to 127.0.0.1 was lost");
  EXPECT_EQ(apiError([&] { garbage.valid(); }).description(), "Network error: No HTTP response");
  EXPECT_THAT(
      log.messages("auth"),
      ElementsAre("token missing or near expiry, fetching a new one",
                  "token request transport error after #s: The connection to 127.0.0.1 was lost",
                  "token missing or near expiry, fetching a new one", "token request: no HTTP response"));
}

TEST(OAuthTokenManager, AStopEndsAFetchAsATransportError) {
  Tokens tokens([](Exchange& exchange) { exchange.hold(); });
  std::stop_source source;
  std::jthread stopper([&] {
    tokens.server.waitForRequests(1);
    source.request_stop();
  });
  const auto error = apiError([&] { tokens.manager.validToken(source.get_token()); });
  EXPECT_TRUE(error.as<APIError::Transport>());
}

TEST(OAuthTokenManager, CallersThatFindNoTokenFetchEachOneAndDoNotBlockEachOther) {
  Tokens tokens([](Exchange& exchange) {
    exchange.hold();
    exchange.send(answer(200, tokenBody("t", 1800)));
  });
  std::atomic<int> got{0};
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      if (tokens.valid() == "t") ++got;
    });
  tokens.server.waitForRequests(4);  // all are under way at the same time
  tokens.server.release();
  threads.clear();
  EXPECT_EQ(got, 4);
  tokens.valid();
  EXPECT_EQ(tokens.server.requestCount(), 4u);
}

TEST(OAuthTokenManager, NeitherSecretNorTokenIsLogged) {
  Tokens good(numbered(1800));
  Tokens quoting(ScriptedServer::answering([](const auto& request) { return answer(400, request.body); }));
  const support::LogRecorder log;
  good.valid();
  const auto error = apiError([&] { quoting.valid(); });
  EXPECT_EQ(error.as<APIError::AuthenticationFailed>()->message,
            "grant_type=client_credentials&client_id=id+1%20%26%20more&client_secret=[secret]");
  EXPECT_FALSE(log.mentions(clientSecret));
  EXPECT_FALSE(log.mentions("Q7-top"));
  EXPECT_FALSE(log.mentions("t0"));
  EXPECT_EQ(log.messages("auth").at(1), "new token fetched in #s, expires in 1800s");
}

TEST(OAuthTokenManager, TheLifeOfTheTokenIsWhatTheServerSaid) {
  Tokens tokens(numbered(30));
  EXPECT_EQ(tokens.manager.lifetime(), std::nullopt);
  tokens.valid();
  EXPECT_EQ(tokens.manager.lifetime(), std::chrono::seconds(30));
}

TEST(OAuthTokenManager, AnInvalidBaseUrlIsTold) {
  OAuthTokenManager manager("nowhere", "id", std::make_shared<platform::HTTPSession>(),
                            [] { return platform::SecretString(clientSecret); });
  EXPECT_TRUE(apiError([&] { manager.validToken(); }).as<APIError::InvalidBaseURL>());
}

}  // namespace
}  // namespace jamf
