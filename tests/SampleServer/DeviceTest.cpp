#include <set>

#include "SampleServer/Fleet.h"
#include "tests/SampleServer/Client.h"

namespace sample {
namespace {

using platform::json::View;

constexpr const char* computers =
    "api/v1/computers-inventory?section=GENERAL&sort=id%3Aasc&page=0&page-size=500";
constexpr const char* mobileDevices = "api/v2/mobile-devices/detail?section=GENERAL&page=0&page-size=500";

class SampleDevices : public testing::Test {
 protected:
  SampleServer server_;
  AuthorizedClient client_{server_};

  /// The inventory date of a computer in the list; nothing where it has none.
  std::optional<std::string> listedDate(const std::string& id) {
    const auto list = client_.get(computers).json();
    for (const View computer : list->root()["results"]->elements()) {
      if (computer["id"]->string() != id) continue;
      const auto date = (*computer["general"])["reportDate"];
      return date ? std::optional(std::string(*date->string())) : std::nullopt;
    }
    ADD_FAILURE() << "no computer " << id;
    return std::nullopt;
  }
  std::string record(const std::string& id) {
    return client_.get("api/v1/computers-inventory-detail/" + id).body;
  }
  std::string classic(const std::string& id) { return client_.get("JSSResource/computers/id/" + id).body; }
};

std::string without(std::string text, const std::string& part) {
  for (std::size_t at; (at = text.find(part)) != std::string::npos;) text.erase(at, part.size());
  return text;
}

TEST_F(SampleDevices, AChangedDeviceHasALaterDateAndOtherRecords) {
  const auto date = listedDate("1");
  const std::string before = record("1");
  const std::string classicBefore = classic("1");
  ASSERT_TRUE(server_.change("computers", "1"));
  const auto later = listedDate("1");
  ASSERT_TRUE(date && later);
  EXPECT_NE(later, date);
  EXPECT_NE(without(record("1"), *later), without(before, *date));
  EXPECT_NE(without(classic("1"), *later), without(classicBefore, *date));
  const std::string mobile = client_.get("api/v2/mobile-devices/2/detail").body;
  const std::string list = client_.get(mobileDevices).body;
  ASSERT_TRUE(server_.change("mobileDevices", "2"));
  EXPECT_NE(client_.get("api/v2/mobile-devices/2/detail").body, mobile);
  EXPECT_NE(client_.get(mobileDevices).body, list);
}

TEST_F(SampleDevices, ARefreshedDeviceDiffersInItsDateAlone) {
  const auto date = listedDate("3");
  const std::string before = record("3");
  const std::string classicBefore = classic("3");
  ASSERT_TRUE(server_.refresh("computers", "3"));
  const auto later = listedDate("3");
  ASSERT_TRUE(date && later);
  EXPECT_NE(later, date);
  EXPECT_EQ(without(record("3"), "\"reportDate\":\"" + *later + "\""),
            without(before, "\"reportDate\":\"" + *date + "\""));
  EXPECT_EQ(without(classic("3"), "\"report_date_utc\":\"" + *later + "\""),
            without(classicBefore, "\"report_date_utc\":\"" + *date + "\""));
  std::set<std::string> dates{*date, *later};
  for (int i = 0; i < 5; ++i) {
    ASSERT_TRUE(i % 2 == 0 ? server_.refresh("computers", "3") : server_.change("computers", "3"));
    dates.insert(*listedDate("3"));
  }
  EXPECT_EQ(dates.size(), 7U);
}

TEST_F(SampleDevices, ADateCanBeSetToAnyTextAndTakenAway) {
  const std::string date = *listedDate("4");
  const std::string before = record("4");
  ASSERT_TRUE(server_.setInventoryDate("computers", "4", "yester\"day"));
  EXPECT_EQ(listedDate("4"), "yester\"day");
  EXPECT_EQ(without(record("4"), "\"reportDate\":\"yester\\\"day\""),
            without(before, "\"reportDate\":\"" + date + "\""));
  ASSERT_TRUE(server_.setInventoryDate("computers", "4", std::nullopt));
  EXPECT_EQ(listedDate("4"), std::nullopt);
  EXPECT_EQ(record("4").find("reportDate"), std::string::npos);
  EXPECT_TRUE(client_.get("api/v1/computers-inventory-detail/4").json());
  ASSERT_TRUE(server_.change("computers", "4"));
  EXPECT_TRUE(listedDate("4"));
  ASSERT_TRUE(server_.setInventoryDate("mobileDevices", "1", std::nullopt));
  const auto list = client_.get(mobileDevices).json();
  EXPECT_FALSE((*(*list->root()["results"]->elements().begin())["general"])["lastInventoryUpdateDate"]);
  EXPECT_TRUE((*(*list->root()["results"]->elements().begin())["general"])["displayName"]);
}

TEST_F(SampleDevices, AClassicRecordHasTheDateInTwoForms) {
  ASSERT_TRUE(server_.setInventoryDate("mobileDevices", "1", "2026-07-20T06:41:09.512Z"));
  const std::string record = client_.get("JSSResource/mobiledevices/id/1").body;
  EXPECT_NE(record.find(R"("last_inventory_update":"2026-07-20 06:41:09")"), std::string::npos);
  EXPECT_NE(record.find(R"("last_inventory_update_utc":"2026-07-20T06:41:09.512Z")"), std::string::npos);
  ASSERT_TRUE(server_.setInventoryDate("mobileDevices", "1", std::nullopt));
  EXPECT_EQ(client_.get("JSSResource/mobiledevices/id/1").body.find("inventory_update"), std::string::npos);
}

TEST_F(SampleDevices, OnlyDevicesHaveADate) {
  EXPECT_FALSE(server_.refresh("policies", "1"));
  EXPECT_FALSE(server_.refresh("computers", "10"));
  EXPECT_FALSE(server_.setInventoryDate("nothing", "1", "x"));
  EXPECT_FALSE(server_.setInventoryDate("scripts", "1", "x"));
}

TEST_F(SampleDevices, WithoutTheDetailListTheBasicOneAndTheRecordsRemain) {
  server_.setMobileDetailList(false);
  EXPECT_EQ(client_.get(mobileDevices).status, 404);
  const Received basic = client_.get("api/v2/mobile-devices?page=0&page-size=500");
  ASSERT_EQ(basic.status, 200);
  const auto list = basic.json();
  for (const View device : list->root()["results"]->elements()) {
    EXPECT_TRUE(device["name"]);
    EXPECT_FALSE(device["general"]);
    const std::string path = "api/v2/mobile-devices/" + std::string(*device["id"]->string()) + "/detail";
    EXPECT_EQ(client_.get(path).status, 200);
  }
  server_.setMobileDetailList(true);
  EXPECT_EQ(client_.get(mobileDevices).status, 200);
}

TEST_F(SampleDevices, TheirClassicRecordsCanBeRefusedAlone) {
  server_.refuseClassicDevices(401);
  for (const char* path : {"JSSResource/computers/id/1", "JSSResource/mobiledevices/id/1"}) {
    const Received answer = client_.get(path);
    EXPECT_EQ(answer.status, 401);
    EXPECT_TRUE(answer.has("text/html"));
    EXPECT_NE(answer.body.find("<html>"), std::string::npos);
  }
  EXPECT_EQ(client_.get("api/v1/computers-inventory-detail/1").status, 200);
  EXPECT_EQ(client_.get("JSSResource/policies/id/1").status, 200);
  server_.refuseClassicDevices(403);
  EXPECT_EQ(client_.get("JSSResource/computers/id/1").status, 403);
  server_.refuseClassicDevices(0);
  EXPECT_EQ(client_.get("JSSResource/computers/id/1").status, 200);
}

TEST_F(SampleDevices, TheRecordOfAMobileDeviceIsFlat) {
  const auto record = client_.get("api/v2/mobile-devices/1/detail").json();
  for (const char* nested : {"hardware", "general", "userAndLocation"}) EXPECT_FALSE(record->root()[nested]);
  EXPECT_TRUE(record->root()["serialNumber"]);
  EXPECT_TRUE(record->root()["ios"]->isObject());
}

TEST(SampleFleet, PagesOfAnEnterpriseAreCheapWhereverTheyStart) {
  const Fleet fleet(FleetSize::enterprise, 1);
  const std::size_t section = *sectionNumber("computers");
  const std::size_t devices = fleet.count(section) + fleet.count(*sectionNumber("mobileDevices"));
  EXPECT_NEAR(static_cast<double>(devices), 50000, 2500);
  std::size_t listed = 0;
  std::int64_t last = 0;
  for (std::size_t page = 0; page * 500 < fleet.count(section); ++page) {
    const auto document = platform::json::Document::parse(fleet.page(section, page, 500, true));
    EXPECT_EQ(document->root()["totalCount"]->int64(), static_cast<std::int64_t>(fleet.count(section)));
    for (const View computer : document->root()["results"]->elements()) {
      const std::int64_t id = std::stoll(std::string(*computer["id"]->string()));
      EXPECT_GT(id, last);
      last = id;
      ++listed;
    }
  }
  EXPECT_EQ(listed, fleet.count(section));
}

}  // namespace
}  // namespace sample
