#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/Support/HostFixture.h"

namespace orvik {
namespace {

using testing::HasSubstr;

class StagingPlace : public test::HostFixture {};

TEST_F(StagingPlace, IsNowhereBelowTheFolderOfAllInstances) {
  std::filesystem::create_directories(root / "inner");
  std::filesystem::create_directory_symlink(root, folder / "link");
  for (const auto& staging : {root, root / "inner", root / "not/there", folder / "link", root / "inner/.."}) {
    const auto end = test::runToEnd(backup({"--staging", staging.string()}));
    EXPECT_EQ(end.status, 1) << staging;
    EXPECT_THAT(end.error, HasSubstr("It has to be somewhere else.")) << staging;
  }
  EXPECT_EQ(platform::files::visibleNames(root), std::vector<std::string>{"inner"});
  EXPECT_EQ(test::runToEnd(backup({"--staging", (folder / "staging").string()})).status, 0);
}

TEST_F(StagingPlace, AnEmptyFolderIsAUsageErrorAndNotTheWorkingDirectory) {
  for (const char* option : {"--staging", "--mount"}) {
    const auto end = test::runToEnd(backup({option, ""}));
    EXPECT_EQ(end.status, 2);
    EXPECT_EQ(end.error, fmt::format("orvik: {} is empty. See orvik backup --help.\n", option));
  }
}

}  // namespace
}  // namespace orvik
