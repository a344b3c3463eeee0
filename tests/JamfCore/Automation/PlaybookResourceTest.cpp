#include "JamfCore/Automation/PlaybookResource.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace jamf {
namespace {

using testing::ElementsAre;

PolicyGeneralWrite written(const PlaybookPolicy& policy) { return policy.toWrite(); }

TEST(PlaybookResource, AStateThatIsLeftOutIsPresent) {
  PlaybookResource resource{PlaybookScript{.name = "S"}};
  EXPECT_EQ(resource.state(), PlaybookResourceState::present);
  std::get<PlaybookScript>(resource.record).state = PlaybookResourceState::absent;
  EXPECT_EQ(resource.state(), PlaybookResourceState::absent);
}

TEST(PlaybookResource, EveryKindHasItsTypeAndItsLabel) {
  const std::pair<PlaybookResource, std::pair<const char*, const char*>> known[] = {
      {{PlaybookSmartGroup{}}, {"smartGroup", "Smart Group"}},
      {{PlaybookPolicy{}}, {"policy", "Policy"}},
      {{PlaybookScript{}}, {"script", "Script"}},
      {{PlaybookConfigurationProfile{}}, {"configurationProfile", "Configuration Profile"}},
      {{PlaybookComputerExtensionAttribute{}}, {"computerExtensionAttribute", "Extension Attribute"}},
      {{PlaybookPackage{}}, {"package", "Package"}}};
  for (const auto& [resource, texts] : known) {
    EXPECT_EQ(resource.type(), texts.first);
    EXPECT_EQ(resource.typeLabel(), texts.second);
  }
}

TEST(PlaybookSmartGroup, ConditionsGetTheirPlaceAsPriority) {
  const PlaybookSmartGroup group{
      .name = "G",
      .criteria = std::vector<PlaybookSmartGroupCriterion>{{"A", "is", "1", {}, true, {}},
                                                           {"B", "is not", "2", AndOr::or_, {}, false}}};
  EXPECT_THAT(group.resolvedCriteria(),
              ElementsAre(SmartGroupCriterion{"A", 0, AndOr::and_, "is", "1", true, {}},
                          SmartGroupCriterion{"B", 1, AndOr::or_, "is not", "2", {}, false}));
  EXPECT_TRUE(PlaybookSmartGroup{}.resolvedCriteria().empty());
}

TEST(PlaybookPolicy, TheOlderTriggerIsReadInAnyCaseOfLetters) {
  EXPECT_TRUE(written({.name = "P", .trigger = "checkin"}).triggerCheckin);
  EXPECT_TRUE(written({.name = "P", .trigger = "Enrollment_Complete"}).triggerEnrollmentComplete);
  EXPECT_TRUE(written({.name = "P", .trigger = "LOGIN"}).triggerLogin);
  EXPECT_TRUE(written({.name = "P", .trigger = "NETWORK_STATE_CHANGED"}).triggerNetworkStateChanged);
  EXPECT_TRUE(written({.name = "P", .trigger = "startup"}).triggerStartup);
  EXPECT_EQ(written({.name = "P", .trigger = "checkin"}).triggerOther, std::nullopt);
  EXPECT_FALSE(written({.name = "P", .trigger = "checkin"}).triggerLogin);
}

TEST(PlaybookPolicy, AnyOtherOlderTriggerIsTheCustomOne) {
  const auto write = written({.name = "P", .trigger = "MyEvent"});
  EXPECT_EQ(write.triggerOther, "MyEvent");
  EXPECT_FALSE(write.triggerCheckin);
  EXPECT_EQ(written({.name = "P", .trigger = ""}).triggerOther, "");
  EXPECT_EQ(written({.name = "P"}).triggerOther, std::nullopt);
}

TEST(PlaybookPolicy, AnyDeclaredTriggerMakesTheOlderOneNothing) {
  const auto write = written({.name = "P", .trigger = "LOGIN", .triggerStartup = false});
  EXPECT_FALSE(write.triggerLogin);
  EXPECT_FALSE(write.triggerStartup);
  EXPECT_FALSE(written({.name = "P", .trigger = "LOGIN", .triggerOther = "x"}).triggerLogin);
}

TEST(PlaybookPolicy, IsWrittenDisabledUnlessItSaysOtherwise) {
  EXPECT_FALSE(written({.name = "P"}).enabled);
  EXPECT_TRUE(written({.name = "P", .enabled = true}).enabled);
  const auto write = written({.name = "P", .frequency = "Ongoing", .categoryName = "Apps"});
  EXPECT_EQ(write.name, "P");
  EXPECT_EQ(write.frequency, "Ongoing");
  EXPECT_EQ(write.categoryName, "Apps");
}

TEST(PlaybookScript, BecomesAScriptWithoutIDCategoryAndParameters) {
  const auto script =
      PlaybookScript{"S", "i", "n", ScriptPriority::before, "Apps", "14", "#!/bin/sh", {}}.toScript();
  Script expected;
  expected.name = "S";
  expected.info = "i";
  expected.notes = "n";
  expected.priority = ScriptPriority::before;
  expected.categoryName = "Apps";
  expected.osRequirements = "14";
  expected.scriptContents = "#!/bin/sh";
  EXPECT_EQ(script, expected);
}

TEST(PlaybookComputerExtensionAttribute, HasItsDefaults) {
  const auto attribute = PlaybookComputerExtensionAttribute{.name = "A"}.toAttribute();
  ComputerExtensionAttribute expected;
  expected.name = "A";
  expected.dataType = "STRING";
  expected.enabled = true;
  expected.inventoryDisplayType = "GENERAL";
  expected.inputType = "TEXT";
  EXPECT_EQ(attribute, expected);
  const auto other =
      PlaybookComputerExtensionAttribute{.name = "A",
                                         .dataType = AttributeDataType::date,
                                         .enabled = false,
                                         .inventoryDisplayType = AttributeDisplay::userAndLocation,
                                         .inputType = AttributeInput::directoryServiceAttributeMapping}
          .toAttribute();
  EXPECT_EQ(other.dataType, "DATE");
  EXPECT_FALSE(other.enabled);
  EXPECT_EQ(other.inventoryDisplayType, "USER_AND_LOCATION");
  EXPECT_EQ(other.inputType, "DIRECTORY_SERVICE_ATTRIBUTE_MAPPING");
}

TEST(PlaybookPackage, LeavesOutWhatItDoesNotDeclare) {
  const auto package =
      PlaybookPackage{.name = "P", .fileName = "P.pkg", .priority = 5, .rebootRequired = true}.toPackage("7");
  Package expected;
  expected.packageName = "P";
  expected.fileName = "P.pkg";
  expected.priority = 5;
  expected.categoryId = "7";
  expected.rebootRequired = true;
  EXPECT_EQ(package, expected);
}

TEST(PlaybookConfigurationProfile, IsWrittenFieldForField) {
  const auto write =
      PlaybookConfigurationProfile{"P", "d", "Install", true, "System", "Net", "<plist/>", {}}.toWrite();
  EXPECT_EQ(write,
            (ConfigurationProfileGeneralWrite{"P", "d", "Install", true, "System", "Net", "<plist/>"}));
}

}  // namespace
}  // namespace jamf
