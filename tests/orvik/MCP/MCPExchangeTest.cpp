#include "orvik/MCP/MCPExchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Platform/Concurrency/Cancellation.h"
#include "orvik/MCP/MCPEndpoint.h"
#include "tests/JamfCore/LocalDatabase.h"

namespace orvik::host {
namespace {

namespace json = platform::json;
using jamf::HTTPRequest;
using jamf::JamfTool;
using jamf::ParameterType;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using Kind = MCPReply::Kind;

std::string request(const std::string& method, const std::string& rest = {}, const std::string& id = "1") {
  return R"({"jsonrpc":"2.0","id":)" + id + R"(,"method":")" + method + "\"" + rest + "}";
}
std::string callOf(const std::string& tool, const std::string& arguments = "{}",
                   const std::string& id = "1") {
  return request("tools/call", R"(,"params":{"name":")" + tool + R"(","arguments":)" + arguments + "}", id);
}

/// An exchange with a few tools of the test's own.
class Exchange : public jamf::test::LocalDatabase {
 protected:
  MCPReply reply(const std::string& message) { return exchange.reply(message, {}); }
  std::string bodyOf(const std::string& message) { return reply(message).body; }
  HTTPRequest post(const std::string& body) const {
    return {"POST", "/mcp", {{"Host", "127.0.0.1:8765"}}, body};
  }

  jamf::OrgManager organizations{open(), keychain};
  std::vector<MCPCall> calls;
  const std::vector<JamfTool> tools{
      {"count",
       "",
       {{"number", "", ParameterType::integer, true}, {"text", "", ParameterType::string, false}},
       [](auto&, const auto& arguments, const auto&) {
         const auto number = JamfTool::intArgument(arguments, "number");
         const auto text = JamfTool::optionalStringArgument(arguments, "text");
         return std::to_string(number) + " " + text.value_or("-");
       }},
      {"fail",
       "",
       {},
       [](auto&, const auto&, const auto&) -> platform::Bytes {
         throw jamf::JamfToolError("It\xff failed");
       }},
      {"stop", "", {}, [](auto&, const auto&, const auto&) -> platform::Bytes {
         throw platform::CancellationError();
       }}};
  const MCPExchange exchange{tools, organizations, [this](const MCPCall& call) { calls.push_back(call); }};
  const platform::SecretString token{std::string("0123456789abcdef")};
  const MCPEndpoint open_{exchange, nullptr, {}};
  const MCPEndpoint guarded{exchange, &token, {}};
};

TEST_F(Exchange, APingIsAnswered) {
  EXPECT_EQ(bodyOf(request("ping", "", "\"a\"")), R"({"id":"a","jsonrpc":"2.0","result":{}})");
  EXPECT_EQ(reply(R"({"jsonrpc":"2.0","method":"ping"})").kind, Kind::nothing);
}

TEST_F(Exchange, AnUnknownMethodIsLeftToTheHandler) {
  EXPECT_EQ(
      bodyOf(request("server/discover")),
      R"({"error":{"code":-32601,"message":"Method not found: server/discover"},"id":1,"jsonrpc":"2.0"})");
  EXPECT_EQ(reply(request("server/discover")).kind, Kind::answer);
}

TEST_F(Exchange, ANotificationGetsNothing) {
  for (const auto* method : {"notifications/initialized", "tools/call", "initialize"})
    EXPECT_EQ(reply(R"({"jsonrpc":"2.0","method":")" + std::string(method) + "\"}").kind, Kind::nothing);
  EXPECT_EQ(reply(request("ping", "", "null")).kind, Kind::nothing) << "a null ID counts as none";
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(Exchange, WhatIsNoJSONIsAParseError) {
  for (const auto* text :
       {"", "{", "nonsense", "{\"a\":1}x", "\xff", "{\"a\":\"\\ud800\"}", "\xef\xbb\xbf{}"}) {
    const auto answer = reply(text);
    EXPECT_EQ(answer.kind, Kind::refusal) << text;
    EXPECT_THAT(answer.body, StartsWith(R"({"error":{"code":-32700,"message":"Parse error: )")) << text;
    EXPECT_THAT(answer.body, HasSubstr(R"("id":null)"));
  }
  EXPECT_THAT(bodyOf(std::string(600, '[')), HasSubstr("-32700"));
  EXPECT_THAT(bodyOf(std::string(10'000, '[')), HasSubstr("-32700"));
}

TEST_F(Exchange, WhatIsNoRequestIsAnInvalidRequest) {
  for (const auto* text :
       {"{}", "5", "\"ping\"", "null", R"({"id":1,"method":"ping"})", R"({"jsonrpc":"2.0","id":1})",
        R"({"jsonrpc":2,"id":1,"method":"ping"})", R"({"jsonrpc":"2.0","id":1,"method":5})",
        R"({"jsonrpc":"2.0","id":1,"result":{}})"}) {
    const auto answer = reply(text);
    EXPECT_EQ(answer.kind, Kind::refusal) << text;
    EXPECT_THAT(answer.body, HasSubstr("-32600")) << text;
  }
  EXPECT_THAT(bodyOf(R"({"jsonrpc":"2.0","id":"mine"})"), HasSubstr(R"("id":"mine")"));
}

TEST_F(Exchange, BatchesAreRefused) {
  const auto answer = reply("[" + request("ping") + "," + request("ping") + "]");
  EXPECT_EQ(answer.kind, Kind::refusal);
  EXPECT_EQ(answer.body,
            R"({"error":{"code":-32600,"message":"Batches are not supported: send one request at a time"},)"
            R"("id":null,"jsonrpc":"2.0"})");
}

TEST_F(Exchange, AWholeNumberIsPassedWhereAToolTakesAnInteger) {
  for (const auto& [sent, got] :
       std::vector<std::pair<std::string, std::string>>{{"7", "7"},
                                                        {"-7", "-7"},
                                                        {"3.0", "3"},
                                                        {"1e3", "1000"},
                                                        {"\"12\"", "12"},
                                                        {"9007199254740993", "9007199254740993"},
                                                        {"-9223372036854775808", "-9223372036854775808"}})
    EXPECT_THAT(bodyOf(callOf("count", R"({"number":)" + sent + "}")),
                HasSubstr("\"text\":\"" + got + " -\""))
        << sent;
  for (const auto* sent : {"7.5", "true", "null", "[7]", "1e300", "18446744073709551615", "\"7.5\""})
    EXPECT_THAT(bodyOf(callOf("count", R"({"number":)" + std::string(sent) + "}")),
                HasSubstr("Missing or invalid required integer argument \\\"number\\\"."))
        << sent;
}

TEST_F(Exchange, ANumberForATextIsStillNoText) {
  EXPECT_THAT(bodyOf(callOf("count", R"({"number":1,"text":5})")), HasSubstr("\"1 -\""));
  EXPECT_THAT(bodyOf(callOf("count", R"({"number":1,"text":"5"})")), HasSubstr("\"1 5\""));
}

TEST_F(Exchange, OfARepeatedArgumentTheLastCounts) {
  EXPECT_THAT(bodyOf(callOf("count", R"({"number":1,"number":2})")), HasSubstr("\"2 -\""));
}

TEST_F(Exchange, AnErrorWithoutRoomForAnIDGetsTheRequestsID) {
  // The failure's text is no UTF-8, so that its result can't be written.
  EXPECT_EQ(bodyOf(callOf("fail", "{}", "\"mine\"")),
            R"({"error":{"code":-32603,"message":"Internal error encoding response"},"id":"mine",)"
            R"("jsonrpc":"2.0"})");
}

TEST_F(Exchange, TheDeepestIDComesBack) {
  const std::string deep = std::string(511, '[') + std::string(511, ']');
  for (const auto* method : {"ping", "tools/list", "nonsense"})
    EXPECT_THAT(bodyOf(request(method, "", deep)), HasSubstr("\"id\":" + deep + ",")) << method;
  EXPECT_THAT(bodyOf(request("ping", "", "[" + deep + "]")), HasSubstr("-32700"));
}

TEST_F(Exchange, ArgumentsOfAnyShapeAreNoHarm) {
  for (const auto* params : {"", R"(,"params":null)", R"(,"params":[])", R"(,"params":{"name":5})",
                             R"(,"params":{"name":"count"})", R"(,"params":{"name":"count","arguments":[]})",
                             R"(,"params":{"name":"count","arguments":"x"})", R"(,"params":"x")"})
    EXPECT_THAT(bodyOf(request("tools/call", params)), HasSubstr("-32602")) << params;
}

TEST_F(Exchange, AMessageOfTooManyValuesIsRefusedBeforeItFillsTheMemory) {
  const auto repeated = [](const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
  };
  for (const auto& values : {"[" + repeated("0,", 100'000) + "0]", "[" + repeated("[],", 50'000) + "0]",
                             "[" + repeated(R"({"\"":1},)", 50'000) + "0]", repeated("[", 100'000)})
    EXPECT_THAT(bodyOf(callOf("count", values)), HasSubstr("more than 100,000 values"));
  EXPECT_THAT(bodyOf(callOf("count", "[" + repeated("0,", 99'900) + "0]")),
              HasSubstr("Missing required argument"));
  // Those within a text are none.
  EXPECT_THAT(bodyOf(callOf("count", R"({"number":1,"text":")" + repeated(R"(,[\"{)", 100'000) + "\"}")),
              HasSubstr("\"1 ,["));
}

TEST_F(Exchange, ACallIsToldWithItsToolAndOrganizationAlone) {
  reply(callOf("count", R"({"number":1,"orgName":"School"})"));
  reply(callOf("count", R"({"number":"x"})"));
  reply(callOf("count"));
  reply(callOf("unknown"));
  reply(request("tools/list"));
  using Outcome = MCPCall::Outcome;
  ASSERT_EQ(calls.size(), 4U);
  EXPECT_EQ(calls[0].tool, "count");
  EXPECT_EQ(calls[0].organization, "School");
  EXPECT_GE(calls[0].duration.count(), 0);
  EXPECT_FALSE(calls[1].organization);
  std::vector<Outcome> outcomes;
  for (const auto& call : calls) outcomes.push_back(call.outcome);
  EXPECT_THAT(outcomes, ElementsAre(Outcome::done, Outcome::failed, Outcome::refused, Outcome::refused));
}

TEST_F(Exchange, AStoppedCallIsNoAnswer) {
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(exchange.reply(callOf("stop"), stop.get_token()), platform::CancellationError);
}

// Over HTTP.

TEST_F(Exchange, OnlyPostsOfItsPathAreServed) {
  auto asked = post(request("ping"));
  EXPECT_EQ(open_.answer(asked).statusCode, 200);
  asked.path = "/mcp?session=1";
  EXPECT_EQ(open_.answer(asked).statusCode, 200);
  for (const auto* other : {"/", "/mcp/", "/MCP", "mcp", "/.well-known/oauth-protected-resource", ""}) {
    asked.path = other;
    EXPECT_EQ(open_.answer(asked).statusCode, 404) << other;
  }
  asked.path = "/mcp";
  for (const auto* method : {"GET", "DELETE", "PUT", "OPTIONS", "post", "HEAD"}) {
    asked.method = method;
    const auto answer = open_.answer(asked);
    EXPECT_EQ(answer.statusCode, 405) << method;
    EXPECT_EQ(answer.headers, (std::map<std::string, std::string>{{"Allow", "POST"}}));
  }
}

TEST_F(Exchange, ANotificationIsAcceptedWithAnEmptyBody) {
  const auto answer = open_.answer(post(R"({"jsonrpc":"2.0","method":"notifications/initialized"})"));
  EXPECT_EQ(answer.statusCode, 202);
  EXPECT_EQ(answer.body, "");
}

TEST_F(Exchange, WhatIsNoRequestIsABadRequestWithAReason) {
  for (const auto* body : {"", "nonsense", "{}", "[]"}) {
    const auto answer = open_.answer(post(body));
    EXPECT_EQ(answer.statusCode, 400) << body;
    EXPECT_THAT(answer.body, HasSubstr("\"error\""));
    EXPECT_EQ(answer.headers.at("Content-Type"), "application/json");
  }
  EXPECT_EQ(open_.answer(post(request("nonsense"))).statusCode, 200) << "a JSON-RPC error is an answer";
}

TEST_F(Exchange, HostsOfThisMachinePass) {
  auto asked = post(request("ping"));
  for (const auto* name :
       {"localhost", "localhost:8765", "LocalHost:1", "127.0.0.1", "127.0.0.1:80", "[::1]", "[::1]:80"}) {
    asked.headers = {{"host", name}};
    EXPECT_EQ(open_.answer(asked).statusCode, 200) << name;
  }
  asked.headers.clear();
  EXPECT_EQ(open_.answer(asked).statusCode, 200) << "no web page can leave it out";
}

TEST_F(Exchange, OtherHostsAreRefused) {
  auto asked = post(request("ping"));
  for (const auto* name : {"evil.example", "evil.example:8765", "localhost.evil.example", "localhost.", "",
                           ":8765", "localhost:", "localhost:x", "127.0.0.1.nip.io", "127.0.0.2", "0.0.0.0",
                           "::1", "[::1", "user@localhost", "localhost, evil.example"}) {
    asked.headers = {{"Host", name}};
    EXPECT_EQ(open_.answer(asked).statusCode, 403) << name;
  }
}

TEST_F(Exchange, WithoutTheTokenNobodyIsServed) {
  auto asked = post(request("ping"));
  const auto refused = guarded.answer(asked);
  EXPECT_EQ(refused.statusCode, 401);
  EXPECT_EQ(refused.headers, (std::map<std::string, std::string>{{"WWW-Authenticate", "Bearer"}}));
  for (const auto* value : {"", "Bearer", "Bearer ", "Bearer 0123456789abcdeF", "Bearer 0123456789abcdef0",
                            "Bearer  0123456789abcdef", "Basic 0123456789abcdef", "0123456789abcdef"}) {
    asked.headers["Authorization"] = value;
    EXPECT_EQ(guarded.answer(asked).statusCode, 401) << value;
  }
  for (const auto* value : {"Bearer 0123456789abcdef", "bearer 0123456789abcdef"}) {
    asked.headers["Authorization"] = value;
    EXPECT_EQ(guarded.answer(asked).statusCode, 200) << value;
  }
  asked.path = "/elsewhere";
  asked.headers.erase("Authorization");
  EXPECT_EQ(guarded.answer(asked).statusCode, 404) << "what clients look for elsewhere is not there";
}

TEST_F(Exchange, AProtocolVersionIsADate) {
  auto asked = post(request("ping"));
  for (const auto* version : {"2025-06-18", "2099-01-01", "0000-00-00"}) {
    asked.headers["MCP-Protocol-Version"] = version;
    EXPECT_EQ(open_.answer(asked).statusCode, 200) << version;
  }
  for (const auto* version : {"", "1", "2025-6-18", "2025-06-18 ", "2025/06/18", "20250618", "latest"}) {
    asked.headers["MCP-Protocol-Version"] = version;
    const auto answer = open_.answer(asked);
    EXPECT_EQ(answer.statusCode, 400) << version;
    EXPECT_THAT(answer.body, HasSubstr("-32600"));
  }
}

}  // namespace
}  // namespace orvik::host
