#include "orvik/Doctor/FolderExam.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/Support/JSONLines.h"

namespace orvik::host {
namespace {

using platform::files::Trial;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Status = Check::Status;

platform::files::Abilities able() {
  const Trial works{Trial::Result::works, {}};
  return {works, works, works, works, works, works, 50'000'000'000};
}
Trial partly() { return {Trial::Result::partly, "Half of it."}; }
Trial fails() { return {Trial::Result::fails, "Not at all."}; }

std::vector<std::string> idsWith(Status status, const platform::files::Abilities& abilities) {
  std::vector<std::string> ids;
  for (const auto& check : abilityChecks(abilities))
    if (check.status == status) ids.push_back(check.id);
  return ids;
}

TEST(AbilityChecks, ALocalDiskIsGood) {
  EXPECT_THAT(idsWith(Status::ok, able()),
              ElementsAre("writing", "rename", "replacing", "flush", "case", "names", "space"));
}

TEST(AbilityChecks, WhatABackupCannotDoWithoutFails) {
  auto abilities = able();
  abilities.write = abilities.rename = abilities.noReplace = abilities.flush = abilities.longNames = fails();
  EXPECT_THAT(idsWith(Status::failed, abilities), ElementsAre("writing", "rename", "flush"));
  EXPECT_THAT(idsWith(Status::warning, abilities), ElementsAre("replacing", "names"));
}

TEST(AbilityChecks, WhatIsDoneInAnotherWayIsAWarningWithAdvice) {
  auto abilities = able();
  abilities.rename = abilities.noReplace = abilities.longNames = partly();
  EXPECT_THAT(idsWith(Status::warning, abilities), ElementsAre("rename", "replacing", "names"));
  for (const auto& check : abilityChecks(abilities))
    if (check.status == Status::warning) {
      EXPECT_EQ(check.text, "Half of it.");
      EXPECT_NE(check.advice, "");
    }
}

TEST(AbilityChecks, NamesWithoutCaseDoNoHarm) {
  auto abilities = able();
  abilities.caseTold = partly();
  EXPECT_THAT(idsWith(Status::warning, abilities), IsEmpty());
}

TEST(AbilityChecks, WhatWasNotTriedIsNotTold) {
  platform::files::Abilities abilities;
  abilities.write = fails();
  ASSERT_EQ(abilityChecks(abilities).size(), 1U);
}

TEST(AbilityChecks, LittleSpaceIsAWarningAndNoneAFailure) {
  const auto space = [](std::uint64_t bytes) {
    auto abilities = able();
    abilities.freeBytes = bytes;
    return abilityChecks(abilities).back();
  };
  EXPECT_EQ(space(1'000'000'000).status, Status::ok);
  EXPECT_EQ(space(999'999'999).status, Status::warning);
  EXPECT_EQ(space(10'000'000).status, Status::warning);
  EXPECT_EQ(space(9'999'999).status, Status::failed);
  EXPECT_EQ(space(UINT64_MAX).status, Status::ok);
  EXPECT_EQ(test::member(space(0).details, "bytes"), "0");
}

}  // namespace
}  // namespace orvik::host
