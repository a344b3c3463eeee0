#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <set>

#include "OrvikCore/Care/Repair.h"
#include "tests/Support/CheckedFolder.h"
#include "tests/Support/Faults.h"

namespace orvik {
namespace {

using test::bytesOf;
using test::CheckedFolder;
using testing::IsEmpty;
namespace files = platform::files;

void everyOperationBroken(bool isSealed, const std::function<void(const CheckedFolder&)>& plant) {
  test::atEveryDiskOperation([&](const files::Path&) {
    const auto folder = std::make_shared<CheckedFolder>(isSealed);
    const auto before = std::make_shared<std::multiset<std::string>>();
    return test::FaultTrial{[=] {
                              plant(*folder);
                              *before = bytesOf(folder->folder.path());
                            },
                            [=] { folder->repair(); },
                            [=](test::Ended) {
                              const auto after = bytesOf(folder->folder.path());
                              EXPECT_TRUE(std::ranges::includes(after, *before)) << "something was lost";
                              folder->repair();
                              folder->backUpAgain();
                              EXPECT_THAT(folder->damage(), IsEmpty());
                            }};
  });
}

TEST(RepairFaultTest, ARepairThatIsBrokenOffAnywhereLosesNothingAndIsTakenUp) {
  everyOperationBroken(false, [](const CheckedFolder& folder) {
    test::flipByte(folder.objectPath(folder.single[0]), 4);
    folder.flipInPack(1);
    test::write(folder.filePath(), "");
  });
}

TEST(RepairFaultTest, ARebuiltIndexIsThereOrNot) {
  everyOperationBroken(true, [](const CheckedFolder& folder) { test::write(folder.indexPath(), "torn"); });
}

}  // namespace
}  // namespace orvik
