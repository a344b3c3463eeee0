#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "JamfCore/Services/ConfigurationProfileService.h"
#include "JamfCore/Services/PolicyService.h"
#include "tests/JamfCore/Services/ServiceFixture.h"

namespace jamf {
namespace {

using support::answer;
using support::ScriptedServer;
using test::apiError;
using test::routes;
using test::ServiceFixture;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string policy =
    R"({"policy":{"general":{"id":42,"name":"Pages","enabled":true,"trigger_checkin":false,
        "trigger_enrollment_complete":false,"trigger_login":false,"trigger_network_state_changed":false,
        "trigger_startup":false,"frequency":"Ongoing"},"scripts":[]}})";

TEST(ClassicServices, ListsAreReadAndAnEmptyObjectIsAnEmptyList) {
  ServiceFixture fixture(
      routes({{"GET", "/JSSResource/policies", answer(200, R"({"policies":[{"id":1,"name":"a"}]})")},
              {"GET", "/JSSResource/policies/category/R&D%2FLab", answer(200, R"({"policies":{}})")},
              {"GET", "/JSSResource/osxconfigurationprofiles",
               answer(200, R"({"os_x_configuration_profiles":{"size":0}})")}}));
  const PolicyService policies{fixture.shared()};
  EXPECT_THAT(policies.list(), ElementsAre(PolicySummary{1, "a"}));
  EXPECT_THAT(policies.list("R&D/Lab"), IsEmpty());
  EXPECT_THAT(ConfigurationProfileService{fixture.shared()}.list(), IsEmpty());
}

TEST(ClassicServices, AnObjectIsReadByIDAndByNameWithASlash) {
  const std::string profile = R"({"os_x_configuration_profile":{"general":{"id":31,"name":"Wi-Fi"}}})";
  ServiceFixture fixture(
      routes({{"GET", "/JSSResource/policies/id/42", answer(200, policy)},
              {"GET", "/JSSResource/policies/name/a%2Fb%20%25%3F", answer(200, policy)},
              {"GET", "/JSSResource/osxconfigurationprofiles/id/31", answer(200, profile)},
              {"GET", "/JSSResource/osxconfigurationprofiles/name/Wi-Fi", answer(200, profile)}}));
  const PolicyService policies{fixture.shared()};
  const ConfigurationProfileService profiles{fixture.shared()};
  EXPECT_EQ(policies.get(42).general.name, "Pages");
  EXPECT_EQ(policies.get("a/b %?").general.id, 42);
  EXPECT_EQ(profiles.get(31).general.name, "Wi-Fi");
  EXPECT_EQ(profiles.get("Wi-Fi").general.id, 31);
}

TEST(ClassicServices, ANewObjectIsAskedForWithTheIDZero) {
  ServiceFixture fixture(
      routes({{"POST", "/JSSResource/policies/id/0",
               answer(201, R"(<?xml version="1.0" encoding="UTF-8"?><policy><id>42</id></policy>)")},
              {"POST", "/JSSResource/osxconfigurationprofiles/id/0",
               answer(201, "<os_x_configuration_profile><id>31</id></os_x_configuration_profile>")}}));
  PolicyGeneralWrite general;
  general.name = "A&B";
  EXPECT_EQ(PolicyService{fixture.shared()}.create(general, {}), 42);
  ConfigurationProfileGeneralWrite profile;
  profile.name = "P";
  EXPECT_EQ(ConfigurationProfileService{fixture.shared()}.create(profile, ClassicAPIScopeWrite{}), 31);
  const auto requests = fixture.requests();
  EXPECT_EQ(requests.at(0).body, general.xmlData({}));
  EXPECT_EQ(requests[0].header("Content-Type"), "application/xml");
  EXPECT_EQ(requests.at(1).body, profile.xmlData(ClassicAPIScopeWrite{}));
}

TEST(ClassicServices, ACreationWithoutAnIDInItsAnswerFailsWithTheMessageOfItsKind) {
  for (const auto* body :
       {"", "<policy></policy>", "<policy><id></id></policy>", "{\"id\":1}", "<id>x</id>"}) {
    ServiceFixture fixture(ScriptedServer::always(answer(201, body)));
    EXPECT_EQ(apiError([&] { PolicyService{fixture.shared()}.create({}, {}); }).description(),
              "Failed to decode Jamf Pro API response: Could not find <id> in policy create response")
        << body;
    EXPECT_EQ(apiError([&] { ConfigurationProfileService{fixture.shared()}.create({}, {}); }).description(),
              "Failed to decode Jamf Pro API response: "
              "Could not find <id> in configuration profile create response")
        << body;
  }
}

TEST(ClassicServices, AnUpdateReplacesTheGeneralSettingsAndTheScopeThatIsGiven) {
  ServiceFixture fixture(ScriptedServer::always(answer(201, "<policy><id>42</id></policy>")));
  const PolicyService policies{fixture.shared()};
  PolicyGeneralWrite general;
  general.name = "P";
  policies.updateGeneral(42, general, {});
  policies.updateGeneral(42, general, ClassicAPIScopeWrite{.allComputers = true});
  policies.delete_(42);
  ConfigurationProfileService{fixture.shared()}.updateGeneral(5'000'000'000, {}, {});
  EXPECT_THAT(fixture.asked(),
              ElementsAre("PUT /JSSResource/policies/id/42", "PUT /JSSResource/policies/id/42",
                          "DELETE /JSSResource/policies/id/42",
                          "PUT /JSSResource/osxconfigurationprofiles/id/5000000000"));
  EXPECT_EQ(fixture.requests()[0].body.find("<scope>"), std::string::npos);
  EXPECT_NE(fixture.requests()[1].body.find("<all_computers>true</all_computers>"), std::string::npos);
}

TEST(ClassicServices, TheServersPageOfAConflictIsInTheFailure) {
  ServiceFixture fixture(ScriptedServer::always(answer(409, "<p>Error: Duplicate name</p>")));
  EXPECT_EQ(apiError([&] { PolicyService{fixture.shared()}.create({}, {}); }).description(),
            "Jamf Pro API request failed (409): <p>Error: Duplicate name</p>");
}

TEST(ClassicServices, ANameThatIsNoneIsRefusedWithoutARequest) {
  ServiceFixture fixture(ScriptedServer::always(answer(200, policy)));
  for (const std::string name : {"", ".", ".."})
    EXPECT_EQ(apiError([&] { PolicyService{fixture.shared()}.get(name); }).description(),
              "Jamf Pro API request failed (400): \"" + name + "\" is not the name of an object.");
  EXPECT_THAT(fixture.asked(), IsEmpty());
}

}  // namespace
}  // namespace jamf
