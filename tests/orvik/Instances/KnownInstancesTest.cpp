#include "orvik/Instances/KnownInstances.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Config/InstanceStore.h"
#include "OrvikCore/Config/ManagedInstances.h"
#include "orvik/ExitStatus.h"
#include "tests/Support/ForcedPlaces.h"

namespace orvik::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct KnownInstancesTest : testing::Test {
  test::ForcedPlaces forced;

  static InstanceConfig own(std::string name, std::string url, std::string clientID = "client") {
    InstanceConfig instance;
    instance.id = ManagedInstances::stableID(InstanceConfig::normalizedURL(url)->text(), clientID);
    instance.name = std::move(name);
    instance.url = std::move(url);
    instance.clientID = std::move(clientID);
    return instance;
  }
  void save(const std::vector<InstanceConfig>& instances) const {
    InstanceStore(forced.data()).save(instances);
  }
  KnownInstances known() const { return KnownInstances(forced.places()); }
  std::vector<std::string> names() const {
    const auto instances = known();
    std::vector<std::string> found;
    for (const auto& each : instances.all()) found.push_back(each.name);
    return found;
  }
  std::string refusal(std::string_view name) const {
    try {
      known().named(name);
    } catch (const NotFoundError& error) {
      return "not found: " + error.description();
    } catch (const UsageError& error) {
      return "usage: " + error.description();
    }
    return "(found)";
  }
};

TEST_F(KnownInstancesTest, NothingIsRegisteredAtFirst) {
  EXPECT_THAT(known().all(), IsEmpty());
  EXPECT_THAT(known().warnings(), IsEmpty());
  EXPECT_THAT(refusal("school"), testing::StartsWith("not found: There is no instance school: none is "));
}

TEST_F(KnownInstancesTest, ManagedOnesComeBeforeTheUsersOwn) {
  save({own("Own", "own.example")});
  forced.force(R"({"ManagedInstances": [{"Name": "Forced", "URL": "https://forced.example", "ClientID": "c",
                                         "ClientSecret": "ORVIK-ENC:v1:x"}]})");
  EXPECT_THAT(names(), ElementsAre("Forced", "Own"));
  EXPECT_TRUE(KnownInstances::isManaged(known().named("Forced")));
  EXPECT_FALSE(KnownInstances::isManaged(known().named("Own")));
}

TEST_F(KnownInstancesTest, AManagedOneTakesThePlaceOfTheSameServerAndClient) {
  save({own("Mine", "HTTPS://Forced.example"), own("Other", "https://forced.example", "another")});
  forced.force(R"({"ManagedInstances": [{"Name": "Forced", "URL": "https://forced.example",
                                         "ClientID": "client", "ClientSecret": "ORVIK-ENC:v1:x"}]})");
  EXPECT_THAT(names(), ElementsAre("Forced", "Other"));
}

TEST_F(KnownInstancesTest, WhatIsWrongWithManagedOnesIsToldAndStopsNoOther) {
  forced.force(R"({"ManagedInstances": [{"URL": "a.example"}, 7,
      {"Name": "Plain", "URL": "https://b.example", "ClientID": "c", "ClientSecret": "in plain"}]})");
  EXPECT_THAT(known().all(), IsEmpty()) << "an element that is no dictionary makes it no list of them";
  forced.force(R"({"ManagedInstances": [{"URL": "a.example"},
      {"Name": "Plain", "URL": "https://b.example", "ClientID": "c", "ClientSecret": "in plain"}]})");
  EXPECT_THAT(names(), ElementsAre("Plain"));
  EXPECT_THAT(known().warnings(),
              ElementsAre("ManagedInstances[0] needs URL, ClientID and ClientSecret; ignored.",
                          HasSubstr("ManagedInstances[1] (Plain) has an unencrypted ClientSecret.")));
  const auto told = known();
  for (const auto& warning : told.warnings()) EXPECT_THAT(warning, testing::Not(HasSubstr("in plain")));
}

TEST_F(KnownInstancesTest, AFileThatCannotBeReadIsAWarningAndNoInstance) {
  const InstanceStore store(forced.data());
  for (const auto* text : {"", "{}", "[{\"id\": 7}]", "[", "\xFF"}) {
    platform::files::atomicWrite(text, store.fileURL);
    EXPECT_THAT(known().all(), IsEmpty()) << text;
    EXPECT_THAT(known().warnings(), ElementsAre(HasSubstr(store.fileURL.string()))) << text;
  }
}

TEST_F(KnownInstancesTest, ANameIsFoundInAnyCaseThenAnIDThenAFolder) {
  const auto school = own("Schule Köln", "https://school.example");
  save({school, own("Second", "https://second.example:8443/jss")});
  for (const auto& name : {std::string("Schule Köln"), std::string("SCHULE KÖLN"), school.id.text(),
                           std::string("school.example")})
    EXPECT_EQ(known().named(name).id, school.id) << name;
  EXPECT_EQ(known().named("second").clientID, "client");
  EXPECT_THAT(refusal("third"), HasSubstr("There are: Schule Köln, Second."));
  EXPECT_THAT(refusal(""), testing::StartsWith("not found"));
}

TEST_F(KnownInstancesTest, ANameGoesBeforeAFolderOfThatName) {
  const auto named = own("school.example", "https://first.example");
  save({own("Other", "https://school.example"), named});
  EXPECT_EQ(known().named("School.Example").id, named.id);
}

TEST_F(KnownInstancesTest, ANameOfTwoIsRefusedWithTheirIDs) {
  const auto first = own("School", "https://a.example"), second = own("SCHOOL", "https://b.example");
  save({first, second});
  EXPECT_THAT(refusal("school"), testing::AllOf(testing::StartsWith("usage: 2 instances are called school"),
                                                HasSubstr(first.id.text()), HasSubstr(second.id.text())));
}

}  // namespace
}  // namespace orvik::host
