#include "JamfCore/OrgManagement/DeviceCache.h"

#include <gmock/gmock.h>

#include <string>

#include "JamfCore/Persistence/Records.h"
#include "tests/JamfCore/LocalDatabase.h"

namespace jamf {
namespace {

using platform::UUID;

class CacheOfDevices : public test::LocalDatabase {
 protected:
  CacheOfDevices() {
    for (const auto& id : {org, other})
      context->save([&](ModelChanges& changes) {
        changes.insert(JamfOrganization{id, "a", "", "", {}, {}, {}});
      });
  }

  static Device device(const std::string& id) {
    Device made;
    made.id = id;
    auto& general = made.general.emplace();
    general.name = "Mac " + id;
    general.lastIpAddress = "10.0.0." + id;
    general.lastContactTime = "2025-03-04T09:15:00.123Z";
    general.reportDate = "2025-03-03T09:15:00Z";
    general.platform = "Mac";
    general.assetTag = "A" + id;
    auto& hardware = made.hardware.emplace();
    hardware.serialNumber = "C02" + id;
    hardware.make = "Apple";
    hardware.model = "MacBook Air";
    made.operatingSystem.emplace().version = "15.1";
    return made;
  }

  const UUID org = UUID::random(), other = UUID::random();
  std::shared_ptr<ModelContext> context = open();
  DeviceCache cache{context};
};

TEST_F(CacheOfDevices, WhatIsStoredComesBackInItsOrder) {
  std::vector<Device> devices;
  for (int i = 3000; i > 0; --i) devices.push_back(device(std::to_string(i)));
  cache.store(devices, org);
  EXPECT_TRUE(cache.cachedDevices(org) == devices);
  EXPECT_TRUE(DeviceCache(open()).cachedDevices(org) == devices);
  EXPECT_TRUE(cache.cachedDevices(other).empty());
}

TEST_F(CacheOfDevices, WhatAServerLeftOutStaysOut) {
  Device bare;
  bare.id = "7";
  Device nameless;
  nameless.id = "8";
  nameless.hardware.emplace().serialNumber = "";
  cache.store({bare, nameless}, org);
  const auto devices = cache.cachedDevices(org);
  ASSERT_EQ(devices.size(), 2U);
  EXPECT_FALSE(devices[0].general->name);
  EXPECT_FALSE(devices[0].hardware);
  EXPECT_FALSE(devices[0].operatingSystem);
  EXPECT_EQ(devices[1].hardware->serialNumber, platform::Boxed<std::string>(""));
}

TEST_F(CacheOfDevices, StoringReplacesTheOrganizationsOwnAndNoOthers) {
  cache.store({device("1"), device("2")}, org);
  cache.store({device("1")}, other);
  cache.store({device("3")}, org);
  ASSERT_EQ(cache.cachedDevices(org).size(), 1U);
  EXPECT_EQ(cache.cachedDevices(org)[0].id, "3");
  EXPECT_EQ(cache.cachedDevices(other).size(), 1U);
}

TEST_F(CacheOfDevices, AnEmptyListEmptiesItAndThereIsNoTimeOfSyncingThen) {
  EXPECT_EQ(cache.lastSyncedAt(org), std::nullopt);
  const auto before = platform::now();
  cache.store({device("1")}, org);
  const auto synced = cache.lastSyncedAt(org);
  ASSERT_TRUE(synced);
  EXPECT_GE(*synced, before);
  EXPECT_LE(*synced, platform::now());
  cache.store({}, org);
  EXPECT_TRUE(cache.cachedDevices(org).empty());
  EXPECT_EQ(cache.lastSyncedAt(org), std::nullopt);
}

TEST_F(CacheOfDevices, OfTwoDevicesWithOneIDTheLastCounts) {
  auto again = device("1");
  again.general->name = "moved to another page";
  cache.store({device("1"), device("2"), again}, org);
  const auto devices = cache.cachedDevices(org);
  ASSERT_EQ(devices.size(), 2U);
  EXPECT_EQ(devices[1].general->name, platform::Boxed<std::string>("moved to another page"));
}

TEST_F(CacheOfDevices, DevicesOfNobodyAreRefusedAndWhatWasThereStays) {
  cache.store({device("1")}, org);
  EXPECT_THROW(cache.store({device("2")}, UUID::random()), platform::DatabaseError);
  EXPECT_EQ(cache.cachedDevices(org).size(), 1U);
}

}  // namespace
}  // namespace jamf
