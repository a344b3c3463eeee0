#include "JamfCore/Automation/PlaybookYAML.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/JamfCore/Automation/GeneratedPlaybooks.h"

namespace jamf {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string problemOf(std::string_view text) {
  try {
    PlaybookYAML::decode(text);
  } catch (const PlaybookYAMLError& error) {
    EXPECT_EQ(error.message(), error.description());
    return error.message();
  }
  return "";
}

TEST(PlaybookYAML, ADocumentOfEachKindIsRead) {
  const auto playbook = PlaybookYAML::decode(R"(
name: Lab Macs
description: What every lab has
schedule:
  recurrence: weekly
  time: 07:30
  dayOfWeek: 2
resources:
  - type: smartGroup
    name: macOS 14
    criteria:
      - field: Operating System Version
        searchType: greater than or equal
        value: 14.0
        andOr: or
        openingParen: yes
  - type: policy
    name: Pages
    enabled: true
    trigger: checkin
    frequency: Once per computer
  - {type: script, name: Dock, priority: AFTER, scriptContents: "#!/bin/sh\n"}
  - {type: configurationProfile, name: Wi-Fi, userRemovable: false, state: absent}
  - {type: computerExtensionAttribute, name: Cycles, dataType: INTEGER, inputType: POPUP, popupMenuChoices: [1, 2]}
  - {type: package, name: Pages, fileName: Pages.pkg, priority: 10, suppressEula: on}
)");
  EXPECT_EQ(playbook.schedule, (PlaybookSchedule{Recurrence::weekly, "07:30", 2, {}, {}}));
  ASSERT_EQ(playbook.resources.size(), 6U);
  const auto& group = std::get<PlaybookSmartGroup>(playbook.resources[0].record);
  EXPECT_EQ(group.criteria->at(0),
            (PlaybookSmartGroupCriterion{
                "Operating System Version", "greater than or equal", "14.0", AndOr::or_, true, {}}));
  EXPECT_EQ(playbook.resources[1].typeLabel(), "Policy");
  EXPECT_EQ(playbook.resources[3].state(), PlaybookResourceState::absent);
  EXPECT_EQ(std::get<PlaybookComputerExtensionAttribute>(playbook.resources[4].record).popupMenuChoices,
            (std::vector<std::string>{"1", "2"}));
  EXPECT_EQ(playbook.resources[5].name(), "Pages");
}

TEST(PlaybookYAML, ResourcesAreRequiredAndMayBeEmpty) {
  EXPECT_EQ(problemOf("name: A\n"), "Invalid playbook YAML: No value associated with key \"resources\".");
  EXPECT_TRUE(PlaybookYAML::decode("name: A\nresources: []\n").resources.empty());
}

TEST(PlaybookYAML, AWrongTypeDeepInsideNamesItsPath) {
  const std::string start = "Invalid playbook YAML: ";
  EXPECT_EQ(problemOf("name: A\nresources:\n- type: smartGroup\n  name: G\n  criteria:\n  - field: [x]\n"),
            start + "resources.Index 0.criteria.Index 0.field: Expected a text in line 6, but found a list.");
  EXPECT_EQ(problemOf("name: A\nresources:\n- type: script\n"),
            start + "resources.Index 0: No value associated with key \"name\".");
  EXPECT_EQ(problemOf("name: A\nresources:\n- name: x\n"),
            start + "resources.Index 0: No value associated with key \"type\".");
  EXPECT_EQ(problemOf("name: A\nresources:\n- {type: group, name: x}\n"),
            start + "resources.Index 0: Unknown resource type \"group\".");
  EXPECT_EQ(
      problemOf("name: A\nresources:\n- {type: package, name: x, fileName: f, priority: high}\n"),
      start + "resources.Index 0.priority: Expected a whole number in line 3, but found a single value.");
  EXPECT_EQ(problemOf("name: A\nschedule: {recurrence: hourly, time: '1'}\nresources: []\n"),
            start + "schedule.recurrence: \"hourly\" is not a known value.");
  EXPECT_EQ(problemOf("name: A\nresources:\n- {type: script, name: x, state: gone}\n"),
            start + "resources.Index 0.state: \"gone\" is not a known value.");
  EXPECT_EQ(problemOf("- a\n"), start + "Expected a mapping in line 1, but found a list.");
  EXPECT_THAT(problemOf("name: A\n\tresources: []\n"), StartsWith(start + "line 2, column 1: "));
}

TEST(PlaybookYAML, KeysStandInTheirOrderWithTheTypeFirst) {
  Playbook playbook{"A", {}, PlaybookSchedule{Recurrence::daily, "07:30", {}, {}, {}}, {}};
  playbook.resources.push_back({PlaybookPackage{.name = "P", .fileName = "P.pkg", .priority = 10}});
  playbook.resources.push_back({PlaybookScript{.name = "S", .state = PlaybookResourceState::absent}});
  EXPECT_EQ(
      PlaybookYAML::encode(playbook),
      "name: A\nschedule:\n  recurrence: daily\n  time: '07:30'\nresources:\n- type: package\n  name: P\n"
      "  fileName: P.pkg\n  priority: 10\n- type: script\n  name: S\n  state: absent\n");
}

TEST(PlaybookYAML, EncodingThenDecodingGivesAnEqualPlaybook) {
  for (std::uint32_t seed = 1; seed <= 1000; ++seed) {
    const auto playbook = test::generatedPlaybook(seed);
    const platform::yaml::EmitStyle style{seed % 2 == 0, seed % 3 == 0};
    ASSERT_EQ(PlaybookYAML::decode(PlaybookYAML::encode(playbook, style)), playbook) << "seed " << seed;
  }
}

TEST(PlaybookYAML, ATextThatCannotBeWrittenIsToldWithTheReason) {
  try {
    PlaybookYAML::encode(Playbook{.name = "\xff"});
    FAIL();
  } catch (const PlaybookYAMLError& error) {
    EXPECT_EQ(error.message(), "Could not encode playbook to YAML: A text is not valid UTF-8.");
  }
}

}  // namespace
}  // namespace jamf
