#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "JamfCore/Models/CreatedObject.h"
#include "JamfCore/Networking/GroupMemberDevice.h"
#include "JamfCore/Tools/JamfTool.h"
#include "Platform/JSON/Codable.h"
#include "tests/JamfCore/AdministeredServer.h"
#include "tests/JamfCore/LocalDatabase.h"

namespace jamf {
namespace {

namespace json = platform::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

/// The tools of the catalog on a sample server.
class ToolsOnServer : public test::LocalDatabase {
 protected:
  ToolsOnServer() {
    manager.addOrganization("School", site.server.url(), site.server.clientID(),
                            secret(site.server.clientSecret()));
  }

  /// What a tool gives; its failure's text instead.
  std::string run(const std::string& name, const std::string& arguments = "{}") {
    auto given = *JSONValue::decode(json::Document::parse(arguments)->root()).objectValue();
    given.emplace("orgName", JSONValue::string("School"));
    const auto native = std::get<AnyValue::Map>(JSONValue::object(given).anyValue().value);
    for (const auto* catalog : {&JamfToolCatalog::readOnlyTools(), &JamfToolCatalog::writeTools()})
      for (const auto& tool : *catalog)
        if (tool.name == name) {
          try {
            return tool.handler(manager, native, {});
          } catch (const tuv::Error& error) {
            return "failed: " + error.description();
          }
        }
    return "no such tool";
  }
  /// A member of a result, as text.
  static std::string at(const std::string& result, std::initializer_list<std::string_view> path) {
    const auto document = json::Document::parse(result);
    std::optional<json::View> view = document->root();
    for (const auto key : path)
      if (view) view = (*view)[key];
    if (!view) return "(none)";
    return view->string() ? std::string(*view->string()) : view->serialized();
  }
  std::string idOf(const std::string& result) { return at(result, {"id"}); }
  static std::string idArgument(const std::string& id, const std::string& more = {}) {
    return R"({"id":")" + id + "\"" + more + "}";
  }
  std::vector<std::string> asked() {
    std::vector<std::string> found;
    for (const auto& request : site.server.log().entries())
      if (request.path != "api/oauth/token") found.push_back(request.method + " " + request.path);
    return found;
  }

  test::AdministeredServer site;
  OrgManager manager{open(), keychain};
};

TEST_F(ToolsOnServer, AnIDOrNameOfDigitsAsksByIDAndAnyOtherByName) {
  for (const auto& [tool, where] :
       {std::pair{"get_policy", "JSSResource/policies"},
        std::pair{"get_configuration_profile", "JSSResource/osxconfigurationprofiles"}}) {
    const std::string start = std::string("GET ") + where;
    site.server.log().clear();
    run(tool, R"({"idOrName":"12"})");
    EXPECT_THAT(asked(), ElementsAre(start + "/id/12"));
    site.server.log().clear();
    run(tool, R"({"idOrName":"12a"})");
    EXPECT_THAT(asked(), ElementsAre(start + "/name/12a"));
  }
}

TEST_F(ToolsOnServer, ANumberForATextCountsAsMissing) {
  site.server.log().clear();
  EXPECT_EQ(run("get_device", R"({"id":5})"), "failed: Missing required argument \"id\".");
  EXPECT_EQ(run("get_script", R"({"id":null})"), "failed: Missing required argument \"id\".");
  EXPECT_EQ(run("get_script", R"({"id":""})"), "failed: Missing required argument \"id\".");
  EXPECT_EQ(site.server.log().total(), 0U);
}

TEST_F(ToolsOnServer, AnEmptyFilterCountsAsAbsent) {
  const auto all = run("list_categories");
  EXPECT_EQ(run("list_categories", R"({"nameFilter":""})"), all);
  EXPECT_EQ(run("list_categories", R"({"nameFilter":"no such category"})"), "[\n\n]");
  EXPECT_EQ(run("list_policies", R"({"category":""})"), run("list_policies"));
}

TEST_F(ToolsOnServer, AFilterWithQuotesFindsTheNameAsItIs) {
  ASSERT_THAT(run("create_category", R"({"name":"The \"best\" one"})"), HasSubstr("best"));
  EXPECT_THAT(run("list_categories", R"({"nameFilter":"The \"best\" one"})"), HasSubstr("best"));
  EXPECT_EQ(run("list_categories", R"({"nameFilter":"The \"best\""})"), "[\n\n]");
}

TEST_F(ToolsOnServer, UpdatingAStaticGroupWithoutAssignmentsEmptiesIt) {
  const auto made = run("create_static_group", R"({"name":"Lab","assignments":"[\"1\",\"2\"]"})");
  const auto id = idOf(made);
  EXPECT_EQ(site.client->classicGroupMembers(id).size(), 2U);
  run("update_static_group", idArgument(id, R"(,"name":"Lab 2")"));
  EXPECT_THAT(run("get_static_group", idArgument(id)), HasSubstr("Lab 2"));
  EXPECT_THAT(site.client->classicGroupMembers(id), IsEmpty());
}

TEST_F(ToolsOnServer, UpdatingASmartGroupWithoutCriteriaClearsThem) {
  const auto made = run(
      "create_smart_group",
      R"({"name":"Old","criteria":"[{\"name\":\"Computer Name\",\"priority\":0,\"andOr\":\"and\",\"searchType\":\"like\",\"value\":\"a\",\"openingParen\":false,\"closingParen\":false}]"})");
  const auto id = idOf(made);
  EXPECT_THAT(run("get_smart_group", idArgument(id)), HasSubstr("\"Computer Name\""));
  run("update_smart_group", idArgument(id, R"(,"name":"Old")"));
  EXPECT_EQ(at(run("get_smart_group", idArgument(id)), {"criteria"}), "[]");
  EXPECT_THAT(run("get_smart_group_membership", idArgument(id)), HasSubstr("computerIds"));
  EXPECT_THAT(run("delete_smart_group", idArgument(id)), HasSubstr("deleted"));
}

TEST_F(ToolsOnServer, AnUpdateKeepsWhatItIsNotTold) {
  const auto script = idOf(
      run("create_script",
          R"({"name":"S","scriptContents":"#!/bin/sh\n","notes":"n","priority":"AFTER","categoryName":""})"));
  const auto updated = run("update_script", idArgument(script, R"(,"name":"T")"));
  EXPECT_EQ(at(updated, {"scriptContents"}), "#!/bin/sh\n");
  EXPECT_EQ(at(updated, {"notes"}), "n");
  EXPECT_EQ(at(updated, {"priority"}), "AFTER");
  EXPECT_EQ(at(updated, {"name"}), "T");

  const auto attribute = idOf(run(
      "create_extension_attribute",
      R"({"name":"E","description":"d","dataType":"nonsense","inputType":"POPUP","popupMenuChoices":"[\"a\",\"b\"]"})"));
  const auto changed = run("update_extension_attribute", idArgument(attribute, R"(,"enabled":"false")"));
  EXPECT_EQ(at(changed, {"description"}), "d");
  EXPECT_EQ(at(changed, {"dataType"}), "STRING");
  EXPECT_EQ(at(changed, {"enabled"}), "false");
  EXPECT_THAT(at(changed, {"popupMenuChoices"}), HasSubstr("\"b\""));

  const auto package =
      idOf(run("create_package",
               R"({"packageName":"P","fileName":"p.pkg","categoryId":"-1","priority":"10","notes":"n"})"));
  const auto repacked = run("update_package", idArgument(package, R"(,"info":"i","priority":"11")"));
  EXPECT_EQ(at(repacked, {"notes"}), "n");
  EXPECT_EQ(at(repacked, {"info"}), "i");
  EXPECT_EQ(at(repacked, {"priority"}), "11");
  EXPECT_EQ(at(repacked, {"fileName"}), "p.pkg");
}

TEST_F(ToolsOnServer, AnUnknownPriorityOfAScriptIsNone) {
  const auto made = run("create_script", R"({"name":"S","scriptContents":"x","priority":"SOMETIMES"})");
  EXPECT_THAT(at(made, {"priority"}), testing::AnyOf("(none)", "AFTER")) << "the server's default at most";
}

TEST_F(ToolsOnServer, APolicyIsMadeChangedAndDeleted) {
  const auto id = idOf(run(
      "create_policy",
      R"({"name":"P","enabled":true,"categoryName":"New one","triggerLogin":"true","scope":"{\"computerIds\":[1]}"})"));
  auto policy = run("get_policy", R"({"idOrName":"P"})");
  EXPECT_THAT(policy, AllOf(HasSubstr("\"New one\""), HasSubstr("\"enabled\" : true")));
  EXPECT_THAT(run("list_categories", R"({"nameFilter":"New one"})"), HasSubstr("New one"));
  EXPECT_THAT(run("list_policies", R"({"category":"New one"})"), HasSubstr("\"P\""));
  run("update_policy", idArgument(id, R"(,"name":"Q")"));
  EXPECT_THAT(run("get_policy", R"({"idOrName":")" + id + "\"}"), HasSubstr("\"enabled\" : false"));
  EXPECT_THAT(run("delete_policy", R"({"id":12})"),
              HasSubstr("Missing or invalid required integer argument \"id\"."));
  EXPECT_THAT(run("delete_policy", idArgument(id)), HasSubstr("\"" + id + "\""));
  EXPECT_THAT(run("get_policy", R"({"idOrName":")" + id + "\"}"), HasSubstr("404"));
}

TEST_F(ToolsOnServer, AProfileIsMadeChangedAndDeleted) {
  const auto id =
      idOf(run("create_configuration_profile",
               R"({"name":"C","payloads":"<plist/>","level":"Computer Level","userRemovable":true})"));
  EXPECT_THAT(run("get_configuration_profile", R"({"idOrName":"C"})"), HasSubstr("\"C\""));
  run("update_configuration_profile", idArgument(id, R"(,"name":"D","payloads":"<plist/>")"));
  EXPECT_THAT(run("get_configuration_profile", R"({"idOrName":")" + id + "\"}"), HasSubstr("\"D\""));
  EXPECT_THAT(run("delete_configuration_profile", idArgument(id)), HasSubstr("deleted"));
}

TEST_F(ToolsOnServer, ADeviceIsChangedAndDeleted) {
  site.server.log().clear();
  const auto device = run("update_device", idArgument("1", R"(,"name":"Front desk")"));
  EXPECT_THAT(device, HasSubstr("Front desk"));
  EXPECT_THAT(asked(), testing::Contains("PATCH api/v4/computers-inventory-detail/1"));
  EXPECT_THAT(run("delete_device", idArgument("1")), HasSubstr("deleted"));
  EXPECT_THAT(run("get_device", idArgument("1")), HasSubstr("404"));
}

TEST_F(ToolsOnServer, ABrokenDocumentStopsAToolBeforeAnyRequest) {
  site.server.log().clear();
  for (const auto& [tool, key] :
       {std::pair{"create_smart_group", "criteria"}, std::pair{"update_smart_group", "criteria"},
        std::pair{"create_static_group", "assignments"}, std::pair{"update_static_group", "assignments"},
        std::pair{"create_policy", "scope"}, std::pair{"create_configuration_profile", "scope"},
        std::pair{"create_extension_attribute", "popupMenuChoices"}})
    EXPECT_THAT(
        run(tool,
            R"({"id":"1","name":"X","categoryName":"Y","payloads":"z","dataType":"STRING","inputType":"TEXT",")" +
                std::string(key) + R"(":"["})"),
        StartsWith("failed: Argument \"" + std::string(key) + "\" isn't valid JSON for the expected shape: "))
        << tool;
  EXPECT_THAT(asked(), IsEmpty());
}

TEST_F(ToolsOnServer, APackageGetsItsBinary) {
  const auto file = home / "App.pkg";
  platform::files::atomicWrite("binary", file);
  const auto id = idOf(run("create_package",
                           R"({"packageName":"App","fileName":"App.pkg","categoryId":"-1","priority":"9"})"));
  EXPECT_EQ(idOf(run("upload_package", idArgument(id, R"(,"fileURL":")" + file.string() + "\""))), id);
  EXPECT_THAT(run("delete_package", idArgument(id)), HasSubstr("deleted"));
}

TEST_F(ToolsOnServer, PatchTitlesAreReadWithTheirReports) {
  const auto titles = json::Document::parse(run("list_patch_titles"));
  ASSERT_FALSE(titles->root().elements().empty());
  const auto id = std::string(*(*titles->root().elements().begin())["id"]->string());
  EXPECT_EQ(idOf(run("get_patch_title", idArgument(id))), id);
  EXPECT_THAT(run("get_patch_summary", idArgument(id)), HasSubstr("upToDate"));
  EXPECT_THAT(run("get_patch_report", idArgument(id)), HasSubstr("computerName"));
}

TEST_F(ToolsOnServer, NoResultHoldsACredential) {
  EXPECT_THAT(run("list_organizations"),
              AllOf(HasSubstr("\"baseURL\""), Not(HasSubstr(site.server.clientID())),
                    Not(HasSubstr(site.server.clientSecret()))));
}

}  // namespace
}  // namespace jamf
