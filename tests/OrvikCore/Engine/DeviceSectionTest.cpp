#include "OrvikCore/Engine/DeviceSection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "Platform/Files/Files.h"
#include "tests/Support/RunFixture.h"

namespace orvik {
namespace {

using test::RunFixture;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* computerList = "api/v1/computers-inventory";
constexpr const char* computerDetail = "api/v1/computers-inventory-detail/";
constexpr const char* computerClassic = "JSSResource/computers/id/";
constexpr const char* mobileList = "api/v2/mobile-devices/detail";
constexpr const char* mobileFallback = "api/v2/mobile-devices";

/// A device as the list shows it.
struct Device {
  std::string id;
  std::optional<std::string> date;
};

struct DeviceRun : testing::Test, RunFixture {
  bool classic = false;
  bool fullRefresh = false;

  /// The list of computers, and a record for each, whose content depends on the date.
  void computers(const std::vector<Device>& devices) {
    std::string elements;
    for (const auto& [id, date] : devices) {
      const auto dateMember = date ? ",\"reportDate\":\"" + *date + "\"" : "";
      const auto element =
          "{\"id\":\"" + id + "\",\"general\":{\"name\":\"Mac " + id + "\"" + dateMember + "}}";
      elements += (elements.empty() ? "" : ",") + element;
      bodies.set(computerDetail + id, "{\"id\":\"" + id + "\",\"seen\":\"" + date.value_or("never") + "\"}");
      bodies.set(computerClassic + id, "{\"computer\":{\"id\":" + id + "}}");
    }
    bodies.set(computerList,
               "{\"totalCount\":" + std::to_string(devices.size()) + ",\"results\":[" + elements + "]}");
  }

  BackupJob deviceJob(const std::string& section) const {
    auto made = job({section});
    made.options.includeClassicDeviceRecords = classic;
    made.options.forceFullDeviceRefresh = fullRefresh;
    return made;
  }
  BackupManifest runDevices(const std::string& section = "computers") {
    return BackupEngine(deviceJob(section)).run(ResumeInterrupted::yes, onEvent());
  }
  std::size_t detailRequests(const std::string& id) const { return reader->count(computerDetail + id); }
};

TEST_F(DeviceRun, ADeviceIsReadAndKeepsItsInventoryDate) {
  computers({{"1", "2026-11-01T08:00:00.5Z"}});
  const auto manifest = runDevices();
  const auto read = index(manifest, "computers");
  ASSERT_EQ(read.items.size(), 1u);
  const auto& item = read.items.front();
  EXPECT_EQ(item.id, "1");
  EXPECT_EQ(item.name, "Mac 1");
  EXPECT_EQ(item.marker, "2026-11-01T08:00:00.5Z");
  EXPECT_FALSE(item.file);
  ASSERT_EQ(item.objects.size(), 1u);
  EXPECT_EQ(repository().store().object(item.objects.at("pro")),
            *ObjectStore::canonicalJSON(R"({"id":"1","seen":"2026-11-01T08:00:00.5Z"})"));
  EXPECT_THAT(read.sources, ElementsAre(std::pair{"classic", "JSSResource/computers/id/{id}"},
                                        std::pair{"list", computerList},
                                        std::pair{"pro", "api/v1/computers-inventory-detail/{id}"}));
}

TEST_F(DeviceRun, TheListIsAskedForInPagesOf500WithItsSectionAndOrder) {
  computers({{"1", "a"}});
  runDevices();
  for (const auto& call : reader->calls()) {
    if (call.path != computerList) continue;
    std::vector<std::pair<std::string, std::string>> query;
    for (const auto& item : call.query) query.emplace_back(item.name, item.value.value_or(""));
    EXPECT_THAT(query, ElementsAre(std::pair{"page", "0"}, std::pair{"page-size", "500"},
                                   std::pair{"section", "GENERAL"}, std::pair{"sort", "id:asc"}));
  }
  EXPECT_EQ(reader->count(computerList), 1u);
}

TEST_F(DeviceRun, ADeviceWithTheParentsDateIsNotRequestedAndUnchanged) {
  computers({{"1", "a"}, {"2", "b"}});
  const auto first = runDevices();
  bodies.set(std::string(computerDetail) + "1", R"({"id":"1","seen":"something else"})");
  const auto second = runDevices();
  EXPECT_EQ(detailRequests("1"), 1u);
  EXPECT_EQ(detailRequests("2"), 1u);
  EXPECT_EQ(summary(second, "computers").counts.unchanged, 2);
  EXPECT_EQ(index(second, "computers").items.front().objects,
            index(first, "computers").items.front().objects);
}

TEST_F(DeviceRun, ADeviceWithAnotherDateIsReadAgain) {
  computers({{"1", "a"}, {"2", "b"}});
  runDevices();
  computers({{"1", "a"}, {"2", "c"}});
  const auto second = runDevices();
  EXPECT_EQ(detailRequests("1"), 1u);
  EXPECT_EQ(detailRequests("2"), 2u);
  EXPECT_EQ(summary(second, "computers").counts.changed, 1);
}

TEST_F(DeviceRun, DatesAreComparedAsTextAndNeverParsed) {
  computers({{"1", "2026-11-01T08:00:00Z"}});
  runDevices();
  computers({{"1", "2026-11-01T08:00:00.000Z"}});
  runDevices();
  EXPECT_EQ(detailRequests("1"), 2u);
}

TEST_F(DeviceRun, AForcedRefreshReadsTheDeviceThoughItIsUnchanged) {
  computers({{"1", "a"}});
  runDevices();
  fullRefresh = true;
  const auto second = runDevices();
  EXPECT_EQ(detailRequests("1"), 2u);
  EXPECT_EQ(summary(second, "computers").counts.unchanged, 1);
}

TEST_F(DeviceRun, ADeviceWithoutADateIsAlwaysRead) {
  computers({{"1", std::nullopt}});
  runDevices();
  const auto second = runDevices();
  EXPECT_EQ(detailRequests("1"), 2u);
  EXPECT_EQ(summary(second, "computers").counts.unchanged, 1);
  EXPECT_EQ(index(second, "computers").items.front().marker, std::nullopt);
}

TEST_F(DeviceRun, AnIDThatComesAgainWithoutADateLosesTheFirstOne) {
  computers({{"1", "a"}});
  runDevices();
  computers({{"1", "a"}, {"1", std::nullopt}});
  const auto second = runDevices();
  EXPECT_EQ(detailRequests("1"), 3u);
  for (const auto& item : index(second, "computers").items) EXPECT_EQ(item.marker, std::nullopt);
}

TEST_F(DeviceRun, AnElementWithoutAnIDIsSkipped) {
  computers({{"1", "a"}});
  bodies.set(
      computerList,
      R"({"totalCount":2,"results":[{"general":{"name":"x"}},{"id":"1","general":{"name":"Mac 1"}}]})");
  const auto manifest = runDevices();
  EXPECT_EQ(summary(manifest, "computers").counts.total, 1);
}

TEST_F(DeviceRun, TurningOnClassicRecordsReadsEachDeviceAgain) {
  computers({{"1", "a"}});
  runDevices();
  classic = true;
  const auto second = runDevices();
  EXPECT_EQ(detailRequests("1"), 2u);
  EXPECT_TRUE(index(second, "computers").items.front().objects.contains("classic"));
  const auto third = runDevices();
  EXPECT_EQ(detailRequests("1"), 2u);
  EXPECT_EQ(summary(third, "computers").counts.unchanged, 1);
}

TEST_F(DeviceRun, ARoleThatCantReadClassicRecordsGetsProRecordsAlone) {
  computers({{"1", "a"}, {"2", "b"}});
  bodies.fail(std::string(computerClassic) + "1", 403);
  bodies.fail(std::string(computerClassic) + "2", 404);
  classic = true;
  const auto manifest = runDevices();
  EXPECT_EQ(summary(manifest, "computers").status, SectionSummary::Status::complete);
  for (const auto& item : index(manifest, "computers").items) {
    EXPECT_TRUE(item.objects.contains("pro"));
    EXPECT_FALSE(item.objects.contains("classic"));
  }
}

TEST_F(DeviceRun, AnyOtherFailureOfAClassicRecordFailsItsDevice) {
  computers({{"1", "a"}, {"2", "b"}});
  bodies.fail(std::string(computerClassic) + "1", 500);
  classic = true;
  const auto manifest = runDevices();
  EXPECT_EQ(summary(manifest, "computers").status, SectionSummary::Status::partial);
  EXPECT_EQ(summary(manifest, "computers").counts.total, 1);
}

TEST_F(DeviceRun, AServerWithoutTheDetailListGetsTheOlderOne) {
  bodies.set(mobileFallback, R"({"totalCount":1,"results":[{"id":"52","name":"iPad 52"}]})");
  bodies.set("api/v2/mobile-devices/52/detail", R"({"id":"52"})");
  const auto manifest = runDevices("mobileDevices");
  const auto read = index(manifest, "mobileDevices");
  ASSERT_EQ(read.items.size(), 1u);
  EXPECT_EQ(read.items.front().id, "52");
  EXPECT_EQ(read.items.front().name, "iPad 52");
  EXPECT_EQ(read.sources.at("list"), mobileList);
  for (const auto& call : reader->calls())
    if (call.path == mobileFallback) {
      EXPECT_EQ(call.query.size(), 2u);
    }
}

TEST_F(DeviceRun, TheDetailListOfMobileDevicesHasItsOwnKeys) {
  bodies.set(mobileList, R"({"totalCount":1,"results":[{"mobileDeviceId":"52","id":"7","general":
    {"displayName":"iPad 52","lastInventoryUpdateDate":"d"}}]})");
  bodies.set("api/v2/mobile-devices/52/detail", R"({"id":"52"})");
  const auto manifest = runDevices("mobileDevices");
  const auto item = index(manifest, "mobileDevices").items.front();
  EXPECT_EQ(item.id, "52");
  EXPECT_EQ(item.name, "iPad 52");
  EXPECT_EQ(item.marker, "d");
}

TEST_F(DeviceRun, OtherFailuresOfTheListStandWithoutTheFallback) {
  bodies.fail(mobileList, 403);
  const auto manifest = runDevices("mobileDevices");
  EXPECT_EQ(summary(manifest, "mobileDevices").status, SectionSummary::Status::notPermitted);
  EXPECT_EQ(reader->count(mobileFallback), 0u);
}

TEST_F(DeviceRun, AnAnswerThatIsNoListIsAnEmptySection) {
  bodies.set(computerList, R"({"message":"no devices"})");
  const auto manifest = runDevices();
  EXPECT_EQ(summary(manifest, "computers").status, SectionSummary::Status::complete);
  const auto read = index(manifest, "computers");
  EXPECT_THAT(read.items, IsEmpty());
  EXPECT_THAT(read.sources, IsEmpty());
}

TEST_F(DeviceRun, ADeviceWhoseObjectTheStoreLostIsReadAgain) {
  computers({{"1", "a"}});
  const auto first = runDevices();
  const auto hash = index(first, "computers").items.front().objects.at("pro");
  platform::files::remove(repository().store().objectURL(hash));
  const auto second = runDevices();
  EXPECT_EQ(detailRequests("1"), 2u);
  EXPECT_TRUE(repository().store().has(hash, ObjectStore::IncludingOverlay::no));
  EXPECT_EQ(summary(second, "computers").counts.unchanged, 1);
}

TEST_F(DeviceRun, AnUnreadableParentIndexCountsAsNoParent) {
  computers({{"1", "a"}});
  const auto first = runDevices();
  ObjectStore::atomicWrite("{", repository().backupDirectory(first.backupID) / "sections/computers.json");
  const auto second = runDevices();
  EXPECT_EQ(detailRequests("1"), 2u);
  EXPECT_EQ(summary(second, "computers").counts.new_, 1);
}

TEST_F(DeviceRun, AReusedDeviceWithoutANameInTheListKeepsTheParents) {
  computers({{"1", "a"}});
  runDevices();
  bodies.set(computerList, R"({"totalCount":1,"results":[{"id":"1","general":{"reportDate":"a"}}]})");
  const auto second = runDevices();
  EXPECT_EQ(index(second, "computers").items.front().name, "Mac 1");
}

TEST_F(DeviceRun, AnIDThatLeadsOutOfItsPathIsThatDevicesFailure) {
  computers({{"1", "a"}});
  bodies.set(computerList,
             R"({"totalCount":2,"results":[{"id":"../1","general":{}},{"id":"1","general":{}}]})");
  const auto manifest = runDevices();
  EXPECT_EQ(summary(manifest, "computers").counts.total, 1);
  EXPECT_EQ(index(manifest, "computers").errors.front().message,
            "The id \"../1\" can't be part of a request path.");
}

TEST_F(DeviceRun, TheFirstSealedBackupReadsEveryDeviceOfAPlainParent) {
  computers({{"1", "a"}});
  runDevices();
  seals = true;
  runDevices();
  EXPECT_EQ(detailRequests("1"), 2u);
  const auto third = runDevices();
  EXPECT_EQ(detailRequests("1"), 2u);
  EXPECT_EQ(summary(third, "computers").counts.unchanged, 1);
}

}  // namespace
}  // namespace orvik
