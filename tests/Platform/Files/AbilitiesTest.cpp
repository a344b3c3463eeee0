#include "Platform/Files/Abilities.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>

#include "Platform/Files/FaultSeam.h"

namespace platform::files {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Result = Trial::Result;

class AbilitiesTest : public testing::Test {
 protected:
  ~AbilitiesTest() override { disarmFaultSeam(); }

  Abilities tried() const { return tryAbilities(folder.path(), ".trial-"); }
  std::vector<std::string> left() const { return list(folder.path()); }

  static std::array<Trial, 6> trials(const Abilities& found) {
    return {found.write, found.rename, found.noReplace, found.flush, found.caseTold, found.longNames};
  }
  static bool areAll(const Abilities& found, Result result) {
    return std::ranges::all_of(trials(found), [&](const Trial& each) { return each.result == result; });
  }

  /// Breaks one disk operation after the other with an error and shows what was found each time.
  void atEveryOperation(int code, const std::function<void(const Abilities& found)>& look) const {
    for (std::uint64_t n = 1;; ++n) {
      armFaultSeam(n, FaultAction::fail, code);
      const auto found = tried();
      const bool reached = operationsSinceArmed() >= n;
      disarmFaultSeam();
      if (!reached) return;
      look(found);
      for (const auto& name : left()) removeTree(folder / name);
    }
  }

  const TempFolder folder;
};

TEST_F(AbilitiesTest, ALocalDiskCanDoAllOfItAndKeepsNothing) {
  const auto found = tried();
  EXPECT_TRUE(areAll(found, Result::works));
  for (const auto& trial : trials(found)) EXPECT_EQ(trial.problem, "");
  EXPECT_GT(found.freeBytes.value_or(0), 0U);
  EXPECT_THAT(left(), IsEmpty());
}

TEST_F(AbilitiesTest, EveryBrokenOperationIsToldByItsTrialAndLeavesNothing) {
  int unnoticed = 0;
  atEveryOperation(EIO, [&](const Abilities& found) {
    if (areAll(found, Result::works)) {
      ++unnoticed;
      EXPECT_THAT(left(), SizeIs(1)) << "only the removal of the folder may break unseen";
      return;
    }
    EXPECT_THAT(left(), IsEmpty());
    for (const auto& trial : trials(found))
      if (trial.result == Result::fails) {
        EXPECT_THAT(trial.problem, HasSubstr(folder.path().string()));
        EXPECT_THAT(trial.problem, HasSubstr("Input/output error."));
      }
  });
  EXPECT_EQ(unnoticed, 1);
}

TEST_F(AbilitiesTest, ARenameThatCannotRefuseToReplaceIsToldToTakeTwoSteps) {
  int partly = 0;
  atEveryOperation(EINVAL, [&](const Abilities& found) {
    if (found.noReplace.result != Result::partly) return;
    ++partly;
    EXPECT_THAT(found.noReplace.problem, HasSubstr("two steps"));
    EXPECT_EQ(found.rename.result, Result::works);
  });
  EXPECT_EQ(partly, 1);
}

TEST_F(AbilitiesTest, NamesThatAreTooLongAreNoFailure) {
  int partly = 0;
  atEveryOperation(ENAMETOOLONG, [&](const Abilities& found) {
    if (found.longNames.result != Result::partly) return;
    ++partly;
    EXPECT_EQ(found.longNames.problem, "Names of 255 bytes are too long.");
    EXPECT_EQ(found.write.result, Result::works);
  });
  EXPECT_EQ(partly, 1);
}

TEST_F(AbilitiesTest, WhereNothingCanBeWrittenNothingElseIsTried) {
  auto found = tryAbilities(folder / "missing", ".trial-");
  EXPECT_EQ(found.write.result, Result::works) << "folders on the way are made";
  found = tryAbilities("/proc", ".trial-");
  EXPECT_EQ(found.write.result, Result::fails);
  EXPECT_THAT(found.write.problem, HasSubstr("/proc/.trial-"));
  EXPECT_EQ(found.rename.result, Result::untried);
  EXPECT_EQ(found.longNames.result, Result::untried);
}

}  // namespace
}  // namespace platform::files
