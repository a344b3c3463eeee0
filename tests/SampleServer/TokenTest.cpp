#include <atomic>
#include <set>

#include "tests/SampleServer/Client.h"

namespace sample {
namespace {

TEST(SampleToken, ASearchFindsEverySecretByItsMark) {
  SampleServer server;
  EXPECT_TRUE(server.clientSecret().starts_with("sample-secret-"));
  EXPECT_TRUE(freshToken(server).starts_with("sample-token-"));
}

TEST(SampleToken, ARightSecretGetsATokenThatOpensTheInterface) {
  SampleServer server;
  RawClient client(server.port());
  const Received answer = client.ask(tokenRequest(server.clientID(), server.clientSecret()));
  ASSERT_EQ(answer.status, 200);
  const auto document = answer.json();
  ASSERT_TRUE(document);
  EXPECT_EQ(document->root()["expires_in"]->int64(), 1199);
  EXPECT_EQ(document->root()["token_type"]->string(), "Bearer");
  EXPECT_EQ(client.ask(getRequest("api/v1/jamf-pro-version", tokenIn(answer))).status, 200);
}

TEST(SampleToken, BothTokenPathsServe) {
  SampleServer server;
  std::string request = tokenRequest(server.clientID(), server.clientSecret());
  request.replace(request.find("api/oauth"), 9, "api/v1/oauth");
  EXPECT_EQ(RawClient(server.port()).ask(request).status, 200);
}

TEST(SampleToken, AWrongSecretIsAnInvalidClient) {
  SampleServer server;
  RawClient client(server.port());
  const Received answer = client.ask(tokenRequest(server.clientID(), "guess"));
  EXPECT_EQ(answer.status, 401);
  EXPECT_EQ(answer.body, R"({"error":"invalid_client"})");
  EXPECT_EQ(client.ask(tokenRequest("nobody", server.clientSecret())).status, 401);
}

TEST(SampleToken, AnotherGrantIsRefused) {
  SampleServer server;
  RawClient client(server.port());
  const Received answer =
      client.ask("POST /api/oauth/token HTTP/1.1\r\nContent-Length: 19\r\n\r\ngrant_type=password");
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.body, R"({"error":"unsupported_grant_type"})");
  EXPECT_EQ(client.ask("POST /api/oauth/token HTTP/1.1\r\nContent-Length: 0\r\n\r\n").status, 400);
  EXPECT_EQ(client.ask("GET /api/oauth/token HTTP/1.1\r\n\r\n").status, 405);
}

TEST(SampleToken, TheFormIsPercentDecoded) {
  SampleServer server({.clientID = "müller&co", .clientSecret = "a+b=c%/"});
  RawClient client(server.port());
  EXPECT_EQ(client.ask(tokenRequest("m%C3%BCller%26co", "a+b%3Dc%25/")).status, 200);
}

TEST(SampleToken, TokensAreNeverTheSame) {
  SampleServer server;
  std::set<std::string> tokens;
  for (int i = 0; i < 20; ++i) tokens.insert(freshToken(server));
  EXPECT_EQ(tokens.size(), 20U);
}

TEST(SampleToken, ATokenExpiresWithItsLifetime) {
  std::atomic<int> seconds = 0;
  SampleServer server({.tokenLifetime = std::chrono::seconds(60), .clock = [&seconds] {
                         return platform::MonotonicTime(std::chrono::seconds(1000 + seconds.load()));
                       }});
  AuthorizedClient client(server);
  seconds = 59;
  EXPECT_EQ(client.get("api/v1/auth").status, 200);
  seconds = 60;
  const Received answer = client.get("api/v1/auth");
  EXPECT_EQ(answer.status, 401);
  EXPECT_NE(answer.body.find("INVALID_TOKEN"), std::string::npos);
}

TEST(SampleToken, ALifetimeOfNothingGivesATokenThatNeverServes) {
  SampleServer server({.tokenLifetime = std::chrono::seconds(0)});
  RawClient client(server.port());
  const Received answer = client.ask(tokenRequest(server.clientID(), server.clientSecret()));
  EXPECT_EQ(answer.json()->root()["expires_in"]->int64(), 0);
  EXPECT_EQ(client.ask(getRequest("api/v1/auth", tokenIn(answer))).status, 401);
}

TEST(SampleToken, RevokedTokensAreWorthless) {
  SampleServer server;
  AuthorizedClient client(server);
  server.revokeTokens();
  EXPECT_EQ(client.get("api/v1/auth").status, 401);
  EXPECT_EQ(client.ask(getRequest("api/v1/auth", freshToken(server))).status, 200);
}

TEST(SampleToken, WithoutATokenNothingIsServed) {
  SampleServer server;
  RawClient client(server.port());
  const Received pro = client.ask("GET /api/v1/scripts HTTP/1.1\r\n\r\n");
  EXPECT_EQ(pro.status, 401);
  EXPECT_EQ(pro.json()->root()["httpStatus"]->int64(), 401);
  const Received classic =
      client.ask("GET /JSSResource/policies HTTP/1.1\r\nAuthorization: Basic eA==\r\n\r\n");
  EXPECT_EQ(classic.status, 401);
  EXPECT_NE(classic.body.find("<title>Status page</title>"), std::string::npos);
}

TEST(SampleToken, CredentialsComeFromTheSeedAndLookFake) {
  SampleServer one({.seed = 1});
  SampleServer again({.seed = 1});
  SampleServer other({.seed = 2});
  EXPECT_EQ(one.clientSecret(), again.clientSecret());
  EXPECT_NE(one.clientSecret(), other.clientSecret());
  EXPECT_NE(one.clientSecret().find("not-secret"), std::string::npos);
}

}  // namespace
}  // namespace sample
