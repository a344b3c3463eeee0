#include "JamfCore/Automation/DeviceRelationshipResolver.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>

#include "JamfCore/Services/ComputerExtensionAttributeService.h"
#include "JamfCore/Services/SmartGroupService.h"
#include "JamfCore/Services/StaticGroupService.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/JSON/Value.h"
#include "Platform/JSON/View.h"
#include "tests/JamfCore/AdministeredServer.h"
#include "tests/JamfCore/Services/ServiceFixture.h"

namespace jamf {
namespace {

using platform::json::Value;
using sample::FleetSize;
using support::answer;
using test::AdministeredServer;
using test::apiError;
using test::routes;
using test::ServiceFixture;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

Value parsed(const std::string& text) {
  const auto document = platform::json::Document::parse(text);
  return Value::from(document->root());
}

/// The value at a path of members.
const Value& at(const Value& value, std::initializer_list<std::string_view> path) {
  const Value* found = &value;
  for (const auto key : path) found = found->find(key);
  return *found;
}

/// What a server's own records say about a group, read without the client.
struct Truth {
  explicit Truth(sample::SampleServer& server) : server_(server) {}

  std::vector<std::int64_t> scopedTo(std::string_view section, std::string_view root,
                                     const std::string& group) const {
    std::vector<std::int64_t> ids;
    for (const auto& id : server_.ids(section)) {
      const auto record = parsed(*server_.record(section, id));
      const auto* targets = at(record, {root, "scope", "computer_groups"}).array_();
      if (targets == nullptr) continue;
      for (const auto& target : *targets)
        if (at(target, {"id"}).text() == group) ids.push_back(std::stoll(id));
    }
    return ids;
  }
  std::vector<std::int64_t> policies(const std::string& group) const {
    return scopedTo("policies", "policy", group);
  }
  std::vector<std::int64_t> profiles(const std::string& group) const {
    return scopedTo("computerConfigurationProfiles", "os_x_configuration_profile", group);
  }

 private:
  sample::SampleServer& server_;
};

template <class Summary>
std::vector<std::int64_t> idsOf(const std::vector<Summary>& summaries) {
  std::vector<std::int64_t> ids;
  for (const auto& each : summaries) ids.push_back(each.id);
  return ids;
}

SmartGroupCriterion on(const std::string& name) {
  SmartGroupCriterion criterion;
  criterion.name = name;
  return criterion;
}

std::size_t asked(sample::SampleServer& server, std::string_view beginning) {
  return static_cast<std::size_t>(std::ranges::count_if(
      server.log().entries(),
      [&](const sample::LoggedRequest& request) { return request.path.starts_with(beginning); }));
}

/// A group that policies and profiles are scoped to.
std::string busyGroup(sample::SampleServer& server) {
  const Truth truth(server);
  for (const auto& id : server.ids("computerGroups"))
    if (truth.policies(id).size() > 1 && !truth.profiles(id).empty()) return id;
  ADD_FAILURE() << "no group is in use";
  return {};
}

TEST(DeviceRelationshipResolver, PoliciesAndProfilesAreThoseWhoseScopeNamesTheGroupInTheOrderOfTheLists) {
  AdministeredServer site;
  const auto group = busyGroup(site.server);
  const auto result = DeviceRelationshipResolver{site.client}.policiesAndProfiles(group);
  EXPECT_EQ(idsOf(result.policies), Truth(site.server).policies(group));
  EXPECT_EQ(idsOf(result.profiles), Truth(site.server).profiles(group));
}

TEST(DeviceRelationshipResolver, SeveralGroupsAtOnceGetWhatEachGetsAlone) {
  AdministeredServer site;
  const auto groups = site.server.ids("computerGroups");
  const DeviceRelationshipResolver resolver{site.client};
  const auto results = resolver.policiesAndProfilesOfEach(groups);
  ASSERT_EQ(results.size(), groups.size());
  const Truth truth(site.server);
  for (std::size_t place = 0; place < groups.size(); ++place) {
    EXPECT_EQ(idsOf(results[place].policies), truth.policies(groups[place])) << groups[place];
    EXPECT_EQ(idsOf(results[place].profiles), truth.profiles(groups[place])) << groups[place];
  }
  EXPECT_EQ(resolver.policiesAndProfiles(groups[1]), results[1]);
}

TEST(DeviceRelationshipResolver, TheRelationsOfAWholeSchoolTakeTwoListsAndOneRequestForEachRecord) {
  AdministeredServer site({.size = FleetSize::school});
  const auto groups = site.server.ids("computerGroups");
  const DeviceRelationshipResolver resolver{site.client};
  const auto results = resolver.policiesAndProfilesOfEach(groups);
  const auto policies = site.server.ids("policies").size();
  const auto profiles = site.server.ids("computerConfigurationProfiles").size();
  EXPECT_EQ(asked(site.server, "JSSResource/policies/id/"), policies);
  EXPECT_EQ(asked(site.server, "JSSResource/osxconfigurationprofiles/id/"), profiles);
  EXPECT_EQ(site.server.log().total(), policies + profiles + 2 + asked(site.server, "api/oauth/token"));
  EXPECT_EQ(site.server.log().notGet(), asked(site.server, "api/oauth/token"));
  std::size_t found = 0;
  for (const auto& each : results) found += each.policies.size();
  EXPECT_GT(found, policies / 4);
}

TEST(DeviceRelationshipResolver, NeverMoreThan8RequestsAreInFlight) {
  AdministeredServer site;
  site.server.setDelay(std::chrono::milliseconds(10));
  const DeviceRelationshipResolver resolver{site.client};
  const auto result = resolver.policiesAndProfiles("1");
  std::vector<PolicyScopeTarget> groups;
  for (const auto& id : site.server.ids("computerGroups")) groups.push_back({std::stoll(id), "G", {}});
  resolver.classify(groups);
  EXPECT_EQ(site.server.maxInFlight(), 8);
}

TEST(DeviceRelationshipResolver, WhatVanishesBetweenListAndRecordIsToldAndTheRestAnswered) {
  AdministeredServer site;
  const auto group = busyGroup(site.server);
  const auto policies = Truth(site.server).policies(group);
  const auto profiles = Truth(site.server).profiles(group);
  const auto gone = [&](const std::string& path) {
    site.server.faults().add({.path = path, .action = sample::FaultAnswer{.status = 404}});
  };
  gone(fmt::format("JSSResource/policies/id/{}", policies[0]));
  gone(fmt::format("JSSResource/osxconfigurationprofiles/id/{}", profiles[0]));
  std::vector<VanishedObject> vanished;
  const auto result = DeviceRelationshipResolver{site.client}.policiesAndProfiles(
      group, {}, {.onVanished = [&](const VanishedObject& object) { vanished.push_back(object); }});
  EXPECT_EQ(idsOf(result.policies), std::vector<std::int64_t>(policies.begin() + 1, policies.end()));
  EXPECT_EQ(idsOf(result.profiles), std::vector<std::int64_t>(profiles.begin() + 1, profiles.end()));
  ASSERT_THAT(vanished, SizeIs(2));
  EXPECT_EQ(vanished[0].kind, "policy");
  EXPECT_EQ(vanished[0].id, policies[0]);
  EXPECT_NE(vanished[0].name, "");
  EXPECT_EQ(vanished[1].kind, "configuration profile");
  EXPECT_EQ(vanished[1].id, profiles[0]);
}

TEST(DeviceRelationshipResolver, ARecordThatCanNotBeReadFailsTheCallAndEndsTheReading) {
  AdministeredServer site({.size = FleetSize::school});
  site.server.faults().add(
      {.path = "JSSResource/policies/id/*", .after = 5, .action = sample::FaultAnswer{.status = 500}});
  const auto error = apiError([&] { DeviceRelationshipResolver{site.client}.policiesAndProfiles("1"); });
  ASSERT_TRUE(error.as<APIError::RequestFailed>()) << error.description();
  EXPECT_EQ(error.as<APIError::RequestFailed>()->statusCode, 500);
  EXPECT_LT(asked(site.server, "JSSResource/policies/id/"), 40U) << "of 420";
  EXPECT_EQ(asked(site.server, "JSSResource/osxconfigurationprofiles"), 0U);
}

TEST(DeviceRelationshipResolver, AStopIsACancellationWhereverItComes) {
  const auto stopAt = [](std::uint64_t number, const auto& ask) {
    AdministeredServer site;
    std::stop_source source;
    site.server.setRequestHook([&](std::uint64_t request) {
      if (request != number) return;
      site.server.setDelay(std::chrono::minutes(1));
      source.request_stop();
    });
    EXPECT_THROW(ask(DeviceRelationshipResolver{site.client}, source.get_token()),
                 platform::CancellationError)
        << number;
  };
  using Resolver = DeviceRelationshipResolver;
  for (const std::uint64_t number : {1, 2, 3, 20})
    stopAt(number,
           [](const Resolver& resolver, const auto& stop) { resolver.policiesAndProfiles("1", stop); });
  for (const std::uint64_t number : {1, 2, 3})
    stopAt(number, [](const Resolver& resolver, const auto& stop) { resolver.distinctValues("A", stop); });
  stopAt(2, [](const Resolver& resolver, const auto& stop) { resolver.devicesInSmartGroup("1", stop); });
  stopAt(2, [](const Resolver& resolver, const auto& stop) { resolver.packagesAndScripts(1, stop); });
  stopAt(2, [](const Resolver& resolver, const auto& stop) { resolver.extensionAttributes({}, stop); });
  stopAt(2, [](const Resolver& resolver, const auto& stop) { resolver.classify({{1, "G", {}}}, stop); });
}

TEST(DeviceRelationshipResolver, AnEmptyOrganizationGivesEmptyLists) {
  ServiceFixture site(routes({
      {"GET", "/JSSResource/policies", answer(200, R"({"policies":[]})")},
      {"GET", "/JSSResource/osxconfigurationprofiles", answer(200, R"({"os_x_configuration_profiles":[]})")},
      {"GET", "/api/v1/computer-extension-attributes?page=0&page-size=200",
       answer(200, R"({"totalCount":0,"results":[]})")},
      {"GET", "/api/v1/computer-extension-attributes?page=0&page-size=100&filter=name%3D%3D%22A%22",
       answer(200, R"({"totalCount":0,"results":[]})")},
      {"GET", "/api/v1/computers-inventory?page=0&page-size=200&section=GENERAL&section=EXTENSION_ATTRIBUTES",
       answer(200, R"({"totalCount":0,"results":[]})")},
      {"GET", "/JSSResource/computergroups/id/7", answer(200, R"({"computer_group":{"computers":{}}})")},
  }));
  const DeviceRelationshipResolver resolver{site.shared()};
  EXPECT_EQ(resolver.policiesAndProfiles("7"), PolicyProfileResult());
  EXPECT_THAT(resolver.extensionAttributes({on("A")}), IsEmpty());
  EXPECT_EQ(resolver.devicesInSmartGroup("7"), GroupDevicesResult());
  EXPECT_EQ(resolver.devicesInStaticGroup("7"), GroupDevicesResult());
  EXPECT_THAT(resolver.classify({}), IsEmpty());
  EXPECT_EQ(resolver.distinctValues("A"), ExtensionAttributeValuesResult());
}

TEST(DeviceRelationshipResolver, PackagesAndScriptsAreThoseOfThePolicy) {
  AdministeredServer site;
  const DeviceRelationshipResolver resolver{site.client};
  std::size_t packages = 0;
  std::size_t scripts = 0;
  for (const auto& id : site.server.ids("policies")) {
    const auto record = parsed(*site.server.record("policies", id));
    const auto result = resolver.packagesAndScripts(std::stoll(id));
    const auto& expected = *at(record, {"policy", "package_configuration", "packages"}).array_();
    ASSERT_EQ(result.packages.size(), expected.size());
    for (std::size_t place = 0; place < expected.size(); ++place)
      EXPECT_EQ(result.packages[place].name, *at(expected[place], {"name"}).string());
    const auto* listed = at(record, {"policy", "scripts"}).array_();
    ASSERT_EQ(result.scripts.size(), listed ? listed->size() : 0);
    packages += result.packages.size();
    scripts += result.scripts.size();
  }
  EXPECT_GT(packages, 0U);
  EXPECT_GT(scripts, 0U);
}

TEST(DeviceRelationshipResolver, ExtensionAttributesAreThoseThatCriteriaNameExactly) {
  AdministeredServer site({.size = FleetSize::school});
  const ComputerExtensionAttributeService attributes{site.client};
  std::vector<std::string> names;
  for (const auto& each : attributes.list({.pageSize = 200}).results) names.push_back(each.name);
  ASSERT_GT(names.size(), 2U);
  const DeviceRelationshipResolver resolver{site.client};
  const auto found =
      resolver.extensionAttributes({on(names[2]), on("Operating System"), on(names[0]), on(names[0])});
  std::vector<std::string> foundNames;
  for (const auto& each : found) foundNames.push_back(each.name);
  for (const auto& name : foundNames) EXPECT_TRUE(name == names[0] || name == names[2]) << name;
  EXPECT_THAT(foundNames, AllOf(Contains(names[0]), Contains(names[2])));
  EXPECT_EQ(found.front().name, names[0]) << "in the order of the list, not of the criteria";
  EXPECT_THAT(resolver.extensionAttributes({on(names[0] + " ")}), IsEmpty());
}

TEST(DeviceRelationshipResolver, ExtensionAttributesBeyondThe200thAreFound) {
  const auto page = [](int from, int count) {
    std::string results;
    for (int number = from; number < from + count; ++number)
      results += fmt::format(R"({}{{"id":"{}","name":"A{}","dataType":"STRING","enabled":true,)"
                             R"("inventoryDisplayType":"GENERAL","inputType":"TEXT"}})",
                             number == from ? "" : ",", number, number);
    return answer(200, fmt::format(R"({{"totalCount":201,"results":[{}]}})", results));
  };
  ServiceFixture site(
      routes({{"GET", "/api/v1/computer-extension-attributes?page=0&page-size=200", page(0, 200)},
              {"GET", "/api/v1/computer-extension-attributes?page=1&page-size=200", page(200, 1)}}));
  const auto found = DeviceRelationshipResolver{site.shared()}.extensionAttributes({on("A200")});
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_EQ(found[0].id, "200");
}

TEST(DeviceRelationshipResolver, MembersAndKindsOfBothKindsOfGroups) {
  AdministeredServer site;
  const DeviceRelationshipResolver resolver{site.client};
  std::vector<PolicyScopeTarget> groups;
  for (const auto& id : site.server.ids("computerGroups"))
    groups.push_back({std::stoll(id), "Group " + id, {}});
  groups.push_back({99999, "Gone", {}});
  const auto classified = resolver.classify(groups);
  ASSERT_EQ(classified.size(), groups.size());
  int smart = 0;
  for (std::size_t place = 0; place + 1 < groups.size(); ++place) {
    const auto id = std::to_string(groups[place].id);
    const auto record = parsed(*site.server.record("computerGroups", id));
    EXPECT_EQ(classified[place],
              (ClassifiedGroup{id, groups[place].name,
                               at(record, {"computer_group", "is_smart"}).text() == "true"}));
    smart += classified[place].isSmart ? 1 : 0;
    const auto members =
        classified[place].isSmart ? resolver.devicesInSmartGroup(id) : resolver.devicesInStaticGroup(id);
    EXPECT_EQ(members.devices.size(), at(record, {"computer_group", "computers"}).array_()->size());
    EXPECT_EQ(members.totalCount, std::ssize(members.devices));
  }
  EXPECT_GT(smart, 0);
  EXPECT_LT(smart, std::ssize(groups) - 1);
  EXPECT_EQ(classified.back(), (ClassifiedGroup{"99999", "Gone", false}));
}

TEST(DeviceRelationshipResolver, AServerWithoutTheThirdVersionOfGroupsIsAskedByTheSecond) {
  AdministeredServer site;
  site.server.dialect().groupsV3 = false;
  const SmartGroupService smart{site.client};
  const auto group = smart.list({}).results.front();
  const auto classified =
      DeviceRelationshipResolver{site.client}.classify({{std::stoll(group.id), group.name, {}}});
  EXPECT_TRUE(classified.front().isSmart);
}

TEST(DeviceRelationshipResolver, DistinctValuesGroupAllDevicesByValueInPagesOf200) {
  AdministeredServer site({.size = FleetSize::school});
  const auto total = std::ssize(site.server.ids("computers"));
  const auto attribute = parsed(*site.server.record("computerExtensionAttributes", "1"));
  const auto result =
      DeviceRelationshipResolver{site.client}.distinctValues(*at(attribute, {"name"}).string());
  EXPECT_EQ(result.devicesScanned, total);
  EXPECT_EQ(result.totalDevices, total);
  EXPECT_TRUE(std::ranges::is_sorted(result.groups, {}, &ExtensionAttributeValueGroup::value));
  std::map<std::string, std::vector<GroupMemberDevice>> truth;
  for (const auto& id : site.server.ids("computers")) {
    const auto record = parsed(*site.server.record("computers", id));
    const auto& value = at(record, {"extensionAttributes"}).array_()->front();
    EXPECT_EQ(*at(value, {"definitionId"}).string(), "1");
    const auto& values = *at(value, {"values"}).array_();
    truth[*values.front().string()].push_back({id, *at(record, {"general", "name"}).string()});
  }
  ASSERT_EQ(result.groups.size(), truth.size());
  for (const auto& group : result.groups)
    EXPECT_THAT(group.devices, testing::UnorderedElementsAreArray(truth[group.value])) << group.value;
  // As long as a page comes back full; all of them do.
  ASSERT_EQ(total, 600);
  EXPECT_EQ(asked(site.server, "api/v1/computers-inventory"), 4U);
  for (const auto& request : site.server.log().entries())
    if (request.path == "api/v1/computers-inventory") {
      EXPECT_THAT(request.query,
                  AllOf(HasSubstr("page-size=200"), HasSubstr("section=EXTENSION_ATTRIBUTES")));
    }
}

TEST(DeviceRelationshipResolver, AnAttributeNobodyHasGivesNoGroups) {
  AdministeredServer site;
  const ComputerExtensionAttributeService attributes{site.client};
  attributes.create({"", "Unused", {}, "STRING", true, "GENERAL", "TEXT", {}, {}, {}, {}, {}});
  for (const char* name : {"Unused", "Not even defined", "battery CYCLES"}) {
    const auto result = DeviceRelationshipResolver{site.client}.distinctValues(name);
    EXPECT_THAT(result.groups, IsEmpty()) << name;
    EXPECT_EQ(result.devicesScanned, std::ssize(site.server.ids("computers")));
    EXPECT_EQ(result.devicesScanned, result.totalDevices);
  }
}

TEST(DeviceRelationshipResolver, ValuesOfAnAttributeThatTheInventoryShowsElsewhereAreFoundThere) {
  const auto attribute =
      R"({"totalCount":1,"results":[{"id":"4","name":"Dock","dataType":"STRING","enabled":true,)"
      R"("inventoryDisplayType":"HARDWARE","inputType":"TEXT"}]})";
  const auto devices =
      R"({"totalCount":3,"results":[)"
      R"({"id":"1","general":{"name":"A"},"hardware":{"extensionAttributes":[{"name":"Dock","values":["yes"]}]}},)"
      R"({"id":"2","general":null,"hardware":{"extensionAttributes":[{"name":"Dock","values":["no","yes","yes",""]}]}},)"
      R"({"id":"3","hardware":{"extensionAttributes":[{"name":"Other","values":["x"]},{"name":"Dock","values":null}]},)"
      R"("extensionAttributes":[{"name":"Dock","values":[]},{"values":["?"]}]}]})";
  ServiceFixture site(routes(
      {{"GET", "/api/v1/computer-extension-attributes?page=0&page-size=100&filter=name%3D%3D%22Dock%22",
        answer(200, attribute)},
       {"GET",
        "/api/v1/computers-inventory?page=0&page-size=200&section=GENERAL&section=EXTENSION_ATTRIBUTES&"
        "section=HARDWARE",
        answer(200, devices)}}));
  const auto result = DeviceRelationshipResolver{site.shared()}.distinctValues("Dock");
  EXPECT_EQ(result,
            (ExtensionAttributeValuesResult{{{"no", {{"2", ""}}}, {"yes", {{"1", "A"}, {"2", ""}}}}, 3, 3}));
}

TEST(DeviceRelationshipResolver, ReadingEndsAfterHundredThousandDevicesAndTheCountsSaySo) {
  std::string results;
  for (int number = 0; number < 200; ++number)
    results += fmt::format(R"({}{{"id":"{}","extensionAttributes":[]}})", number ? "," : "", number);
  const auto page = answer(200, fmt::format(R"({{"totalCount":123456,"results":[{}]}})", results));
  const auto none = answer(200, R"({"totalCount":0,"results":[]})");
  ServiceFixture site([&](test::ClientFixture::Exchange& exchange) {
    exchange.send(exchange.request.target().starts_with("/api/v1/computers-inventory") ? page : none);
  });
  std::size_t progress = 0;
  const auto result = DeviceRelationshipResolver{site.shared()}.distinctValues(
      "A", {}, {.onRecord = [&](std::size_t done, std::size_t total) {
        EXPECT_GT(done, progress);
        EXPECT_EQ(total, 123456U);
        progress = done;
      }});
  EXPECT_EQ(result, (ExtensionAttributeValuesResult{{}, 100'000, 123456}));
  EXPECT_EQ(progress, 100'000U);
  EXPECT_EQ(site.requests().size(), 501U) << "500 pages and the attribute";
}

TEST(DeviceRelationshipResolver, GroupsThatCanNotStandInAPathAreRefusedWithoutARequest) {
  ServiceFixture site(routes({}));
  const DeviceRelationshipResolver resolver{site.shared()};
  for (const char* id : {"", "..", "1/2", "a\nb"})
    EXPECT_TRUE(apiError([&] { resolver.devicesInSmartGroup(id); }).as<APIError::RequestFailed>()) << id;
  EXPECT_THAT(site.asked(), IsEmpty());
}

TEST(DeviceRelationshipResolver, TheWatcherHearsOfEveryRecord) {
  AdministeredServer site;
  std::mutex mutex;
  std::vector<std::pair<std::size_t, std::size_t>> heard;  // guarded by mutex
  DeviceRelationshipResolver{site.client}.policiesAndProfiles(
      "1", {}, {.onRecord = [&](std::size_t done, std::size_t total) {
        const std::lock_guard lock(mutex);
        heard.emplace_back(done, total);
      }});
  const auto policies = site.server.ids("policies").size();
  const auto profiles = site.server.ids("computerConfigurationProfiles").size();
  EXPECT_EQ(heard.size(), policies + profiles);
  EXPECT_THAT(heard, AllOf(Contains(std::pair(policies, policies)), Contains(std::pair(profiles, profiles))));
}

}  // namespace
}  // namespace jamf
