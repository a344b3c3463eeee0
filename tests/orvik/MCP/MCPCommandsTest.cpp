#include "orvik/MCP/MCPCommands.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "Platform/Locale/Text.h"
#include "tests/Support/OrgHost.h"
#include "tests/Support/RawSocket.h"

namespace orvik {
namespace {

using test::member;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
namespace files = platform::files;
namespace json = platform::json;

std::string callOf(const std::string& tool, const std::string& arguments = "{}") {
  return R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":")" + tool + R"(","arguments":)" +
         arguments + "}}";
}

/// The program as a tool server, and what a client says to it.
class MCPCommands : public test::OrgHost {
 protected:
  /// Starts it on a free port and waits until it listens.
  void serve(Arguments more = {}) {
    more.insert(more.begin(), {"mcp", "--port", "0", "--json"});
    running.emplace(start(std::move(more)));
    ASSERT_TRUE(running->waitFor("\"listening\"")) << running->wait().error;
    const auto line = test::jsonLines(running->output()).at(0);
    const auto url = member(line, "url");
    ASSERT_THAT(url, AllOf(StartsWith("http://127.0.0.1:"), testing::EndsWith("/mcp")));
    port = static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1)));
    tokenFile = member(line, "tokenFile");
    if (tokenFile != "(none)") token = platform::locale::trimmed(files::read(tokenFile));
  }
  /// The whole answer to a message.
  std::string answerTo(const std::string& body) const {
    const ::test::RawSocket client(port);
    client.send("POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer " + token +
                "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    return client.readToEnd().value_or("nothing");
  }
  std::string toolText(const std::string& tool, const std::string& arguments = "{}") const {
    const auto answer = answerTo(callOf(tool, arguments));
    const auto document = json::Document::parse(answer.substr(answer.find("\r\n\r\n") + 4));
    const auto result = document->root()["result"];
    if (!result) return "error: " + answer;
    for (const auto item : (*result)["content"]->elements()) return std::string(*item["text"]->string());
    return "no content";
  }
  test::ProgramEnd stop() {
    running->send(SIGTERM);
    return running->wait();
  }

  std::optional<test::RunningProgram> running;
  std::uint16_t port = 0;
  std::string tokenFile;
  std::string token;
};

TEST_F(MCPCommands, ServesReadToolsToWhoHasTheToken) {
  add("School");
  serve();
  EXPECT_THAT(answerTo(R"({"jsonrpc":"2.0","id":1,"method":"initialize"})"),
              AllOf(StartsWith("HTTP/1.1 200 OK"), HasSubstr("2025-06-18")));
  EXPECT_THAT(toolText("list_organizations"),
              AllOf(HasSubstr("School"), HasSubstr(server.url()), Not(HasSubstr(server.clientID()))));
  EXPECT_THAT(toolText("list_categories", R"({"orgName":"School"})"), HasSubstr("\"name\""));
  EXPECT_THAT(toolText("create_category", R"({"orgName":"School","name":"X"})"), HasSubstr("Unknown tool"));
  token = "0000000000000000";
  EXPECT_THAT(answerTo(callOf("list_organizations")), StartsWith("HTTP/1.1 401"));
  const auto end = stop();
  EXPECT_EQ(end.status, 130);
  EXPECT_THAT(end.error, AllOf(HasSubstr("23 tools are offered, none of which changes a server."),
                               HasSubstr("list_categories  School  ok  "),
                               HasSubstr("create_category  School  refused  ")));
}

TEST_F(MCPCommands, TheTokenIsForItsOwnerAloneAndStays) {
  serve();
  struct stat about {};
  ASSERT_EQ(::stat(tokenFile.c_str(), &about), 0);
  EXPECT_EQ(about.st_mode & 0777, 0600U);
  EXPECT_GE(token.size(), 64U);
  const auto first = token;
  EXPECT_THAT(stop().output, Not(HasSubstr(first)));
  serve();
  EXPECT_EQ(token, first);
  stop();
  ::chmod(tokenFile.c_str(), 0644);
  const auto refused = run({"mcp", "--port", "0"});
  EXPECT_EQ(refused.status, 12);
  EXPECT_THAT(refused.error, HasSubstr("chmod 600 " + tokenFile));
  files::atomicWrite("short\n", tokenFile, files::Flush::no, std::filesystem::perms(0600));
  EXPECT_THAT(run({"mcp", "--port", "0"}).error, HasSubstr("holds no token"));
}

TEST_F(MCPCommands, WithoutATokenWhoeverIsHereIsServed) {
  serve({"--no-token"});
  EXPECT_EQ(tokenFile, "(none)");
  EXPECT_THAT(toolText("list_organizations"), StartsWith("["));
  EXPECT_FALSE(files::exists(data() / "mcp-token"));
}

TEST_F(MCPCommands, WriteToolsChangeTheServer) {
  add("School");
  serve({"--write"});
  const auto made =
      toolText("create_category", R"({"orgName":"School","name":"Made by a tool","priority":5})");
  EXPECT_THAT(made, HasSubstr("\"name\" : \"Made by a tool\""));
  EXPECT_THAT(toolText("list_categories", R"({"orgName":"School","nameFilter":"Made by a tool"})"),
              HasSubstr("Made by a tool"));
}

TEST_F(MCPCommands, TheLogNamesNoArgument) {
  add("School");
  serve();
  toolText("get_policy", R"({"orgName":"School","idOrName":"Very private name"})");
  toolText("get_policy", R"({"orgName":"No\nsuch\u001b[31m school","idOrName":"Very private name"})");
  const auto error = stop().error;
  EXPECT_THAT(error, AllOf(HasSubstr("get_policy  School  failed  "), Not(HasSubstr("private"))));
  EXPECT_THAT(error, Not(HasSubstr("\x1b")));
}

TEST_F(MCPCommands, AnOrganizationThatIsAddedMeanwhileIsServed) {
  add("School");
  serve();
  EXPECT_THAT(toolText("list_categories", R"({"orgName":"Second"})"),
              HasSubstr("No organization named \"Second\". Configured organizations: School."));
  add("Second");
  EXPECT_THAT(toolText("list_categories", R"({"orgName":"Second"})"), HasSubstr("\"name\""));
  run({"orgs", "remove", "Second", "--yes"});
  EXPECT_THAT(toolText("list_categories", R"({"orgName":"Second"})"), HasSubstr("No organization named"));
}

TEST_F(MCPCommands, CallsRunWhileOrganizationsChange) {
  add("School");
  serve();
  std::vector<std::thread> clients;
  std::atomic<int> answered = 0;
  for (int i = 0; i < 8; ++i)
    clients.emplace_back([&] {
      for (int k = 0; k < 10; ++k)
        if (toolText("list_organizations").find("School") != std::string::npos) ++answered;
    });
  for (int i = 0; i < 3; ++i) {
    add("Other");
    run({"orgs", "remove", "Other", "--yes"});
  }
  for (auto& each : clients) each.join();
  EXPECT_EQ(answered, 80);
}

TEST_F(MCPCommands, AStopInTheMiddleOfACallEndsAtOnce) {
  add("School");
  serve();
  server.faults().add({.path = "api/v1/categories*", .action = sample::FaultHang{}});
  std::thread client([&] { answerTo(callOf("list_categories", R"({"orgName":"School"})")); });
  const auto given = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (server.log().inFlight() == 0 && std::chrono::steady_clock::now() < given) std::this_thread::yield();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(stop().status, 130);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  client.join();
}

TEST_F(MCPCommands, ATakenPortIsOneClearSentence) {
  serve();
  const auto second = run({"mcp", "--port", std::to_string(port)});
  EXPECT_EQ(second.status, 1);
  EXPECT_EQ(second.error, "orvik: Can't listen on port " + std::to_string(port) +
                              " of 127.0.0.1: Address already in use. Another program listens there, maybe "
                              "another orvik mcp; --port chooses another port.\n");
}

TEST_F(MCPCommands, OverStandardStreamsALineIsAMessage) {
  add("School");
  auto with = start({"mcp", "--stdio"});
  with.input = R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-11-25"}})"
               "\n"
               R"({"jsonrpc":"2.0","method":"notifications/initialized"})"
               "\n\nnonsense\n" +
               callOf("list_categories", R"({"orgName":"School"})");
  const auto end = test::runToEnd(with);
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.output, AllOf(HasSubstr("2025-11-25"), HasSubstr("-32700"), HasSubstr("isError\":false")));
  EXPECT_EQ(std::ranges::count(end.output, '\n'), 3);
  EXPECT_THAT(end.error, HasSubstr("list_categories  School  ok"));
  EXPECT_FALSE(files::exists(data() / "mcp-token"));
}

TEST_F(MCPCommands, ToolsAreListedWithoutAServer) {
  const auto read = run({"mcp", "tools"});
  EXPECT_EQ(read.status, 0);
  EXPECT_THAT(read.output,
              AllOf(StartsWith("list_organizations\n"), HasSubstr("\n    orgName (string, required)"),
                    Not(HasSubstr("create_category"))));
  EXPECT_THAT(run({"mcp", "tools", "--write"}).output, HasSubstr("create_category"));
  const auto lines = test::jsonLines(run({"mcp", "tools", "--json"}).output);
  EXPECT_EQ(lines.size(), 23U);
  EXPECT_EQ(member(lines[0], "name"), "list_organizations");
  EXPECT_FALSE(files::exists(database()));
}

TEST_F(MCPCommands, BackupsAreReadThroughToolsOfTheirOwn) {
  ASSERT_EQ(test::runToEnd(backup()).status, 0);
  const auto first = repository().latestComplete()->id;
  serve({"--folder", root.string(), "--no-token"});
  EXPECT_THAT(toolText("list_backups"),
              AllOf(HasSubstr("\"id\" : \"" + first + "\""), HasSubstr("127.0.0.1")));
  const auto hits = toolText("search_backup", R"({"query":"a","limit":3})");
  EXPECT_THAT(hits, AllOf(StartsWith("[{"), HasSubstr("\"event\":\"hit\""), HasSubstr("\"limited\":true")));
  EXPECT_THAT(toolText("describe_object", R"({"section":"categories","object":"1"})"),
              HasSubstr("\"section\":\"categories\""));
  EXPECT_THAT(toolText("object_history", R"({"section":"categories","object":"1"})"),
              HasSubstr("\"event\":\"version\""));
  EXPECT_THAT(toolText("describe_object", R"({"section":"nonsense","object":"1"})"), HasSubstr("nonsense"));
  EXPECT_THAT(toolText("search_backup", R"({"query":"a","instance":"../.."})"),
              HasSubstr("There is no instance \"../..\". There are: 127.0.0.1."));
  EXPECT_THAT(toolText("search_backup", R"({"query":"a","limit":0})"), HasSubstr("between 1 and 1000"));
  EXPECT_THAT(toolText("search_backup", R"({"query":"a","backup":"../x"})"), HasSubstr("There is no backup"));
}

TEST_F(MCPCommands, TwoBackupsAreComparedThroughATool) {
  ASSERT_EQ(test::runToEnd(backup()).status, 0);
  server.mutate(10, 1);
  ASSERT_EQ(test::runToEnd(backup()).status, 0);
  serve({"--folder", (root / "127.0.0.1").string(), "--no-token"});
  EXPECT_THAT(toolText("list_backups"), HasSubstr("\"instance\" : \"127.0.0.1\""));
  const auto diff = toolText("diff_backups");
  EXPECT_THAT(diff, AllOf(StartsWith("[{"), HasSubstr("\"event\":\"finished\"")));
}

TEST_F(MCPCommands, AFolderThatIsNotThereIsRefusedAtOnce) {
  const auto end = run({"mcp", "--folder", (folder / "nowhere").string(), "--port", "0"});
  EXPECT_EQ(end.status, 10);
  EXPECT_THAT(end.error, HasSubstr("There is no folder"));
}

}  // namespace
}  // namespace orvik
