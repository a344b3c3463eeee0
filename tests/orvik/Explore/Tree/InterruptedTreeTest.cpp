#include <optional>

#include "Platform/Files/FaultSeam.h"
#include "orvik/Explore/Tree/BackupTree.h"
#include "orvik/Explore/Tree/FolderTree.h"
#include "tests/Support/TreeHost.h"

namespace orvik {
namespace {

namespace files = platform::files;

/// Every point at which a run can end, one after another.
class InterruptedTree : public test::TreeHost {
 protected:
  void bringTo(const test::Path& folder, const std::string& id) const {
    const BackupReader backup(repository, id);
    host::FolderTree files(
        folder, backup, [](const auto&, const auto&) {}, [](const auto&) {});
    files.begin(backup);
    host::BackupTree(files.state(), files).bringTo(backup, {}, {}, {});
    files.end();
  }

  /// Has the n-th operation on the disk and all later ones fail. False when there are not so many.
  bool breaksOff(std::uint64_t n, const std::string& id) const {
    files::armFaultSeam(n, files::FaultAction::failFromThen);
    try {
      bringTo(tree, id);
    } catch (const files::FileError&) {
    }
    const bool isBroken = files::operationsSinceArmed() >= n;
    files::disarmFaultSeam();
    return isBroken;
  }

  std::map<std::string, std::string> wanted(const std::string& id) const {
    const auto fresh = home.path() / "fresh";
    files::removeTree(fresh);
    bringTo(fresh, id);
    return test::contentOf(fresh);
  }
};

TEST_F(InterruptedTree, IsFinishedByTheNextRunWhicheverBackupThatIsOf) {
  for (const char* next : {first, second, third}) {
    const auto whole = wanted(next);
    std::uint64_t n = 1;
    for (; breaksOff(n, first); ++n) {
      ASSERT_NO_THROW(bringTo(tree, next)) << "after operation " << n;
      EXPECT_EQ(test::contentOf(tree), whole) << "after operation " << n;
      files::removeTree(tree);
    }
    EXPECT_GT(n, 10u);
    files::removeTree(tree);
  }
}

TEST_F(InterruptedTree, OnItsWayToAnotherBackupLosesNothingOfSomebodyElse) {
  const auto whole = wanted(third);
  for (std::uint64_t n = 1;; ++n) {
    files::removeTree(tree);
    bringTo(tree, first);
    test::write(tree / "README.md", "mine");
    test::write(tree / "policies/notes.json", "mine");
    const bool isBroken = breaksOff(n, second);
    ASSERT_NO_THROW(bringTo(tree, third)) << "after operation " << n;
    auto left = test::contentOf(tree);
    EXPECT_EQ(left.erase("README.md") + left.erase("policies/notes.json"), 2u) << "after operation " << n;
    EXPECT_EQ(left, whole) << "after operation " << n;
    if (!isBroken) break;
  }
}

TEST_F(InterruptedTree, SaysSoInItsRecord) {
  const BackupReader backup(repository, first);
  host::FolderTree folder(
      tree, backup, [](const auto&, const auto&) {}, [](const auto&) {});
  folder.begin(backup);
  EXPECT_THAT(content("backup.json"), testing::HasSubstr("\"unfinished\" : true"));
  bringTo(tree, first);
  EXPECT_THAT(content("backup.json"), testing::Not(testing::HasSubstr("unfinished")));
}

}  // namespace
}  // namespace orvik
