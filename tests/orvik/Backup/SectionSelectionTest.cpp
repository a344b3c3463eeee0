#include "orvik/Backup/SectionSelection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Jamf/SectionCatalog.h"
#include "orvik/ExitStatus.h"

namespace orvik::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string refusal(const std::vector<std::string>& only, const std::vector<std::string>& disable) {
  try {
    SectionSelection::make(only, disable);
  } catch (const UsageError& error) {
    return error.description();
  }
  return "(accepted)";
}

TEST(SectionSelection, ByDefaultEverythingIsRead) {
  EXPECT_TRUE(SectionSelection::make({}, {}).disabled.empty());
}

TEST(SectionSelection, OnlyLeavesAllOthersOut) {
  const auto selection = SectionSelection::make({"policies, scripts,", "buildings"}, {});
  EXPECT_EQ(selection.disabled.size(), SectionCatalog::all().size() - 3);
  for (const auto* id : {"policies", "scripts", "buildings"}) EXPECT_FALSE(selection.disabled.contains(id));
}

TEST(SectionSelection, DisableTakesAwayFromWhatOnlyPicks) {
  const auto selection = SectionSelection::make({"policies,scripts"}, {"scripts"});
  EXPECT_FALSE(selection.disabled.contains("policies"));
  EXPECT_TRUE(selection.disabled.contains("scripts"));
}

TEST(SectionSelection, AnUnknownIDIsNamedWithThoseNearIt) {
  EXPECT_EQ(refusal({"polices"}, {}), "There is no section \"polices\"; near it: policies.");
  EXPECT_THAT(refusal({}, {"SCRIPTS"}), HasSubstr("near it: scripts"));
  EXPECT_EQ(refusal({"nothing-like-it"}, {}), "There is no section \"nothing-like-it\".");
  EXPECT_THAT(refusal({std::string(100000, 'x')}, {}), HasSubstr("There is no section"));
}

TEST(SectionSelection, SomethingHasToBeLeft) {
  EXPECT_THAT(refusal({"policies"}, {"policies"}), HasSubstr("No section is left"));
  EXPECT_EQ(refusal({","}, {}), "--only names no section.");
  EXPECT_EQ(refusal({}, {""}), "--disable names no section.");
}

}  // namespace
}  // namespace orvik::host
