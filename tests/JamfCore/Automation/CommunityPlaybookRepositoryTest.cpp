#include "JamfCore/Automation/CommunityPlaybookRepository.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/Support/ScriptedServer.h"

namespace jamf {
namespace {

using support::answer;
using support::ScriptedServer;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using Entry = CommunityPlaybookRepository::Entry;

CommunityPlaybookRepository repository(const ScriptedServer& server) {
  return {"acme", "play-books", "main", std::make_shared<platform::HTTPSession>(),
          "http://" + server.address()};
}

std::string listProblem(const std::string& reply) {
  ScriptedServer server(ScriptedServer::always(reply));
  try {
    repository(server).listPlaybooks();
  } catch (const platform::Error& error) {
    return error.description();
  }
  return "";
}

TEST(CommunityPlaybookRepository, OnlyPlaybooksOfTheTopFolderAreListed) {
  ScriptedServer server(ScriptedServer::always(answer(200, R"([
    {"name":"b.yaml","path":"b.yaml","type":"file","size":1,"download_url":"https://raw.example.org/b.yaml"},
    {"name":"README.md","path":"README.md","type":"file","download_url":"https://raw.example.org/README.md"},
    {"name":"old.yaml","path":"old.yaml","type":"dir","download_url":null},
    {"name":"gone.yml","path":"gone.yml","type":"file","download_url":null},
    {"name":"odd.yml","path":"odd.yml","type":"file","download_url":"no url"},
    {"name":"MyPlaybook.YAML","path":"MyPlaybook.YAML","type":"file","download_url":"https://raw.example.org/M"},
    {"name":"a.yml","path":"a.yml","type":"file","download_url":"https://raw.example.org/a.yml"}])")));
  EXPECT_THAT(repository(server).listPlaybooks(),
              ElementsAre(Entry{"b.yaml", "b.yaml", "https://raw.example.org/b.yaml"},
                          Entry{"a.yml", "a.yml", "https://raw.example.org/a.yml"}));
  const auto request = server.requests().at(0);
  EXPECT_EQ(request.target(), "/repos/acme/play-books/contents/?ref=main");
  EXPECT_EQ(request.header("Accept"), "application/vnd.github+json");
  EXPECT_EQ(request.header("User-Agent"), "orvik");
  EXPECT_EQ(request.header("Authorization"), std::nullopt);
}

TEST(CommunityPlaybookRepository, AReferenceThatIsNoneIsRefusedWithoutARequest) {
  ScriptedServer server(ScriptedServer::always(answer(200, "[]")));
  const CommunityPlaybookRepository known = repository(server);
  auto changed = [&](auto change) {
    auto copy = known;
    change(copy);
    try {
      copy.listPlaybooks();
    } catch (const CommunityPlaybookError& error) {
      return error.message();
    }
    return std::string();
  };
  for (const std::string text : {"", "..", "a/b", "a b", "a\n", "a?b", "ü"}) {
    EXPECT_EQ(changed([&](auto& each) { each.owner = text; }), "Invalid repository reference.") << text;
    EXPECT_EQ(changed([&](auto& each) { each.repo = text; }), "Invalid repository reference.") << text;
  }
  for (const std::string text : {"", "a b", "a\n"})
    EXPECT_EQ(changed([&](auto& each) { each.branch = text; }), "Invalid repository reference.") << text;
  EXPECT_EQ(server.requestCount(), 0U);
  EXPECT_EQ(changed([&](auto& each) { each.branch = "feature/a&b#c"; }), "");
  EXPECT_EQ(server.requests().at(0).target(), "/repos/acme/play-books/contents/?ref=feature/a%26b%23c");
}

TEST(CommunityPlaybookRepository, EachRefusalHasItsSentence) {
  EXPECT_EQ(listProblem(answer(403, "{}", "X-RateLimit-Remaining: 0\r\n")),
            "GitHub rate-limited this request. Try again later.");
  EXPECT_EQ(listProblem(answer(403, "{}", "X-RateLimit-Remaining: 12\r\n")), "Request failed (403).");
  EXPECT_EQ(listProblem(answer(403, "{}")), "Request failed (403).");
  EXPECT_EQ(listProblem(answer(404, "{}")), "Repository or file not found (404).");
  EXPECT_EQ(listProblem(answer(500, "{}")), "Request failed (500).");
  EXPECT_EQ(listProblem("SSH-2.0-OpenSSH_9.2\r\n"), "No HTTP response.");
}

TEST(CommunityPlaybookRepository, AnAnswerThatIsNoListIsToldWithItsPlace) {
  const std::string start = "Couldn't read the playbook list: ";
  EXPECT_EQ(listProblem(answer(200, R"({"message":"x"})")), start + "not an array");
  EXPECT_EQ(listProblem(answer(200, R"([{"name":"a","path":"a"}])")), start + "[0].type: missing");
  EXPECT_THAT(listProblem(answer(200, "<html>")), StartsWith(start));
  EXPECT_THAT(listProblem(answer(200, "")), StartsWith(start));
}

TEST(CommunityPlaybookRepository, AFileIsFetchedAsText) {
  ScriptedServer server([](ScriptedServer::Exchange& exchange) {
    exchange.send(exchange.request.target() == "/a.yml"   ? answer(200, "name: Größe\n")
                  : exchange.request.target() == "/b.yml" ? answer(200, "\xff")
                                                          : answer(404));
  });
  const auto playbooks = repository(server);
  const auto fetch = [&](const std::string& name) {
    try {
      return playbooks.fetchYAML({name, name, "http://" + server.address() + "/" + name});
    } catch (const CommunityPlaybookError& error) {
      return error.message();
    }
  };
  EXPECT_EQ(fetch("a.yml"), "name: Größe\n");
  EXPECT_EQ(fetch("b.yml"), "\"b.yml\" is not valid UTF-8 text.");
  EXPECT_EQ(fetch("c.yml"), "Repository or file not found (404).");
}

}  // namespace
}  // namespace jamf
