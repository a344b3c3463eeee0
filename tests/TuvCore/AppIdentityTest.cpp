#include "TuvCore/AppIdentity.h"

#include <gtest/gtest.h>

#include "Platform/Host.h"
#include "tests/Support/ScopedVariable.h"

namespace tuv {
namespace {

using orvik::test::ScopedVariable;

const AppIdentity app{"orvik", "org.orvik", "ABCDE12345", "ORVIK_TEST_DEV"};

TEST(AppIdentity, TheUsersFolderIsBelowTheDataFolderOfTheEnvironment) {
  const ScopedVariable data("XDG_DATA_HOME", "/data/anna");
  EXPECT_EQ(app.userSupportDirectory(), "/data/anna/orvik");
}

TEST(AppIdentity, ADataFolderThatIsNoAbsolutePathCountsAsNone) {
  const ScopedVariable home("HOME", "/home/anna");
  const ScopedVariable data("XDG_DATA_HOME");
  EXPECT_EQ(app.userSupportDirectory(), "/home/anna/.local/share/orvik");
  for (const auto* text : {"", "data", "./data", "~/data"}) {
    data.set(text);
    EXPECT_EQ(app.userSupportDirectory(), "/home/anna/.local/share/orvik") << text;
  }
}

TEST(AppIdentity, WithoutAHomeTheAccountsCounts) {
  const ScopedVariable data("XDG_DATA_HOME");
  const ScopedVariable home("HOME");
  EXPECT_EQ(app.userSupportDirectory(), platform::homeFolder() + "/.local/share/orvik");
  EXPECT_TRUE(app.userSupportDirectory().is_absolute());
}

TEST(AppIdentity, TheMachinesFolderIsFixed) { EXPECT_EQ(app.systemSupportDirectory(), "/var/lib/orvik"); }

TEST(AppIdentity, ADevelopmentBuildHasFoldersOfItsOwn) {
  const ScopedVariable data("XDG_DATA_HOME", "/data/anna");
  const ScopedVariable mode("ORVIK_TEST_DEV", "1");
  EXPECT_TRUE(app.isDevMode());
  EXPECT_EQ(app.userSupportDirectory(), "/data/anna/orvik-Dev");
  EXPECT_EQ(app.systemSupportDirectory(), "/var/lib/orvik-Dev");
}

TEST(AppIdentity, OnlyTheValue1MakesADevelopmentBuild) {
  const ScopedVariable mode("ORVIK_TEST_DEV");
  EXPECT_FALSE(app.isDevMode());
  for (const auto* value : {"true", "", "0", "11", " 1", "yes"}) {
    mode.set(value);
    EXPECT_FALSE(app.isDevMode()) << value;
  }
}

TEST(AppIdentity, TheRequirementAcceptsWhatTheTeamSigned) {
  EXPECT_EQ(app.codeSigningRequirement(),
            "anchor apple generic and certificate leaf[subject.OU] = \"ABCDE12345\"");
}

TEST(AppIdentity, WithoutAVersionItIsZero) {
  EXPECT_EQ(app.appVersion(), "0.0.0");
  EXPECT_FALSE(app.appBuild());
  auto built = app;
  built.version = "1.2";
  built.build = "345";
  EXPECT_EQ(built.appVersion(), "1.2");
  EXPECT_EQ(built.appBuild(), "345");
}

}  // namespace
}  // namespace tuv
