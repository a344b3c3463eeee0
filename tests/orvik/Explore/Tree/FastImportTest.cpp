#include "orvik/Explore/Tree/FastImport.h"

#include <gtest/gtest.h>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"
#include "tests/Support/Commands.h"

namespace orvik::host {
namespace {

class FastImportTest : public testing::Test {
 protected:
  FastImportTest() { repository.require({}); }

  std::string git(std::vector<std::string> arguments) const { return repository.output(arguments, {}); }

  platform::files::TempFolder folder;
  GitRepository repository{folder / "made"};
  const std::string branch = "refs/heads/main";
};

TEST(QuotedPath, HoldsNothingThatEndsALine) {
  EXPECT_EQ(quotedPath("a/b c"), "\"a/b c\"");
  EXPECT_EQ(quotedPath("a\"b\\c\nd\te\x7F"), "\"a\\\"b\\\\c\\012d\\011e\\177\"");
  EXPECT_EQ(quotedPath("é"), "\"é\"");
}

TEST_F(FastImportTest, AnyPathIsThePathOfAFile) {
  const std::vector<std::string> paths{"a b", "a\"b", "a\nb", "c/d\te", "é", "-x", "back\\slash"};
  FastImport import(repository, branch, {}, {});
  std::vector<FastImport::Change> changes;
  for (const auto& path : paths) changes.push_back({path, import.blob(path), false});
  import.commit("All\n", platform::Date(), changes);
  import.finish();
  for (const auto& path : paths) EXPECT_EQ(git({"show", "main:" + path}), path);
}

TEST_F(FastImportTest, CommitsStandOnEachOtherAndOnTheHead) {
  {
    FastImport import(repository, branch, {}, {});
    import.commit("One\n", platform::Date(),
                  {{"a", import.blob("1"), true},
                   { "b",
                     import.blob("2"),
                     false }});
    import.commit("Two\n", platform::Date(), {{ "a", std::nullopt, false }});
    import.finish();
  }
  const auto head = git({"rev-parse", "main"});
  FastImport import(repository, branch, head.substr(0, head.size() - 1), {});
  import.commit("Three\n", platform::Date(std::chrono::milliseconds(1999)),
                {{ "c",
                   import.blob(""),
                   false }});
  import.finish();
  EXPECT_EQ(git({"log", "--format=%s", "main"}), "Three\nTwo\nOne\n");
  EXPECT_EQ(git({"ls-tree", "--name-only", "main"}), "b\nc\n");
  EXPECT_EQ(git({"log", "-1", "--format=%at %ct", "main"}), "1 1\n");
}

TEST_F(FastImportTest, WhatIsNotFinishedLeavesTheBranchAsItWas) {
  {
    FastImport import(repository, branch, {}, {});
    import.commit("One\n", platform::Date(), {{ "a", import.blob("1"), false }});
  }
  EXPECT_FALSE(repository.tryLine({"rev-parse", "-q", "--verify", "main"}, {}));
}

TEST_F(FastImportTest, WhatGitRefusesIsSaidInItsWords) {
  FastImport import(repository, branch, "0123456789012345678901234567890123456789", {});
  try {
    import.commit("One\n", platform::Date(), {});
    import.finish();
    FAIL() << "it took that";
  } catch (const tuv::Error& error) {
    EXPECT_TRUE(error.description().starts_with("git fast-import failed: fatal: ")) << error.description();
  }
}

TEST_F(FastImportTest, AStopEndsIt) {
  std::stop_source source;
  FastImport import(repository, branch, {}, source.get_token());
  source.request_stop();
  EXPECT_THROW(import.finish(), platform::CancellationError);
}

}  // namespace
}  // namespace orvik::host
