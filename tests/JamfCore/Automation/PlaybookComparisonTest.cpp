#include "JamfCore/Automation/PlaybookComparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace jamf {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> fieldsOf(const FieldDifferences& found) {
  std::vector<std::string> fields;
  for (const auto& each : found) fields.push_back(each.field);
  return fields;
}

SmartGroupDetail group(std::vector<SmartGroupCriterion> criteria) {
  SmartGroupDetail made;
  made.name = "G";
  made.criteria = std::move(criteria);
  return made;
}

TEST(ComparisonOfSmartGroups, AParenthesisThatIsAbsentIsFalse) {
  const PlaybookSmartGroup declared{
      .name = "G", .criteria = std::vector<PlaybookSmartGroupCriterion>{{"A", "is", "1", {}, {}, false}}};
  EXPECT_THAT(differences(declared, group({{"A", 0, AndOr::and_, "is", "1", false, {}}})), IsEmpty());
  EXPECT_THAT(differences(declared, group({{"A", 0, AndOr::and_, "is", "1", true, {}}})),
              ElementsAre(FieldDifference{"criteria", "and (\"A\" is \"1\"", "and \"A\" is \"1\""}));
}

TEST(ComparisonOfSmartGroups, OrderAndPriorityCount) {
  const PlaybookSmartGroup declared{.name = "G",
                                    .criteria = std::vector<PlaybookSmartGroupCriterion>{
                                        {"A", "is", "1", {}, {}, {}}, {"B", "is", "2", {}, {}, {}}}};
  const SmartGroupCriterion a{"A", 0, AndOr::and_, "is", "1", {}, {}};
  const SmartGroupCriterion b{"B", 1, AndOr::and_, "is", "2", {}, {}};
  EXPECT_THAT(differences(declared, group({a, b})), IsEmpty());
  EXPECT_THAT(fieldsOf(differences(declared, group({b, a}))), ElementsAre("criteria"));
  auto later = b;
  later.priority = 2;
  EXPECT_THAT(fieldsOf(differences(declared, group({a, later}))), ElementsAre("criteria"));
}

TEST(ComparisonOfSmartGroups, AbsentAndEmptyDescriptionsAreAlike) {
  auto object = group({});
  object.description = "";
  EXPECT_THAT(differences(PlaybookSmartGroup{.name = "G"}, object), IsEmpty());
  EXPECT_THAT(differences(PlaybookSmartGroup{.name = "G", .description = ""}, group({})), IsEmpty());
  EXPECT_THAT(differences(PlaybookSmartGroup{.name = "G", .description = "d"}, object),
              ElementsAre(FieldDifference{"description", {}, "d"}));
}

TEST(ComparisonOfPolicies, FrequencyAndCategoryCountOnlyWhenDeclared) {
  PolicyGeneral object;
  object.name = "P";
  object.frequency = "Ongoing";
  object.category = NamedReference{3, "Apps"};
  EXPECT_THAT(differences(PlaybookPolicy{.name = "P"}, object), IsEmpty());
  EXPECT_THAT(fieldsOf(differences(PlaybookPolicy{.name = "P", .frequency = "Once", .categoryName = "Other"},
                                   object)),
              ElementsAre("frequency", "categoryName"));
  object.category = NamedReference{-1, "No category assigned"};
  EXPECT_THAT(differences(PlaybookPolicy{.name = "P", .categoryName = "No category assigned"}, object),
              ElementsAre(FieldDifference{"categoryName", {}, "No category assigned"}));
  object.category.reset();
  EXPECT_THAT(fieldsOf(differences(PlaybookPolicy{.name = "P", .categoryName = "Apps"}, object)),
              ElementsAre("categoryName"));
}

TEST(ComparisonOfPolicies, EnabledAndTriggersAlwaysCount) {
  PolicyGeneral object;
  object.enabled = true;
  object.triggerLogin = true;
  object.triggerOther = "x";
  EXPECT_THAT(fieldsOf(differences(PlaybookPolicy{.name = "P"}, object)),
              ElementsAre("enabled", "triggerLogin", "triggerOther"));
  object = {};
  object.triggerOther = "";
  EXPECT_THAT(differences(PlaybookPolicy{.name = "P"}, object), IsEmpty());
}

TEST(ComparisonOfScripts, WhatIsLeftOutDeclaresEmptiness) {
  Script object;
  object.name = "S";
  object.notes = "n";
  object.priority = ScriptPriority::after;
  EXPECT_THAT(differences(PlaybookScript{.name = "S"}, object),
              ElementsAre(FieldDifference{"notes", "n", {}}, FieldDifference{"priority", "AFTER", {}}));
}

TEST(ComparisonOfScripts, TheServersWordForNoCategoryIsNone) {
  Script object;
  for (const auto& none : std::vector<std::optional<std::string>>{{}, "NONE", ""}) {
    object.categoryName = none;
    EXPECT_THAT(differences(PlaybookScript{.name = "S"}, object), IsEmpty());
    EXPECT_THAT(fieldsOf(differences(PlaybookScript{.name = "S", .categoryName = "Apps"}, object)),
                ElementsAre("categoryName"));
  }
  object.categoryName = "Apps";
  EXPECT_THAT(differences(PlaybookScript{.name = "S", .categoryName = "Apps"}, object), IsEmpty());
  EXPECT_THAT(fieldsOf(differences(PlaybookScript{.name = "S"}, object)), ElementsAre("categoryName"));
  EXPECT_THAT(fieldsOf(differences(PlaybookScript{.name = "S", .categoryName = "apps"}, object)),
              ElementsAre("categoryName"));
}

TEST(ComparisonOfProfiles, OnlyWhatIsDeclaredCountsAndExactly) {
  ConfigurationProfileGeneral object;
  object.description = "d";
  object.level = "System";
  EXPECT_THAT(differences(PlaybookConfigurationProfile{.name = "P"}, object), IsEmpty());
  EXPECT_THAT(
      differences(PlaybookConfigurationProfile{.name = "P", .description = "", .userRemovable = false},
                  object),
      ElementsAre(FieldDifference{"description", "d", ""}, FieldDifference{"userRemovable", {}, "false"}));
  EXPECT_THAT(differences(PlaybookConfigurationProfile{.name = "P", .payloads = ""}, object),
              ElementsAre(FieldDifference{"payloads", {}, ""}));
}

TEST(ComparisonOfAttributes, DefaultsCountWhereNothingIsDeclared) {
  auto object = PlaybookComputerExtensionAttribute{.name = "A"}.toAttribute();
  EXPECT_THAT(differences(PlaybookComputerExtensionAttribute{.name = "A"}, object), IsEmpty());
  object.enabled = false;
  object.dataType = "DATE";
  EXPECT_THAT(differences(PlaybookComputerExtensionAttribute{.name = "A"}, object),
              ElementsAre(FieldDifference{"dataType", "DATE", "STRING"},
                          FieldDifference{"enabled", "false", "true"}));
}

TEST(ComparisonOfAttributes, NoChoicesAndAnEmptyListAreAlike) {
  auto object = PlaybookComputerExtensionAttribute{.name = "A"}.toAttribute();
  const PlaybookComputerExtensionAttribute empty{.name = "A", .popupMenuChoices = std::vector<std::string>{}};
  EXPECT_THAT(differences(empty, object), IsEmpty());
  object.popupMenuChoices = std::vector<std::string>{};
  EXPECT_THAT(differences(PlaybookComputerExtensionAttribute{.name = "A"}, object), IsEmpty());
  object.popupMenuChoices = std::vector<std::string>{"b", "a"};
  const PlaybookComputerExtensionAttribute two{.name = "A",
                                               .popupMenuChoices = std::vector<std::string>{"a", "b"}};
  EXPECT_THAT(differences(two, object), ElementsAre(FieldDifference{"popupMenuChoices", "b, a", "a, b"}));
}

TEST(ComparisonOfPackages, TheNameOfTheFileDoesNotCount) {
  const PlaybookPackage declared{.name = "P", .fileName = "new.pkg", .priority = 10};
  auto object = declared.toPackage("-1");
  object.fileName = "old.pkg";
  object.notes = "";
  EXPECT_THAT(differences(declared, "-1", object), IsEmpty());
  object.suppressEula = true;
  object.priority = 5;
  EXPECT_THAT(fieldsOf(differences(declared, "3", object)),
              ElementsAre("categoryId", "priority", "suppressEula"));
}

TEST(ShownValue, LongTextsAreToldApartWithoutBeingShown) {
  EXPECT_EQ(shownValue("short"), "short");
  EXPECT_EQ(shownValue("a\nb").substr(0, 16), "3 bytes, SHA-256");
  EXPECT_NE(shownValue("a\nb"), shownValue("a\nc"));
  EXPECT_EQ(shownValue(std::string(81, 'x')).substr(0, 8), "81 bytes");
}

}  // namespace
}  // namespace jamf
