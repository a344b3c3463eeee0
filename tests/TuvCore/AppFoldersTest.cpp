#include "TuvCore/AppFolders.h"

#include <gtest/gtest.h>

#include "Platform/Host.h"
#include "tests/Support/ScopedVariable.h"

namespace tuv {
namespace {

using orvik::test::ScopedVariable;

TEST(AppFolders, TheUsersIsBelowTheDataFolderOfTheEnvironment) {
  const ScopedVariable data("XDG_DATA_HOME", "/data/anna");
  EXPECT_EQ(AppFolders::user(), "/data/anna/orvik");
}

TEST(AppFolders, ADataFolderThatIsNoAbsolutePathCountsAsNone) {
  const ScopedVariable home("HOME", "/home/anna");
  const ScopedVariable data("XDG_DATA_HOME");
  EXPECT_EQ(AppFolders::user(), "/home/anna/.local/share/orvik");
  for (const auto* text : {"", "data", "./data", "~/data"}) {
    data.set(text);
    EXPECT_EQ(AppFolders::user(), "/home/anna/.local/share/orvik") << text;
  }
}

TEST(AppFolders, WithoutAHomeTheAccountsCounts) {
  const ScopedVariable data("XDG_DATA_HOME");
  const ScopedVariable home("HOME");
  EXPECT_EQ(AppFolders::user(), platform::homeFolder() + "/.local/share/orvik");
  EXPECT_TRUE(AppFolders::user().is_absolute());
}

TEST(AppFolders, TheMachinesIsFixed) { EXPECT_EQ(AppFolders::system(), "/var/lib/orvik"); }

}  // namespace
}  // namespace tuv
