#include "tests/SampleServer/Writing.h"

namespace sample {
namespace {

constexpr const char* smart = "api/v3/computer-groups/smart-groups";
constexpr const char* fixed = "api/v3/computer-groups/static-groups";
constexpr const char* lab =
    R"({"name":"Lab","description":"Raum 3","criteria":[{"name":"Building","priority":0,"andOr":"and","searchType":"is","value":"Aula","openingParen":true},{"name":"Model","priority":1,"andOr":"or","searchType":"like","value":"\"Air\"","closingParen":true}]})";

class SampleComputerGroups : public Writing {
 protected:
  static std::string at(std::string path, std::string_view id) { return (path += '/') += id; }
  /// The members in the Classic record.
  std::vector<std::int64_t> members(const std::string& id) {
    std::vector<std::int64_t> found;
    const Value record = get("JSSResource/computergroups/id/" + id);
    for (const Value& one : *record.find("computer_group")->find("computers")->array_())
      found.push_back(*one.find("id")->integer());
    return found;
  }
};

TEST_F(SampleComputerGroups, ASmartGroupComesBackAsItWasSent) {
  const std::string id = create(smart, lab);
  const Value group = get(at(smart, id));
  EXPECT_FALSE(group.find("id"));
  EXPECT_EQ(*group.find("name"), Value("Lab"));
  EXPECT_EQ(*group.find("description"), Value("Raum 3"));
  EXPECT_EQ(*group.find("siteId"), Value("-1"));
  const Value& second = group.find("criteria")->array_()->at(1);
  EXPECT_EQ(
      second.text(),
      R"({"name":"Model","priority":1,"andOr":"or","searchType":"like","value":"\"Air\"","openingParen":false,"closingParen":true})");
  const Value classic = get("JSSResource/computergroups/id/" + id);
  const Value& shown = *classic.find("computer_group");
  EXPECT_EQ(*shown.find("is_smart"), Value(true));
  EXPECT_EQ(*shown.find("criteria")->array_()->at(1).find("and_or"), Value("or"));
  EXPECT_EQ(shown.find("computers")->array_()->size(), 0U);
}

TEST_F(SampleComputerGroups, APutIsAnsweredWith202AndReplacesAll) {
  const std::string id = create(smart, lab);
  const Received put = client_.write("PUT", at(smart, id), R"({"name":"Labor"})");
  EXPECT_EQ(put.status, 202);
  EXPECT_EQ(valueOf(put), get(at(smart, id)));
  EXPECT_EQ(*valueOf(put).find("description"), Value(""));
  EXPECT_EQ(valueOf(put).find("criteria")->array_()->size(), 0U);
  EXPECT_EQ(client_.write("DELETE", at(smart, id)).status, 204);
  EXPECT_EQ(client_.get(at(smart, id)).status, 404);
}

TEST_F(SampleComputerGroups, ListsAndRecordsShowOneKindAlone) {
  const Value smartOnes = get(std::string(smart) + "?page-size=500");
  const Value fixedOnes = get(std::string(fixed) + "?page-size=500");
  EXPECT_EQ(*smartOnes.find("totalCount")->integer() + *fixedOnes.find("totalCount")->integer(),
            static_cast<std::int64_t>(server_.ids("computerGroups").size()));
  const Value& group = smartOnes.find("results")->array_()->front();
  const std::string id = *group.find("id")->string();
  EXPECT_EQ(client_.get(at(smart, id)).status, 200);
  EXPECT_EQ(client_.get(at(fixed, id)).status, 404);
  EXPECT_EQ(client_.write("DELETE", at(fixed, id)).status, 404);
  EXPECT_EQ(*group.find("membershipCount")->integer(), static_cast<std::int64_t>(members(id).size()));
  const Value membership = get("api/v3/computer-groups/smart-group-membership/" + id);
  EXPECT_EQ(membership.find("members")->array_()->size(), members(id).size());
  const std::string other = *fixedOnes.find("results")->array_()->front().find("id")->string();
  EXPECT_EQ(client_.get("api/v3/computer-groups/smart-group-membership/" + other).status, 404);
  EXPECT_EQ(client_.get("api/v3/computer-groups/smart-group-membership/999").status, 404);
}

TEST_F(SampleComputerGroups, ASmartGroupKeepsItsMembers) {
  for (const std::string& id : names(std::string(smart) + "?page-size=500", "id")) {
    const auto before = members(id);
    if (before.empty()) continue;
    Value group = get(at(smart, id));
    ASSERT_EQ(client_.write("PUT", at(smart, id), group.text()).status, 202);
    EXPECT_EQ(members(id), before);
    return;
  }
  FAIL() << "no smart group has members";
}

TEST_F(SampleComputerGroups, TheAssignmentsOfAStaticGroupBecomeItsMembers) {
  const std::string id = create(fixed, R"({"name":"Kiosks","siteId":"1","assignments":["3","12","3"]})");
  EXPECT_EQ(members(id).size(), 2U);
  const Value record = get("JSSResource/computergroups/id/" + id);
  const Value& member = record.find("computer_group")->find("computers")->array_()->front();
  const Value computer =
      get("api/v1/computers-inventory-detail/" + std::to_string(*member.find("id")->integer()));
  EXPECT_EQ(*member.find("serial_number"), *computer.find("hardware")->find("serialNumber"));
  EXPECT_EQ(get(at(fixed, id)).text(),
            R"({"id":")" + id + R"(","name":"Kiosks","description":"","siteId":"1"})");
  EXPECT_EQ(client_.write("PUT", at(fixed, id), R"({"name":"Kiosks","assignments":[]})").status, 202);
  EXPECT_EQ(members(id).size(), 0U);
}

TEST_F(SampleComputerGroups, AStaticWriteWithoutAssignmentsIsAFaultOfTheServer) {
  const Received answer = client_.write("POST", fixed, R"({"name":"Kiosks"})");
  EXPECT_EQ(answer.status, 500);
  EXPECT_NE(answer.body.find(R"("errors":[])"), std::string::npos);
}

TEST_F(SampleComputerGroups, AnUnknownComputerIsNoMember) {
  for (const char* bad : {"999", "10", "0", "x", "", "99999999999999999999999"}) {
    expectRefused(
        client_.write("POST", fixed, std::string(R"({"name":"K","assignments":["1",")") + bad + "\"]}"), 400,
        "INVALID_DEVICE", "assignments");
  }
  expectRefused(client_.write("POST", fixed, R"({"name":"K","assignments":[1]})"), 400, "INVALID_FIELD",
                "assignments");
}

TEST_F(SampleComputerGroups, BadCriteriaAreRefused) {
  for (const char* bad : {"{}", "\"[]\"", "[1]", "[{}]",
                          R"([{"name":"","priority":0,"andOr":"and","searchType":"is","value":""}])",
                          R"([{"name":"a","priority":1,"andOr":"and","searchType":"is","value":""}])",
                          R"([{"name":"a","priority":0,"andOr":"xor","searchType":"is","value":""}])"}) {
    const Received answer =
        client_.write("POST", smart, std::string(R"({"name":"L","criteria":)") + bad + "}");
    expectRefused(answer, 400, "INVALID_FIELD", "criteria");
  }
  expectRefused(client_.write("POST", smart, R"({"criteria":[]})"), 400, "INVALID_FIELD", "name");
  expectRefused(client_.write("POST", smart, R"({"name":"L","siteId":"77"})"), 400, "INVALID_FIELD",
                "siteId");
}

TEST_F(SampleComputerGroups, NamesAreUniqueAmongBothKinds) {
  create(smart, R"({"name":"Eins"})");
  expectRefused(client_.write("POST", fixed, R"({"name":"eins","assignments":[]})"), 422, "DUPLICATE_FIELD",
                "name");
}

TEST_F(SampleComputerGroups, AGroupInAScopeIsNotDeleted) {
  // Policies of a new fleet name groups.
  std::string used;
  for (const std::string& policy : server_.ids("policies")) {
    const Value record = get("JSSResource/policies/id/" + policy);
    for (const Value& group : *record.find("policy")->find("scope")->find("computer_groups")->array_()) {
      const std::string id = group.find("id")->text();
      if (client_.get(at(smart, id)).status == 200) used = id;
    }
  }
  ASSERT_FALSE(used.empty());
  EXPECT_EQ(client_.write("DELETE", at(smart, used)).status, 422);
  EXPECT_EQ(client_.get(at(smart, used)).status, 200);
}

TEST_F(SampleComputerGroups, OlderServersHaveTheSecondVersionAlone) {
  server_.dialect().groupsV3 = false;
  EXPECT_EQ(client_.get(smart).status, 404);
  EXPECT_EQ(client_.write("POST", fixed, "{}").status, 404);
  EXPECT_EQ(client_.get("api/v3/computer-groups/smart-group-membership/1").status, 404);
  const std::string id = create("api/v2/computer-groups/smart-groups", lab);
  EXPECT_EQ(*get("api/v2/computer-groups/smart-groups/" + id).find("name"), Value("Lab"));
  EXPECT_EQ(get("api/v2/computer-groups/smart-group-membership/" + id).text(), R"({"members":[]})");
  EXPECT_EQ(names("api/v2/computer-groups/smart-groups?filter=" + percentEncoded("name==\"Lab\"")).size(),
            1U);
}

TEST_F(SampleComputerGroups, RecordsMayTellIDAndMembers) {
  const std::string a = create(smart, lab);
  const std::string b = create(fixed, R"({"name":"K","assignments":["2"]})");
  server_.dialect().smartGroupTellsID = true;
  server_.dialect().staticGroupTellsMembers = true;
  EXPECT_EQ(*get(at(smart, a)).find("id"), Value(a));
  EXPECT_EQ(*get(at(fixed, b)).find("assignments"), Value(Value::Array{"2"}));
}

TEST_F(SampleComputerGroups, AWrittenGroupIsRenamedChangedAndListedAsWhatItIs) {
  const std::string id = create(fixed, R"({"name":"K","assignments":["2"]})");
  EXPECT_NE(client_.get("JSSResource/computergroups").body.find(R"("name":"K","is_smart":false})"),
            std::string::npos);
  ASSERT_TRUE(server_.rename("computerGroups", id, "L"));
  EXPECT_EQ(*get(at(fixed, id)).find("name"), Value("L"));
  const auto before = server_.record("computerGroups", id);
  ASSERT_TRUE(server_.change("computerGroups", id));
  EXPECT_NE(server_.record("computerGroups", id), before);
  EXPECT_EQ(members(id), std::vector<std::int64_t>{2});
}

}  // namespace
}  // namespace sample
