#include <algorithm>

#include "Platform/Locale/Text.h"
#include "tests/SampleServer/Writing.h"

namespace sample {
namespace {

class SampleInventory : public Writing {
 protected:
  static constexpr const char* list = "api/v1/computers-inventory";
};

TEST_F(SampleInventory, TheSectionsThatAreAskedForAreFilledAndTheOthersNull) {
  const Value page = get(std::string(list) + "?section=GENERAL&section=HARDWARE&page-size=3");
  EXPECT_EQ(*page.find("totalCount"), Value(server_.ids("computers").size()));
  ASSERT_EQ(page.find("results")->array_()->size(), 3U);
  for (const Value& computer : *page.find("results")->array_()) {
    EXPECT_TRUE(computer.find("general")->object_());
    EXPECT_TRUE(computer.find("hardware")->object_());
    EXPECT_TRUE(computer.find("operatingSystem")->isNull());
    EXPECT_TRUE(computer.find("extensionAttributes")->isNull());
    EXPECT_TRUE(computer.find("udid")->string());
  }
  const Value one = get(std::string(list) + "/1?section=USER_AND_LOCATION");
  EXPECT_TRUE(one.find("userAndLocation")->object_());
  EXPECT_TRUE(one.find("general")->isNull());
  expectRefused(client_.get(std::string(list) + "?section=GENERAL%2CHARDWARE"), 400, "INVALID_FIELD",
                "section");
  expectRefused(client_.get(std::string(list) + "/1?section=general"), 400, "INVALID_FIELD", "section");
}

TEST_F(SampleInventory, AComputerIsFoundByItsSerialNumber) {
  const Value computer = get("api/v1/computers-inventory-detail/4");
  const std::string serial = *computer.find("hardware")->find("serialNumber")->string();
  const Value found = get(std::string(list) + "?section=GENERAL&filter=" +
                          percentEncoded("hardware.serialNumber==\"" + serial + "\""));
  EXPECT_EQ(*found.find("totalCount"), Value(1));
  EXPECT_EQ(*found.find("results")->array_()->front().find("id"), Value("4"));
  EXPECT_TRUE(found.find("results")->array_()->front().find("hardware")->isNull());
  EXPECT_EQ(*get(std::string(list) + "?filter=" + percentEncoded("hardware.serialNumber==\"no\\\"one\""))
                 .find("totalCount"),
            Value(0));
  expectRefused(client_.get(std::string(list) + "?filter=serialNumber%3D%3D1"), 400, "INVALID_FIELD",
                "filter");
  expectRefused(client_.get(std::string(list) + "?sort=hardware.serialNumber:asc"), 400, "INVALID_FIELD",
                "sort");
}

TEST_F(SampleInventory, ComputersAreSortedByNestedFields) {
  const Value page = get(std::string(list) + "?sort=general.name:desc&page-size=500");
  std::vector<std::string> names;
  for (const Value& computer : *page.find("results")->array_())
    names.push_back(platform::locale::lowercased(*computer.find("general")->find("name")->string()));
  EXPECT_GT(names.size(), 10U);
  EXPECT_TRUE(std::ranges::is_sorted(names, std::greater()));
}

TEST_F(SampleInventory, NameAndAssetTagAreChangedInEveryView) {
  const Received patch = client_.write("PATCH", "api/v4/computers-inventory-detail/3",
                                       R"({"general":{"name":"Neuer \"Name\"","assetTag":"T-9"}})");
  EXPECT_EQ(patch.status, 204);
  EXPECT_EQ(patch.body, "");
  for (const char* path : {"api/v1/computers-inventory-detail/3", "api/v4/computers-inventory/3"}) {
    const Value computer = get(path);
    EXPECT_EQ(*computer.find("general")->find("name"), Value("Neuer \"Name\""));
    EXPECT_EQ(*computer.find("general")->find("assetTag"), Value("T-9"));
  }
  const Value classic = get("JSSResource/computers/id/3");
  EXPECT_EQ(*classic.find("computer")->find("general")->find("asset_tag"), Value("T-9"));
  EXPECT_EQ(*get(std::string(list) + "?page-size=3")
                 .find("results")
                 ->array_()
                 ->back()
                 .find("general")
                 ->find("name"),
            Value("Neuer \"Name\""));
}

TEST_F(SampleInventory, AbsentKeysOfAPatchStay) {
  const std::string path = "api/v4/computers-inventory-detail/3";
  const Value before = get(path);
  ASSERT_EQ(client_.write("PATCH", path, R"({"general":{"assetTag":"T-9"}})").status, 204);
  EXPECT_EQ(*get(path).find("general")->find("name"), *before.find("general")->find("name"));
  ASSERT_EQ(client_.write("PATCH", path, R"({"general":{"name":"N","assetTag":null}})").status, 204);
  EXPECT_EQ(*get(path).find("general")->find("assetTag"), Value("T-9"));
  ASSERT_EQ(client_.write("PATCH", path, "{}").status, 204);
  EXPECT_EQ(*get(path).find("general")->find("name"), Value("N"));
}

TEST_F(SampleInventory, ABadPatchIsRefusedAndChangesNothing) {
  const std::string path = "api/v4/computers-inventory-detail/3";
  const Value before = get(path);
  expectRefused(client_.write("PATCH", path, "nothing"), 400, "INVALID_FIELD", "body");
  expectRefused(client_.write("PATCH", path, R"({"general":[]})"), 400, "INVALID_FIELD", "general");
  expectRefused(client_.write("PATCH", path, R"({"general":{"name":""}})"), 400, "INVALID_FIELD", "name");
  expectRefused(client_.write("PATCH", path, R"({"general":{"name":"x","assetTag":5}})"), 400,
                "INVALID_FIELD", "assetTag");
  EXPECT_EQ(client_.write("PATCH", "api/v4/computers-inventory-detail/999", "{}").status, 404);
  EXPECT_EQ(client_.write("PUT", path, "{}").status, 405);
  EXPECT_EQ(get(path), before);
}

TEST_F(SampleInventory, AComputerIsDeletedInEveryVersion) {
  for (const char* path : {"api/v1/computers-inventory/1", "api/v2/computers-inventory/2",
                           "api/v3/computers-inventory/3", "api/v4/computers-inventory/4"}) {
    EXPECT_EQ(client_.write("DELETE", path).status, 204);
    EXPECT_EQ(client_.write("DELETE", path).status, 404);
    EXPECT_EQ(client_.get(path).status, 404);
  }
  EXPECT_EQ(server_.ids("computers").front(), "5");
}

TEST_F(SampleInventory, OlderServersLackTheFourthVersion) {
  server_.dialect().inventoryV4 = false;
  EXPECT_EQ(client_.write("PATCH", "api/v4/computers-inventory-detail/3", "{}").status, 404);
  EXPECT_EQ(client_.get("api/v4/computers-inventory").status, 404);
  EXPECT_EQ(client_.get("api/v3/computers-inventory").status, 200);
}

TEST_F(SampleInventory, APatchMayBeAnsweredWithTheRecord) {
  server_.dialect().patchGivesRecord = true;
  const Received patch =
      client_.write("PATCH", "api/v1/computers-inventory-detail/3", R"({"general":{"assetTag":"T"}})");
  EXPECT_EQ(patch.status, 200);
  EXPECT_EQ(valueOf(patch), get("api/v1/computers-inventory-detail/3"));
}

TEST_F(SampleInventory, AttributesMayStandUnderAnotherKey) {
  const Value before = get("api/v1/computers-inventory-detail/1");
  server_.dialect().attributesNamedValues = true;
  for (const char* path :
       {"api/v1/computers-inventory-detail/1", "api/v1/computers-inventory/1?section=EXTENSION_ATTRIBUTES"}) {
    const Value computer = get(path);
    EXPECT_FALSE(computer.find("extensionAttributes"));
    EXPECT_EQ(*computer.find("extensionAttributeValues"), *before.find("extensionAttributes"));
  }
  const Value page = get(std::string(list) + "?section=EXTENSION_ATTRIBUTES&page-size=1");
  EXPECT_TRUE(page.find("results")->array_()->front().find("extensionAttributeValues")->array_());
  EXPECT_TRUE(get(list).find("results")->array_()->front().find("extensionAttributeValues")->isNull());
}

TEST_F(SampleInventory, PolicyLogsTellWhatRan) {
  const Value history = get("JSSResource/computerhistory/id/1/subset/PolicyLogs");
  const Value::Array& logs = *history.find("computer_history")->find("policy_logs")->array_();
  ASSERT_GE(logs.size(), 2U);
  for (const Value& log : logs) {
    const Value policy = get("JSSResource/policies/id/" + log.find("policy_id")->text());
    EXPECT_EQ(*log.find("policy_name"), *policy.find("policy")->find("general")->find("name"));
    for (const char* key : {"username", "date_completed", "date_completed_utc", "status"})
      EXPECT_TRUE(log.find(key)->string()) << key;
  }
  EXPECT_EQ(client_.get("JSSResource/computerhistory/id/2/subset/PolicyLogs").body,
            R"({"computer_history":{"policy_logs":{}}})");
  EXPECT_EQ(client_.get("JSSResource/computerhistory/id/3/subset/PolicyLogs").body,
            R"({"computer_history":{"policy_logs":[]}})");
  EXPECT_EQ(client_.get("JSSResource/computerhistory/id/999/subset/PolicyLogs").status, 404);
  EXPECT_EQ(client_.get("JSSResource/computerhistory/id/1/subset/Nothing").status, 404);
}

}  // namespace
}  // namespace sample
