#include <cerrno>
#include <future>
#include <latch>

#include "tests/SampleServer/Client.h"

namespace sample {
namespace {

using namespace std::chrono_literals;

constexpr std::string_view version = "api/v1/jamf-pro-version";

class SampleFault : public testing::Test {
 protected:
  SampleServer server_;
  AuthorizedClient client_{server_};
};

TEST(Glob, StarsStandForAnyText) {
  EXPECT_TRUE(matchesGlob("*", ""));
  EXPECT_TRUE(matchesGlob("a*c", "ac"));
  EXPECT_TRUE(matchesGlob("a*c*", "abcbc"));
  EXPECT_TRUE(matchesGlob("*/id/*", "JSSResource/policies/id/3"));
  EXPECT_FALSE(matchesGlob("a*c", "acb"));
  EXPECT_FALSE(matchesGlob("", "a"));
  EXPECT_FALSE(matchesGlob("ab", "a"));
  EXPECT_FALSE(matchesGlob("a*a*a*a*b", std::string(2000, 'a')));
}

TEST_F(SampleFault, AStatusWithHeadersReplacesTheAnswerSoOften) {
  server_.faults().add({.path = "api/v1/scripts", .times = 2, .action = FaultRule::tooManyRequests(30)});
  for (int i = 0; i < 2; ++i) {
    const Received answer = client_.get("api/v1/scripts");
    EXPECT_EQ(answer.status, 429);
    EXPECT_TRUE(answer.has("Retry-After: 30\r\n"));
  }
  EXPECT_EQ(client_.get("api/v1/scripts").status, 200);
}

TEST_F(SampleFault, FirstMatchesCanPass) {
  server_.faults().add(
      {.path = "JSSResource/*/id/*", .times = 1, .after = 2, .action = FaultRule::maintenance()});
  EXPECT_EQ(client_.get("JSSResource/policies/id/1").status, 200);
  EXPECT_EQ(client_.get("JSSResource/users/id/1").status, 200);
  const Received answer = client_.get("JSSResource/users/id/2");
  EXPECT_EQ(answer.status, 503);
  EXPECT_TRUE(answer.has("text/html"));
  EXPECT_EQ(client_.get("JSSResource/users/id/2").status, 200);
}

TEST_F(SampleFault, RulesLookAtMethodAndQuery) {
  server_.faults().add({.path = "*", .method = "POST", .action = FaultAnswer{.status = 502}});
  server_.faults().add({.path = "/api/v1/packages?page=1*", .action = FaultAnswer{.status = 500}});
  EXPECT_EQ(client_.get("api/v1/packages?page=0").status, 200);
  EXPECT_EQ(client_.get("api/v1/packages?page=1&page-size=5").status, 500);
  EXPECT_EQ(RawClient(server_.port()).ask(tokenRequest("a", "b")).status, 502);
}

TEST_F(SampleFault, ARemovedRuleNoLongerCounts) {
  const int rule = server_.faults().add({.path = "*", .action = FaultAnswer{.status = 500}});
  EXPECT_EQ(client_.get(version).status, 500);
  server_.faults().remove(rule);
  EXPECT_EQ(client_.get(version).status, 200);
  server_.faults().add({.path = "*", .action = FaultAnswer{.status = 500}});
  server_.faults().clear();
  EXPECT_EQ(client_.get(version).status, 200);
}

TEST_F(SampleFault, ADelayComesBeforeTheRightAnswer) {
  server_.faults().add({.path = "*", .action = FaultDelay{60ms}});
  const auto start = platform::MonotonicClock::now();
  EXPECT_EQ(client_.get(version).status, 200);
  EXPECT_GE(platform::MonotonicClock::now() - start, 60ms);
}

TEST_F(SampleFault, ACutAnswerEndsAfterItsBytes) {
  server_.faults().add({.path = "*", .times = 1, .action = FaultCut{.after = 30}});
  client_.send(getRequest(version, client_.token()));
  EXPECT_EQ(client_.drain().size(), 30U);
  EXPECT_EQ(client_.error(), 0);
  AuthorizedClient another(server_);
  EXPECT_EQ(another.get(version).status, 200);
}

TEST_F(SampleFault, ACutByResetShowsAsOne) {
  server_.faults().add({.path = "*", .action = FaultCut{.after = 0, .ending = FaultCut::Ending::reset}});
  client_.send(getRequest(version, client_.token()));
  EXPECT_EQ(client_.drain(), "");
  EXPECT_EQ(client_.error(), ECONNRESET);
}

TEST_F(SampleFault, GarbageKeepsTheHeadAndIsNoJSON) {
  const std::size_t length = client_.get("api/v1/auth").body.size();
  server_.faults().add({.path = "api/v1/auth", .times = 1, .action = FaultGarbage{}});
  const Received answer = client_.get("api/v1/auth");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body.size(), length);
  EXPECT_FALSE(answer.json());
  EXPECT_TRUE(client_.get("api/v1/auth").json());
}

TEST_F(SampleFault, StoppingEndsWhatHangs) {
  server_.faults().add({.path = std::string(version), .action = FaultHang{}});
  std::latch arrived(3);
  server_.setRequestHook([&arrived](std::uint64_t) { arrived.count_down(); });
  std::vector<std::future<int>> waiting;
  const std::string token = client_.token();
  for (int i = 0; i < 3; ++i) {
    waiting.push_back(std::async(std::launch::async, [&, token] {
      return RawClient(server_.port()).ask(getRequest(version, token)).status;
    }));
  }
  arrived.wait();
  const auto start = platform::MonotonicClock::now();
  server_.stop();
  EXPECT_LT(platform::MonotonicClock::now() - start, 2s);
  for (auto& status : waiting) EXPECT_EQ(status.get(), 0);
}

TEST_F(SampleFault, EveryAnswerCanBeDelayedAndDelaysRunSideBySide) {
  server_.setDelay(40ms);
  std::vector<std::future<int>> waiting;
  const std::string token = client_.token();
  const auto start = platform::MonotonicClock::now();
  for (int i = 0; i < 32; ++i) {
    waiting.push_back(std::async(std::launch::async, [&, token] {
      return RawClient(server_.port()).ask(getRequest(version, token)).status;
    }));
  }
  for (auto& status : waiting) EXPECT_EQ(status.get(), 200);
  const auto took = platform::MonotonicClock::now() - start;
  EXPECT_GE(took, 40ms);
  EXPECT_LT(took, 32 * 40ms);
}

TEST_F(SampleFault, SectionsCanRefuse) {
  EXPECT_TRUE(server_.refuseSection("policies", 403));
  EXPECT_TRUE(server_.refuseSection("scripts", 403));
  EXPECT_TRUE(server_.refuseSection("sites", 401));
  EXPECT_FALSE(server_.refuseSection("nothing", 403));
  EXPECT_EQ(client_.get("JSSResource/policies").status, 403);
  EXPECT_EQ(client_.get("JSSResource/policies/id/1").status, 403);
  EXPECT_EQ(client_.get("JSSResource/sites").status, 401);
  const Received answer = client_.get("api/v1/scripts");
  EXPECT_EQ(answer.status, 403);
  EXPECT_NE(answer.body.find("INVALID_PRIVILEGE"), std::string::npos);
  server_.refuseSection("policies", 0);
  EXPECT_EQ(client_.get("JSSResource/policies").status, 200);
}

TEST(SampleModes, AreSetFromTheStart) {
  SampleServer server({.privilegesInAuth = false,
                       .refusedSections = {{"engageSettings", 404}},
                       .withoutTotalCount = {"scripts"},
                       .listShapes = {{"policies", ListShape::sizeOnly}}});
  AuthorizedClient client(server);
  EXPECT_EQ(client.get("api/v2/engage").status, 404);
  EXPECT_FALSE(client.get("api/v1/scripts").json()->root()["totalCount"]);
  EXPECT_EQ(client.get("JSSResource/policies").body, R"({"policies":{"size":0}})");
  const auto account = client.get("api/v1/auth").json();
  EXPECT_FALSE((*account->root()["account"])["privileges"]);

  server.setPrivilegesInAuth(true);
  server.setTotalCount("scripts", true);
  server.setListShape("policies", ListShape::emptyArray);
  EXPECT_TRUE(client.get("api/v1/scripts").json()->root()["totalCount"]);
  EXPECT_EQ(client.get("JSSResource/policies").body, R"({"policies":[]})");
  const auto privileged = client.get("api/v1/auth").json();
  EXPECT_TRUE((*privileged->root()["account"])["privileges"]);
}

TEST(SampleModes, TheClientHasThePrivilegesThatItIsGiven) {
  SampleServer server({.privileges = {"Read \"Quoted\" Things", "Read Sites"}});
  AuthorizedClient client(server);
  const auto account = client.get("api/v1/auth").json();
  const auto told = (*account->root()["account"])["privileges"];
  ASSERT_TRUE(told);
  std::vector<std::string> texts;
  for (const auto element : told->elements()) texts.emplace_back(*element.string());
  EXPECT_EQ(texts, (std::vector<std::string>{"Read \"Quoted\" Things", "Read Sites"}));
}

}  // namespace
}  // namespace sample
