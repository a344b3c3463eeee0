#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "JamfCore/Models/ClassicRecords.h"
#include "JamfCore/Models/ComputerExtensionAttribute.h"
#include "JamfCore/Models/ComputerGroups.h"
#include "JamfCore/Models/ConfigurationProfile.h"
#include "JamfCore/Models/Device.h"
#include "JamfCore/Models/Package.h"
#include "JamfCore/Models/Patch.h"
#include "JamfCore/Models/Policy.h"
#include "JamfCore/Models/Script.h"

namespace jamf {
namespace {

namespace json = platform::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

template <class T>
T decoded(std::string_view text) {
  return json::Decoder().decode<T>(text);
}

template <class T>
std::string encoded(const T& value) {
  return json::Encoder(json::Rendering::compact).encode(value);
}

template <class T>
std::string problemOf(std::string_view text) {
  try {
    decoded<T>(text);
  } catch (const platform::Error& error) {
    return error.description();
  }
  return "";
}

TEST(Device, ExtensionAttributesAreReadFromEitherKeyAndWrittenUnderTheirOwn) {
  for (const auto* key : {"extensionAttributes", "extensionAttributeValues"}) {
    const auto device = decoded<Device>(R"({"id":"1",")" + std::string(key) +
                                        R"(":[{"definitionId":"23","name":"Cycles","values":["112"]}]})");
    ASSERT_TRUE(device.extensionAttributeValues) << key;
    EXPECT_EQ(device.extensionAttributeValues->at(0).name, "Cycles");
    EXPECT_EQ(encoded(device), R"({"extensionAttributeValues":[{"definitionId":"23","name":"Cycles",)"
                               R"("values":["112"]}],"id":"1"})");
  }
}

TEST(Device, ASectionThatWasNotAskedForIsNullOrMissing) {
  for (const auto* text : {R"({"id":"1","hardware":null,"general":{"name":"Mac"}})",
                           R"({"id":"1","general":{"name":"Mac","supervised":null}})"}) {
    const auto device = decoded<Device>(text);
    EXPECT_FALSE(device.hardware);
    EXPECT_EQ(device.general->name, "Mac");
    EXPECT_EQ(device.general->supervised, std::nullopt);
  }
}

TEST(Device, EverySectionComesBackAsItWasRead) {
  const std::string text =
      R"({"applications":[{"bundleId":"com.apple.iWork.Pages","macAppStore":true,"name":"Pages.app",)"
      R"("sizeMegabytes":612}],"certificates":[{"commonName":"X","identity":true}],)"
      R"("general":{"assetTag":"A-20418","enrollmentMethod":{"id":"2","objectName":"Lab Macs"},)"
      R"("extensionAttributes":[{"name":"Own"}],"mdmCapable":{"capable":true,"capableUsers":["iokafor"]},)"
      R"("name":"TAM-0118","remoteManagement":{"managed":true},"reportDate":"2026-07-20T06:41:09.512Z",)"
      R"("site":{"id":"-1","name":"None"},"supervised":true},"groupMemberships":[{"groupId":"9",)"
      R"("smartGroup":true}],"hardware":{"appleSilicon":true,"coreCount":8,"make":"Apple",)"
      R"("serialNumber":"FVTAM0118X"},"id":"118","localUserAccounts":[{"admin":false,)"
      R"("homeDirectorySizeMb":-1,"passwordMinLength":8,"uid":"501"}],"operatingSystem":{"version":"15.5"},)"
      R"("purchasing":{"leased":false,"lifeExpectancy":4,"poDate":"2025-07-02"},"security":{)"
      R"("firewallEnabled":true,"sipStatus":"ENABLED"},"storage":{"bootDriveAvailableSpaceMegabytes":181223,)"
      R"("disks":[{"id":"401","partitions":[{"name":"Macintosh HD","percentUsed":24}],)"
      R"("sizeMegabytes":251000}]},"udid":"7C1B","userAndLocation":{"username":"iokafor"}})";
  const auto device = decoded<Device>(text);
  EXPECT_EQ(decoded<Device>(encoded(device)), device);
  EXPECT_EQ(json::Document::parse(encoded(device))->root()["general"]->sortedMembers().size(), 9U);
  EXPECT_THAT(encoded(device), Not(HasSubstr("null")));
  EXPECT_EQ(device.storage->disks->at(0).partitions->at(0).percentUsed, 24);
}

TEST(Device, AWrongTypeIsToldWithItsPlace) {
  EXPECT_EQ(problemOf<DevicePage>(R"({"totalCount":1,"results":[{"id":"1","general":{"name":7}}]})"),
            "results[0].general.name: not a text");
  EXPECT_EQ(problemOf<DevicePage>(R"({"totalCount":1,"results":{}})"), "results: not an array");
  EXPECT_EQ(problemOf<DevicePage>(R"({"results":[]})"), "totalCount: missing");
  EXPECT_EQ(problemOf<DevicePage>(R"({"totalCount":1,"results":[{}]})"), "results[0].id: missing");
}

TEST(Package, TheSizeIsReadAsServersWriteIt) {
  EXPECT_EQ(PackageSize{"412345678"}.bytes(), 412'345'678);
  EXPECT_EQ(PackageSize{"5000000000"}.bytes(), 5'000'000'000);
  for (const auto* text : {"", "234KB", "-1", " 1", "1.0", "99999999999999999999"})
    EXPECT_EQ(PackageSize{text}.bytes(), std::nullopt) << text;
  EXPECT_EQ(decoded<PackageSize>("412345678"), PackageSize{"412345678"});
  EXPECT_EQ(decoded<PackageSize>(R"("234KB")"), PackageSize{"234KB"});
  EXPECT_EQ(problemOf<PackageSize>("true"), "not a text");
}

TEST(Package, ARecordOfTheServerComesBackAsItWasRead) {
  const auto package = decoded<Package>(
      R"({"id":"15","packageName":"Pages","fileName":"Pages.pkg","categoryId":"3","info":"","notes":null,
          "priority":10,"osRequirements":"","fillUserTemplate":false,"indexed":false,"rebootRequired":true,
          "osInstall":false,"suppressUpdates":false,"suppressFromDock":false,"suppressEula":false,
          "suppressRegistration":false,"hashType":"SHA_512","hashValue":"00","size":"412345678"})");
  EXPECT_EQ(package.notes, std::nullopt);
  EXPECT_TRUE(package.rebootRequired);
  EXPECT_EQ(package.size->bytes(), 412'345'678);
  EXPECT_EQ(decoded<Package>(encoded(package)), package);
}

TEST(Script, APriorityIsOneOfThree) {
  const auto script =
      decoded<Script>(R"({"id":"6","name":"Dock","priority":"AT_REBOOT","parameter4":"App"})");
  EXPECT_EQ(script.priority, ScriptPriority::atReboot);
  EXPECT_EQ(encoded(script), R"({"id":"6","name":"Dock","parameter4":"App","priority":"AT_REBOOT"})");
  EXPECT_EQ(problemOf<Script>(R"({"id":"6","name":"Dock","priority":"After"})"),
            "priority: an unknown value");
}

TEST(SmartGroupDetail, ServersMayLeaveTheIDOut) {
  const auto group = decoded<SmartGroupDetail>(
      R"({"name":"macOS 14","description":"","criteria":[{"name":"Operating System Version","priority":0,
          "andOr":"or","searchType":"is","value":"14.0","openingParen":false}],"siteId":"-1"})");
  EXPECT_EQ(group.id, std::nullopt);
  EXPECT_THAT(group.criteria, ElementsAre(SmartGroupCriterion{
                                  "Operating System Version", 0, AndOr::or_, "is", "14.0", false, {}}));
}

TEST(Policy, ListsThatBecameObjectsAreEmpty) {
  const auto policy = decoded<PolicyDetail>(
      R"({"general":{"id":42,"name":"Pages","enabled":true,"trigger":"USER_INITIATED","trigger_checkin":false,
          "trigger_enrollment_complete":false,"trigger_login":true,"trigger_network_state_changed":false,
          "trigger_startup":false,"trigger_other":"pages","frequency":"Ongoing",
          "category":{"id":-1,"name":"No category assigned"},"site":{"id":-1,"name":"None"}},
          "scope":{"all_computers":false,"computers":[{"id":118,"name":"TAM","udid":"7C"}],
          "computer_groups":{},"buildings":[],"departments":[{"id":4,"name":"Teaching"}],
          "limitations":{"users":[{"name":"guest"},{"id":"12","name":"a"},{"id":"x","name":"b"},
          {"id":3,"name":"c"}],"user_groups":{},"network_segments":[],"ibeacons":[]}},
          "package_configuration":{"packages":[{"id":15,"name":"Pages.pkg","action":"Install"}],
          "distribution_point":"default"},"scripts":{}})");
  EXPECT_TRUE(policy.general.triggerLogin);
  EXPECT_EQ(policy.general.category->id, -1);
  EXPECT_EQ(policy.scope->computers[0].udid, "7C");
  EXPECT_TRUE(policy.scope->computerGroups.empty());
  EXPECT_THAT(policy.scope->limitations->users.elements,
              ElementsAre(ScopeLimitation{{}, "guest"}, ScopeLimitation{12, "a"}, ScopeLimitation{{}, "b"},
                          ScopeLimitation{3, "c"}));
  EXPECT_EQ(policy.packages.packages[0].id, 15);
  EXPECT_TRUE(policy.scripts.empty());
  EXPECT_EQ(decoded<PolicyDetail>(encoded(policy)), policy);
  EXPECT_THAT(encoded(policy), HasSubstr(R"("package_configuration":{"packages":[{"action":"Install")"));
  EXPECT_THAT(encoded(policy), HasSubstr(R"("trigger_login":true)"));
}

TEST(Policy, IDsBeyond32BitsAreKept) {
  EXPECT_EQ(decoded<PolicySummary>(R"({"id":9223372036854775807,"name":"x"})").id, 9'223'372'036'854'775'807);
  EXPECT_EQ(problemOf<PolicySummary>(R"({"id":9223372036854775808,"name":"x"})"),
            "id: the integer is out of range");
}

TEST(ConfigurationProfile, AllButIDAndNameMayBeMissing) {
  const auto profile = decoded<ConfigurationProfileDetail>(R"({"general":{"id":31,"name":"Wi-Fi"}})");
  EXPECT_EQ(profile.general.payloads, std::nullopt);
  EXPECT_EQ(profile.scope, std::nullopt);
  EXPECT_EQ(encoded(profile), R"({"general":{"id":31,"name":"Wi-Fi"}})");
}

TEST(PatchReport, TheLastCheckInIsReadFromTheOlderKeyToo) {
  EXPECT_EQ(decoded<PatchReport>(R"({"lastContactTime":"2026-07-20T11:56:02Z"})").lastCheckIn,
            "2026-07-20T11:56:02Z");
  EXPECT_EQ(decoded<PatchReport>(R"({"lastCheckIn":"a","lastContactTime":"b"})").lastCheckIn, "a");
  EXPECT_EQ(decoded<PatchReport>("{}"), PatchReport{});
}

TEST(ClassicList, OnlyAnObjectWithoutElementsStandsForAnEmptyList) {
  using List = ClassicList<PolicySummary>;
  for (const auto* text : {"[]", "{}", R"({"size":0})"})
    EXPECT_TRUE(decoded<List>(text).elements.empty()) << text;
  EXPECT_EQ(decoded<List>(R"([{"id":1,"name":"a"}])").elements.size(), 1U);
  EXPECT_EQ(problemOf<List>(R"({"size":1})"), "not an array");
  EXPECT_EQ(problemOf<List>(R"({"policy":{"id":1,"name":"a"}})"), "not an array");
  EXPECT_EQ(problemOf<List>(R"([{"id":1,"name":"a"},{"id":"2"}])"), "[1].id: not an integer");
}

TEST(ComputerExtensionAttribute, KindsOfLaterServersAreKept) {
  const auto attribute = decoded<ComputerExtensionAttribute>(
      R"({"id":"23","name":"Cycles","dataType":"DATE_TIME","enabled":true,"inventoryDisplayType":"NEW",
          "inputType":"LDAP","popupMenuChoices":[],"manageExistingData":null})");
  EXPECT_EQ(decoded<ComputerExtensionAttribute>(encoded(attribute)), attribute);
  EXPECT_EQ(attribute.inputType, "LDAP");
}

}  // namespace
}  // namespace jamf
