#include "JamfCore/Tools/MCP/MCPRequestHandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "JamfCore/Models/CreatedObject.h"
#include "tests/JamfCore/AdministeredServer.h"
#include "tests/JamfCore/LocalDatabase.h"

namespace jamf {
namespace {

namespace json = platform::json;
using testing::HasSubstr;
using testing::StartsWith;

/// A handler of a few tools of the test's own, or of the catalog.
class MCP : public test::LocalDatabase {
 protected:
  std::string answer(const std::string& request) { return answerOf({echo, pair, broken, binary}, request); }
  std::string answerOf(const std::vector<JamfTool>& tools, const std::string& request) {
    const MCPRequestHandler handler(tools, manager);
    return handler.handle(json::Decoder().decode<JSONRPCRequest>(request)).value_or("nothing");
  }
  std::string call(const std::string& params, const std::string& id = "1") {
    return answer(R"({"jsonrpc":"2.0","id":)" + id + R"(,"method":"tools/call","params":)" + params + "}");
  }

  OrgManager manager{open(), keychain};
  std::atomic<int> calls = 0;
  const JamfTool echo{
      "echo", "Says \"how many\"", {}, [this](OrgManager&, const auto& arguments, const auto&) {
        ++calls;
        return std::to_string(arguments.size());
      }};
  const JamfTool pair{"pair",
                      "Two",
                      {{"a", "A", ParameterType::string, true},
                       {"c", "C", ParameterType::boolean, false},
                       {"b", "B", ParameterType::integer, true}},
                      [this](OrgManager&, const auto&, const auto&) {
                        ++calls;
                        return std::string("{}");
                      }};
  const JamfTool broken{"broken", "", {}, [](OrgManager&, const auto&, const auto&) -> platform::Bytes {
                          throw APIError::requestFailed(422, "in use");
                        }};
  const JamfTool binary{
      "binary", "", {}, [](OrgManager&, const auto&, const auto&) { return std::string("\xff"); }};
};

TEST_F(MCP, InitializeEchoesTheVersionThatIsAskedFor) {
  const auto versionIn = [&](const std::string& params) {
    const auto text = answer(R"({"jsonrpc":"2.0","id":1,"method":"initialize")" + params + "}");
    const auto document = json::Document::parse(text);
    return std::string(*(*document->root()["result"])["protocolVersion"]->string());
  };
  EXPECT_EQ(versionIn(R"(,"params":{"protocolVersion":"1999-01-01"})"), "1999-01-01");
  EXPECT_EQ(versionIn(R"(,"params":{"protocolVersion":5})"), "2025-06-18");
  EXPECT_EQ(versionIn(R"(,"params":[])"), "2025-06-18");
  EXPECT_EQ(versionIn(""), "2025-06-18");
  EXPECT_EQ(
      answer(R"({"jsonrpc":"2.0","id":"a","method":"initialize"})"),
      R"({"id":"a","jsonrpc":"2.0","result":{"capabilities":{"tools":{}},"protocolVersion":"2025-06-18",)"
      R"("serverInfo":{"name":"Kelm","version":"0.1.0"}}})");
}

TEST_F(MCP, ANotificationIsNeverLookedAt) {
  for (const auto* method : {"initialize", "tools/call", "ping", "nonsense"})
    EXPECT_EQ(
        answer(R"({"jsonrpc":"2.0","method":")" + std::string(method) + R"(","params":{"name":"echo"}})"),
        "nothing");
  EXPECT_EQ(calls, 0);
}

TEST_F(MCP, AnIDOfAnyTypeComesBack) {
  for (const auto* id : {"7", "\"x\"", "[1,null]", R"({"a":true})", "-1.5", "false"})
    EXPECT_THAT(call(R"({"name":"echo"})", id), StartsWith(R"({"id":)" + std::string(id) + ","));
  EXPECT_THAT(call(R"({"name":"echo"})", "9007199254740993"), StartsWith(R"({"id":9007199254740992,)"));
}

TEST_F(MCP, AnUnknownMethodIsToldByItsName) {
  for (const auto* method : {"ping", "Initialize", "tools/list ", "server/discover"})
    EXPECT_EQ(answer(R"({"jsonrpc":"2.0","id":1,"method":")" + std::string(method) + "\"}"),
              R"({"error":{"code":-32601,"message":"Method not found: )" + std::string(method) +
                  R"("},"id":1,"jsonrpc":"2.0"})");
}

TEST_F(MCP, ToolsAreListedWithTheirSchemas) {
  EXPECT_EQ(answerOf({}, R"({"jsonrpc":"2.0","id":1,"method":"tools/list"})"),
            R"({"id":1,"jsonrpc":"2.0","result":{"tools":[]}})");
  EXPECT_EQ(
      answerOf({echo, pair}, R"({"jsonrpc":"2.0","id":1,"method":"tools/list"})"),
      R"({"id":1,"jsonrpc":"2.0","result":{"tools":[{"description":"Says \"how many\"","inputSchema":)"
      R"({"properties":{},"required":[],"type":"object"},"name":"echo"},{"description":"Two","inputSchema":)"
      R"({"properties":{"a":{"description":"A","type":"string"},"b":{"description":"B","type":"integer"},)"
      R"("c":{"description":"C","type":"boolean"}},"required":["a","b"],"type":"object"},"name":"pair"}]}})");
}

TEST_F(MCP, ACallNeedsTheNameOfAKnownTool) {
  const std::string nameless =
      R"({"error":{"code":-32602,"message":"Invalid params: \"name\" is required"},"id":1,"jsonrpc":"2.0"})";
  for (const auto* params : {"null", "[]", "{}", R"({"name":5})", "\"echo\""})
    EXPECT_EQ(call(params), nameless);
  EXPECT_EQ(call(R"({"name":"ECHO"})"),
            R"({"error":{"code":-32602,"message":"Unknown tool: ECHO"},"id":1,"jsonrpc":"2.0"})");
  EXPECT_EQ(answerOf({}, R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":""}})"),
            R"({"error":{"code":-32602,"message":"Unknown tool: "},"id":1,"jsonrpc":"2.0"})");
}

TEST_F(MCP, ArgumentsThatAreNoObjectAreNone) {
  for (const auto* arguments : {"\"text\"", "[1]", "5", "null"}) {
    EXPECT_EQ(
        call(R"({"name":"echo","arguments":)" + std::string(arguments) + "}"),
        R"({"id":1,"jsonrpc":"2.0","result":{"content":[{"text":"0","type":"text"}],"isError":false}})");
    EXPECT_THAT(call(R"({"name":"pair","arguments":)" + std::string(arguments) + "}"),
                HasSubstr("(s): a, b"));
  }
  EXPECT_THAT(call(R"({"name":"echo","arguments":{"x":null,"y":1}})"), HasSubstr(R"("text":"2")"));
}

TEST_F(MCP, AMissingRequiredArgumentStopsTheToolAndANullDoesNot) {
  EXPECT_EQ(
      call(R"({"name":"pair","arguments":{"c":true}})"),
      R"({"error":{"code":-32602,"message":"Missing required argument(s): a, b"},"id":1,"jsonrpc":"2.0"})");
  EXPECT_EQ(calls, 0);
  EXPECT_THAT(call(R"({"name":"pair","arguments":{"a":null,"b":[]}})"), HasSubstr(R"("isError":false)"));
  EXPECT_EQ(calls, 1);
}

TEST_F(MCP, AFailureOfAToolIsAResult) {
  EXPECT_EQ(
      call(R"({"name":"broken"})"),
      R"({"id":1,"jsonrpc":"2.0","result":{"content":[{"text":"Jamf Pro API request failed (422): in use",)"
      R"("type":"text"}],"isError":true}})");
}

TEST_F(MCP, OutputThatIsNoUTF8IsAnEmptyText) {
  EXPECT_EQ(call(R"({"name":"binary"})"),
            R"({"id":1,"jsonrpc":"2.0","result":{"content":[{"text":"","type":"text"}],"isError":false}})");
}

TEST_F(MCP, AnAnswerThatCannotBeEncodedIsTheFixedBody) {
  const JamfTool wordless{"wordless", "", {}, [](OrgManager&, const auto&, const auto&) -> platform::Bytes {
                            throw JamfToolError("\xff");
                          }};
  EXPECT_EQ(
      answerOf({wordless}, R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"wordless"}})"),
      R"({"jsonrpc":"2.0","error":{"code":-32603,"message":"Internal error encoding response"}})");
  const MCPRequestHandler handler({}, manager);
  EXPECT_EQ(
      handler.handle({.jsonrpc = "2.0", .id = JSONValue::number(1), .method = "\xff", .params = {}}),
      R"({"jsonrpc":"2.0","error":{"code":-32603,"message":"Internal error encoding error response"}})");
}

TEST_F(MCP, ToolsOfTheCatalogReachTheirServer) {
  test::AdministeredServer site;
  manager.addOrganization("School", site.server.url(), site.server.clientID(),
                          secret(site.server.clientSecret()));
  const auto run = [&](const std::string& name, const std::string& arguments) {
    auto tools = JamfToolCatalog::readOnlyTools();
    const auto& writes = JamfToolCatalog::writeTools();
    tools.insert(tools.end(), writes.begin(), writes.end());
    const auto text = answerOf(tools, R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":")" +
                                          name + R"(","arguments":)" + arguments + "}}");
    const auto document = json::Document::parse(text);
    const auto result = document->root()["result"];
    if (!result) return text;
    return std::string(*(*(*result)["content"]->elements().begin())["text"]->string());
  };
  EXPECT_THAT(run("list_organizations", "{}"), HasSubstr(R"("name" : "School")"));
  EXPECT_EQ(run("list_scripts", R"({"orgName":""})"), "Missing required argument \"orgName\".");
  EXPECT_EQ(run("list_scripts", R"({"orgName":"school"})"),
            "No organization named \"school\". Configured organizations: School.");
  const std::string org = R"("orgName":"School")";
  for (const auto& tool : JamfToolCatalog::readOnlyTools()) {
    const bool isList = tool.name.starts_with("list_");
    const auto text =
        run(tool.name, isList ? "{" + org + "}" : "{" + org + R"(,"id":"999999","idOrName":"None such"})");
    if (isList) {
      EXPECT_THAT(text, testing::AnyOf(StartsWith("["), StartsWith("{"))) << tool.name;
    } else {
      EXPECT_THAT(text, StartsWith("Jamf Pro API request failed (404)")) << tool.name;
    }
  }
  EXPECT_THAT(run("create_script", "{" + org + R"(,"name":"S","scriptContents":"x","priority":"AFTER"})"),
              HasSubstr(R"("scriptContents" : "x")"));
  const auto scripts = run("list_scripts", "{" + org + R"(,"nameFilter":"S"})");
  const auto id = json::Decoder().decode<std::vector<CreatedObject>>(scripts).at(0).id;
  EXPECT_THAT(run("update_script", "{" + org + R"(,"id":")" + id + R"(","name":"T"})"),
              HasSubstr(R"("scriptContents" : "x")"));
  EXPECT_EQ(run("delete_script", "{" + org + R"(,"id":")" + id + R"("})"),
            "{\n  \"id\" : \"" + id + "\",\n  \"status\" : \"deleted\"\n}");
  EXPECT_THAT(run("create_smart_group", "{" + org + R"(,"name":"G","criteria":"["})"),
              StartsWith("Argument \"criteria\" isn't valid JSON for the expected shape: "));
  const auto policy =
      run("create_policy",
          "{" + org + R"(,"name":"P","categoryName":"Fresh","scope":"{\"allComputers\":true}"})");
  const auto policyID = json::Decoder().decode<CreatedObject>(policy).id;
  EXPECT_THAT(run("get_policy", "{" + org + R"(,"idOrName":")" + policyID + R"("})"),
              HasSubstr(R"("name" : "Fresh")"));
  EXPECT_EQ(run("delete_policy", "{" + org + R"(,"id":)" + policyID + "}"),
            "Missing or invalid required integer argument \"id\".");
  EXPECT_THAT(run("delete_policy", "{" + org + R"(,"id":")" + policyID + R"("})"), HasSubstr("deleted"));
  EXPECT_THAT(run("create_category", "{" + org + R"(,"name":"C"})"), HasSubstr(R"("priority" : 9)"));
  site.server.log().clear();
  EXPECT_EQ(run("upload_package", "{" + org + R"(,"id":"1","fileURL":"/no/such.pkg"})"),
            "No file exists at \"/no/such.pkg\" on this Mac.");
  EXPECT_EQ(site.server.log().total(), 0U);
}

TEST_F(MCP, ManyCallsAtOnceAreEachAnswered) {
  const MCPRequestHandler handler({echo, pair}, manager);
  std::vector<std::jthread> threads;
  std::atomic<int> right = 0;
  for (int thread = 0; thread < 8; ++thread)
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 50; ++i) {
        const auto id = std::to_string(thread * 1000 + i);
        const auto request = json::Decoder().decode<JSONRPCRequest>(
            R"({"jsonrpc":"2.0","id":)" + id + R"(,"method":"tools/call","params":{"name":"echo"}})");
        if (handler.handle(request)->starts_with(R"({"id":)" + id + ",")) ++right;
      }
    });
  threads.clear();
  EXPECT_EQ(right, 400);
  EXPECT_EQ(calls, 400);
}

}  // namespace
}  // namespace jamf
