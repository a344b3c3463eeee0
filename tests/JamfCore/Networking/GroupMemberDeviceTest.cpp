#include "JamfCore/Networking/GroupMemberDevice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/JamfCore/ClientFixture.h"

namespace jamf {
namespace {

using support::answer;
using support::ScriptedServer;
using test::apiError;
using test::ClientFixture;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ClassicGroupMembers, NumbersBecomeTexts) {
  ClientFixture fixture(
      ScriptedServer::always(answer(200, R"({"computer_group":{"id":9,"is_smart":true,"computers":[
                      {"id":118,"name":"TAM-0118","mac_address":""},{"id":5000000000,"name":"Größe"}]}})")));
  EXPECT_THAT(fixture.client.classicGroupMembers("9"),
              ElementsAre(GroupMemberDevice{"118", "TAM-0118"}, GroupMemberDevice{"5000000000", "Größe"}));
  EXPECT_EQ(fixture.requests().at(0).target(), "/JSSResource/computergroups/id/9");
  EXPECT_EQ(fixture.requests().at(0).header("Accept"), "application/json");
}

TEST(ClassicGroupMembers, AnEmptyObjectStandsForNoMembers) {
  ClientFixture fixture(ScriptedServer::always(answer(200, R"({"computer_group":{"computers":{}}})")));
  EXPECT_THAT(fixture.client.classicGroupMembers("9"), IsEmpty());
}

TEST(ClassicGroupMembers, ADamagedMemberFailsWithItsPlace) {
  ClientFixture fixture(
      ScriptedServer::always(answer(200, R"({"computer_group":{"computers":[{"id":"x","name":"a"}]}})")));
  EXPECT_EQ(apiError([&] { fixture.client.classicGroupMembers("9"); }).description(),
            "Failed to decode Jamf Pro API response: computer_group.computers[0].id: not an integer");
}

TEST(ClassicGroupMembers, AnIDThatLeavesThePathIsRefusedWithoutARequest) {
  ClientFixture fixture(ScriptedServer::always(answer(200, "{}")));
  for (const auto* id : {"", ".", "..", "1/../../accounts", "1\n"})
    EXPECT_TRUE(apiError([&] { fixture.client.classicGroupMembers(id); }).as<APIError::RequestFailed>())
        << id;
  EXPECT_TRUE(fixture.requests().empty());
}

}  // namespace
}  // namespace jamf
