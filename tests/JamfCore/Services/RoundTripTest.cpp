#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "JamfCore/Networking/GroupMemberDevice.h"
#include "JamfCore/Services/CategoryService.h"
#include "JamfCore/Services/ComputerExtensionAttributeService.h"
#include "JamfCore/Services/ConfigurationProfileService.h"
#include "JamfCore/Services/DeviceService.h"
#include "JamfCore/Services/PackageService.h"
#include "JamfCore/Services/PatchComplianceService.h"
#include "JamfCore/Services/PolicyService.h"
#include "JamfCore/Services/ScriptService.h"
#include "JamfCore/Services/SmartGroupService.h"
#include "JamfCore/Services/StaticGroupService.h"
#include "Platform/Files/Files.h"
#include "tests/JamfCore/AdministeredServer.h"
#include "tests/JamfCore/ClientFixture.h"

// Every service against a server that keeps what is written.
namespace jamf {
namespace {

using test::AdministeredServer;
using test::apiError;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

/// A name with everything that a path, a filter or XML could trip over.
const std::string hardName = R"(A&B <C> "D" 'E' \ / % ? # é 日本)";

std::int64_t statusOf(const APIError& error) {
  const auto* const failed = error.as<APIError::RequestFailed>();
  return failed ? failed->statusCode : 0;
}

TEST(RoundTrip, Categories) {
  for (const bool whole : {false, true}) {
    AdministeredServer site;
    site.server.dialect().createGivesObject = whole;
    const CategoryService categories{site.client};
    const auto made = categories.create({"", hardName, 7});
    EXPECT_EQ(made.name, hardName);
    EXPECT_EQ(categories.get(made.id), made);
    EXPECT_THAT(categories.search(hardName), ElementsAre(made));
    EXPECT_THAT(categories.list({.pageSize = 200}).results, Contains(made));
    EXPECT_EQ(categories.update(made.id, {made.id, "Other", 3}), (Category{made.id, "Other", 3}));
    categories.delete_(made.id);
    EXPECT_EQ(statusOf(apiError([&] { categories.get(made.id); })), 404);
  }
}

TEST(RoundTrip, EnsuringACategoryTwiceMakesOne) {
  AdministeredServer site;
  const CategoryService categories{site.client};
  const auto before = categories.list({}).totalCount;
  const auto made = categories.ensureCategory(hardName);
  EXPECT_EQ(made.priority, 9);
  EXPECT_EQ(categories.ensureCategory(hardName), made);
  EXPECT_EQ(categories.list({}).totalCount, before + 1);
}

TEST(RoundTrip, Scripts) {
  AdministeredServer site;
  const ScriptService scripts{site.client};
  Script wanted;
  wanted.name = hardName;
  wanted.notes = "line\nline";
  wanted.priority = ScriptPriority::atReboot;
  wanted.parameter4 = "App";
  wanted.scriptContents = "#!/bin/sh\necho \"a & b\" > /tmp/x\n";
  auto made = scripts.create(wanted);
  EXPECT_EQ(made.scriptContents, wanted.scriptContents);
  EXPECT_EQ(made.parameter4, "App");
  EXPECT_THAT(scripts.search(hardName), ElementsAre(made));
  made.notes = "changed";
  EXPECT_EQ(scripts.update(made.id, made).notes, "changed");
  EXPECT_EQ(scripts.get(made.id).scriptContents, wanted.scriptContents);
  scripts.delete_(made.id);
  EXPECT_THAT(scripts.search(hardName), IsEmpty());
}

TEST(RoundTrip, ExtensionAttributes) {
  AdministeredServer site;
  const ComputerExtensionAttributeService attributes{site.client};
  ComputerExtensionAttribute wanted;
  wanted.name = hardName;
  wanted.dataType = "STRING";
  wanted.enabled = true;
  wanted.inventoryDisplayType = "GENERAL";
  wanted.inputType = "POPUP";
  wanted.popupMenuChoices = {"a", "b"};
  auto made = attributes.create(wanted);
  EXPECT_EQ(made.popupMenuChoices, wanted.popupMenuChoices);
  EXPECT_THAT(attributes.search(hardName), ElementsAre(made));
  made.enabled = false;
  EXPECT_FALSE(attributes.update(made.id, made).enabled);
  attributes.delete_(made.id);
  EXPECT_EQ(statusOf(apiError([&] { attributes.get(made.id); })), 404);
}

TEST(RoundTrip, PackagesAndTheirFiles) {
  AdministeredServer site;
  const PackageService packages{site.client};
  Package wanted;
  wanted.packageName = hardName;
  wanted.fileName = "Pages 14.pkg";
  wanted.categoryId = "-1";
  wanted.priority = 10;
  auto made = packages.create(wanted);
  EXPECT_EQ(made.packageName, hardName);
  EXPECT_THAT(packages.search(hardName), SizeIs(1));

  const platform::files::TempFolder folder;
  const platform::Bytes content(5'000'000, 'x');
  platform::files::atomicWrite(content, folder / "Pages 14.pkg");
  std::atomic<int> reports = 0;
  std::atomic<double> last = 0;
  packages.upload(made.id, folder / "Pages 14.pkg", [&](double share) {
    EXPECT_GE(share, last.load());
    last = share;
    ++reports;
  });
  EXPECT_EQ(last, 1);
  EXPECT_GT(reports, 1);
  made = packages.get(made.id);
  EXPECT_EQ(made.size->bytes(), 5'000'000);
  EXPECT_EQ(made.hashType, "SHA_512");
  site.server.writePackageFile("Pages 14.pkg", folder / "stored");
  EXPECT_EQ(platform::files::read(folder / "stored"), content);

  made.info = "changed";
  EXPECT_EQ(packages.update(made.id, made).info, "changed");
  packages.delete_(made.id);
  EXPECT_EQ(statusOf(apiError([&] { packages.upload(made.id, folder / "Pages 14.pkg"); })), 404);
}

TEST(RoundTrip, ASizeOfAnyShapeIsReadWithItsPackage) {
  AdministeredServer site;
  for (const auto shape : {sample::PackageSizeShape::digits, sample::PackageSizeShape::empty,
                           sample::PackageSizeShape::unit, sample::PackageSizeShape::null}) {
    site.server.setPackageSizeShape(shape);
    const auto page = PackageService{site.client}.list({});
    ASSERT_THAT(page.results, Not(IsEmpty()));
    const auto& size = page.results[0].size;
    EXPECT_EQ(size && size->bytes().has_value(), shape == sample::PackageSizeShape::digits);
  }
}

TEST(RoundTrip, SmartGroups) {
  for (const bool v3 : {true, false}) {
    AdministeredServer site;
    site.server.dialect().groupsV3 = v3;
    site.server.dialect().smartGroupTellsID = v3;
    const SmartGroupService groups{site.client};
    const std::vector<SmartGroupCriterion> criteria{
        {"Operating System Version", 0, AndOr::and_, "greater than or equal", "14.0", true, false},
        {"Model", 1, AndOr::or_, "like", "Air", false, true}};
    const auto made = groups.create({hardName, "d", {}, criteria});
    const auto detail = groups.get(made.id);
    EXPECT_EQ(detail.id, made.id);
    EXPECT_EQ(detail.criteria, criteria);
    EXPECT_THAT(groups.list({.filter = exactFilter("name", hardName)}).results,
                ElementsAre(Field(&SmartGroupSummary::id, made.id)));
    EXPECT_EQ(groups.update(made.id, {"Other", {}, {}, {}}).criteria, std::vector<SmartGroupCriterion>());
    EXPECT_THAT(groups.membership(made.id), IsEmpty());
    groups.delete_(made.id);
    EXPECT_EQ(statusOf(apiError([&] { groups.get(made.id); })), 404);
  }
}

TEST(RoundTrip, TheServersErrorsAreInTheFailure) {
  AdministeredServer site;
  const SmartGroupService groups{site.client};
  groups.create({"Twice", {}, {}, {}});
  const auto duplicate = apiError([&] { groups.create({"Twice", {}, {}, {}}); });
  EXPECT_EQ(statusOf(duplicate), 422);
  EXPECT_THAT(duplicate.description(), HasSubstr("DUPLICATE_FIELD"));
  EXPECT_EQ(statusOf(apiError([&] { groups.list({.filter = R"(nmae=="x")"}); })), 400);
  EXPECT_EQ(statusOf(apiError([&] { CategoryService{site.client}.create({"", "", 1}); })), 400);
}

TEST(RoundTrip, StaticGroupsAndTheirMembers) {
  AdministeredServer site;
  const StaticGroupService groups{site.client};
  const auto computers = site.server.ids("computers");
  const auto made = groups.create({hardName, {}, {}, {computers[0], computers[1]}});
  EXPECT_EQ(groups.get(made.id).assignments, std::nullopt);
  const auto members = site.client->classicGroupMembers(made.id);
  EXPECT_THAT(members, ElementsAre(Field(&GroupMemberDevice::id, computers[0]),
                                   Field(&GroupMemberDevice::id, computers[1])));
  EXPECT_EQ(groups.update(made.id, {hardName, "d", {}, {}}).description, "d");
  EXPECT_THAT(site.client->classicGroupMembers(made.id), IsEmpty());
  const auto unknown = apiError([&] { groups.create({"Other", {}, {}, {"999999"}}); });
  EXPECT_EQ(statusOf(unknown), 400);
  EXPECT_THAT(unknown.description(), HasSubstr("INVALID_DEVICE"));
  groups.delete_(made.id);
  EXPECT_EQ(statusOf(apiError([&] { groups.get(made.id); })), 404);
}

TEST(RoundTrip, Policies) {
  AdministeredServer site;
  site.server.dialect().emptyScopeListIsObject = true;
  const PolicyService policies{site.client};
  const auto category = CategoryService{site.client}.ensureCategory("R&D / Lab");
  PolicyGeneralWrite general;
  general.name = hardName;
  general.enabled = true;
  general.triggerLogin = true;
  general.triggerOther = "a&b";
  general.frequency = "Ongoing";
  general.categoryName = category.name;
  ClassicAPIScopeWrite scope;
  scope.computerIds = {std::stoll(site.server.ids("computers")[0])};
  const auto id = policies.create(general, scope);
  const auto policy = policies.get(id);
  EXPECT_EQ(policies.get(hardName), policy);
  EXPECT_EQ(policy.general.name, hardName);
  EXPECT_TRUE(policy.general.triggerLogin);
  EXPECT_EQ(policy.general.triggerOther, "a&b");
  EXPECT_EQ(policy.general.category->name, category.name);
  EXPECT_THAT(policy.scope->computers.elements,
              ElementsAre(Field(&PolicyScopeTarget::id, scope.computerIds[0])));
  EXPECT_THAT(policies.list(), Contains(PolicySummary{id, hardName}));
  EXPECT_THAT(policies.list(category.name), ElementsAre(PolicySummary{id, hardName}));

  general.enabled = false;
  policies.updateGeneral(id, general, {});
  EXPECT_FALSE(policies.get(id).general.enabled);
  EXPECT_EQ(policies.get(id).scope, policy.scope) << "a scope that is not sent stays";
  policies.updateGeneral(id, general, ClassicAPIScopeWrite{.allComputers = true});
  EXPECT_TRUE(policies.get(id).scope->allComputers);
  EXPECT_TRUE(policies.get(id).scope->computers.empty());

  EXPECT_THAT(apiError([&] { policies.create(general, {}); }).description(), HasSubstr("Duplicate name"));
  policies.delete_(id);
  EXPECT_EQ(statusOf(apiError([&] { policies.get(id); })), 404);
  EXPECT_EQ(statusOf(apiError([&] { policies.get(hardName); })), 404);
}

TEST(RoundTrip, ConfigurationProfiles) {
  AdministeredServer site;
  const ConfigurationProfileService profiles{site.client};
  ConfigurationProfileGeneralWrite general;
  general.name = hardName;
  general.description = "<for> & all";
  general.userRemovable = true;
  general.level = "System";
  general.payloads =
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key><string>b</string></dict></plist>";
  const auto id = profiles.create(general, {});
  const auto profile = profiles.get(hardName);
  EXPECT_EQ(profile.general.id, id);
  EXPECT_EQ(profile.general.payloads, general.payloads);
  EXPECT_EQ(profile.general.userRemovable, true);
  EXPECT_THAT(profiles.list(), Contains(ConfigurationProfileSummary{id, hardName}));
  ConfigurationProfileGeneralWrite change;
  change.name = "Renamed";
  profiles.updateGeneral(id, change, ClassicAPIScopeWrite{.allComputers = true});
  EXPECT_EQ(profiles.get(id).general.name, "Renamed");
  EXPECT_TRUE(profiles.get(id).scope->allComputers);
  profiles.delete_(id);
  EXPECT_EQ(statusOf(apiError([&] { profiles.get(id); })), 404);
}

TEST(RoundTrip, AClassicAnswerWithoutAnIDFailsThoughTheObjectWasMade) {
  AdministeredServer site;
  site.server.dialect().classicWriteHidesID = true;
  const PolicyService policies{site.client};
  PolicyGeneralWrite general;
  general.name = "Made all the same";
  EXPECT_THAT(apiError([&] { policies.create(general, {}); }).description(),
              HasSubstr("Could not find <id> in policy create response"));
  EXPECT_EQ(policies.get("Made all the same").general.name, "Made all the same");
}

TEST(RoundTrip, Devices) {
  for (const bool values : {false, true}) {
    AdministeredServer site;
    site.server.dialect().attributesNamedValues = values;
    site.server.dialect().patchGivesRecord = values;
    const DeviceService devices{site.client};
    const auto page = devices.list({.pageSize = 5});
    EXPECT_EQ(page.totalCount, static_cast<std::int64_t>(site.server.ids("computers").size()));
    ASSERT_THAT(page.results, SizeIs(5));
    const auto& first = page.results[0];
    EXPECT_TRUE(first.general && first.hardware);
    EXPECT_FALSE(first.operatingSystem);
    const auto whole = devices.get(first.id);
    EXPECT_TRUE(whole.operatingSystem && whole.security && whole.extensionAttributeValues && whole.storage);
    EXPECT_THAT(devices.search(*first.hardware->serialNumber), ElementsAre(Field(&Device::id, first.id)));
    EXPECT_THAT(devices.search("\"; no such"), IsEmpty());

    const auto renamed = devices.updateGeneral(first.id, hardName, {});
    EXPECT_EQ(renamed.general->name, hardName);
    EXPECT_EQ(renamed.general->assetTag, whole.general->assetTag);
    EXPECT_EQ(devices.updateGeneral(first.id, {}, "A-1").general->name, hardName);
    devices.delete_(first.id);
    EXPECT_EQ(statusOf(apiError([&] { devices.get(first.id); })), 404);
    EXPECT_EQ(statusOf(apiError([&] { devices.updateGeneral(first.id, "x", {}); })), 404);
  }
}

TEST(RoundTrip, AServerWithoutVersion4RefusesToChangeAComputer) {
  AdministeredServer site;
  site.server.dialect().inventoryV4 = false;
  const DeviceService devices{site.client};
  EXPECT_EQ(statusOf(apiError([&] { devices.updateGeneral(site.server.ids("computers")[0], "x", {}); })),
            404);
}

TEST(RoundTrip, PolicyLogs) {
  AdministeredServer site;
  const DeviceService devices{site.client};
  std::size_t without = 0;
  std::size_t entries = 0;
  for (const auto& id : site.server.ids("computers")) {
    const auto logs = devices.policyLogs(id);
    without += logs.empty() ? 1 : 0;
    entries += logs.size();
    for (const auto& log : logs) EXPECT_TRUE(log.dateCompletedUTC.has_value());
  }
  EXPECT_GE(without, 1U);
  EXPECT_GT(entries, site.server.ids("computers").size());
}

TEST(RoundTrip, PatchTitles) {
  for (const bool v3 : {true, false}) {
    AdministeredServer site;
    site.server.dialect().patchV3 = v3;
    const PatchComplianceService patch{site.client};
    const auto titles = patch.list();
    ASSERT_THAT(titles, Not(IsEmpty()));
    EXPECT_EQ(patch.get(titles[0].id), titles[0]);
    const auto summary = patch.summary(titles[0].id);
    EXPECT_EQ(summary.softwareTitleConfigurationId, titles[0].id);
    const auto report = patch.report(titles[0].id, {});
    EXPECT_EQ(report.totalCount, summary.upToDate + summary.outOfDate);
    ASSERT_THAT(report.results, Not(IsEmpty()));
    EXPECT_THAT(report.results, Each(Field(&PatchReport::lastCheckIn, testing::Ne(std::nullopt))));
  }
}

}  // namespace
}  // namespace jamf
