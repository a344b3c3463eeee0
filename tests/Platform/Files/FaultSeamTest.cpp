#include "Platform/Files/FaultSeam.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <thread>
#include <vector>

#include "Platform/Files/Files.h"

namespace platform::files {
namespace {

class FaultSeamTest : public testing::Test {
 protected:
  ~FaultSeamTest() override { disarmFaultSeam(); }
};

TEST_F(FaultSeamTest, LetsEverythingPassAndCountsNothingUntilItIsArmed) {
  const auto before = operationsSinceArmed();
  EXPECT_EQ(passFaultSeam(), 0);
  EXPECT_EQ(operationsSinceArmed(), before);
}

TEST_F(FaultSeamTest, FailHitsTheNthOperationAlone) {
  armFaultSeam(2, FaultAction::fail, ENOSPC);
  EXPECT_EQ(passFaultSeam(), 0);
  EXPECT_EQ(passFaultSeam(), ENOSPC);
  EXPECT_EQ(passFaultSeam(), 0);
  EXPECT_EQ(operationsSinceArmed(), 3U);
}

TEST_F(FaultSeamTest, FailFromThenHitsAllLaterOnesToo) {
  armFaultSeam(2, FaultAction::failFromThen);
  EXPECT_EQ(passFaultSeam(), 0);
  EXPECT_EQ(passFaultSeam(), EIO);
  EXPECT_EQ(passFaultSeam(), EIO);
}

TEST_F(FaultSeamTest, StopEndsTheProcessAsByAKill) {
  EXPECT_EXIT(
      {
        armFaultSeam(2, FaultAction::stop);
        passFaultSeam();
        passFaultSeam();
      },
      testing::KilledBySignal(SIGKILL), "");
}

TEST_F(FaultSeamTest, DisarmingKeepsTheCountAndArmingStartsAnew) {
  armFaultSeam(UINT64_MAX, FaultAction::fail);
  passFaultSeam();
  passFaultSeam();
  disarmFaultSeam();
  EXPECT_EQ(passFaultSeam(), 0);
  EXPECT_EQ(operationsSinceArmed(), 2U);
  armFaultSeam(1, FaultAction::fail, EACCES);
  EXPECT_EQ(operationsSinceArmed(), 0U);
  EXPECT_EQ(passFaultSeam(), EACCES);
}

TEST_F(FaultSeamTest, ExactlyOneOfManyThreadsIsHit) {
  armFaultSeam(700, FaultAction::fail, EIO);
  std::atomic<int> hits = 0;
  std::vector<std::jthread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 250; ++i) hits += passFaultSeam() != 0 ? 1 : 0;
    });
  threads.clear();
  EXPECT_EQ(hits, 1);
  EXPECT_EQ(operationsSinceArmed(), 1000U);
}

TEST_F(FaultSeamTest, EveryChangingOperationAsksAndFailsWithoutAChange) {
  const TempFolder folder;
  atomicWrite("x", folder / "file");
  createDirectories(folder / "tree/inner");
  AppendFile open(folder / "open");
  const std::vector<std::pair<std::string, std::function<void()>>> operations = {
      {"createDirectories", [&] { createDirectories(folder / "new"); }},
      {"atomicWrite", [&] { atomicWrite("y", folder / "new"); }},
      {"rename", [&] { files::rename(folder / "file", folder / "new"); }},
      {"renameWithoutReplacing", [&] { renameWithoutReplacing(folder / "file", folder / "new"); }},
      {"remove", [&] { files::remove(folder / "file"); }},
      {"removeTree", [&] { removeTree(folder / "tree"); }},
      {"syncFileSystem", [&] { syncFileSystem(folder.path()); }},
      {"AppendFile", [&] { AppendFile file(folder / "new"); }},
      {"append", [&] { open.append("line\n"); }},
      {"sync", [&] { open.sync(); }},
      {"TempFolder", [&] { TempFolder other; }},
  };
  for (const auto& [name, operation] : operations) {
    armFaultSeam(1, FaultAction::failFromThen, EDQUOT);
    try {
      operation();
      ADD_FAILURE() << name << " does not ask the seam";
    } catch (const FileError& error) {
      EXPECT_EQ(error.kind(), FileErrorKind::noSpace) << name;
    }
    tryRemove(folder / "file");
    disarmFaultSeam();
    EXPECT_EQ(read(folder / "file"), "x") << name;
    EXPECT_FALSE(files::exists(folder / "new")) << name;
    EXPECT_TRUE(isDirectory(folder / "tree/inner")) << name;
    EXPECT_EQ(open.size(), 0) << name;
  }
}

TEST_F(FaultSeamTest, ReadingDoesNotCount) {
  const TempFolder folder;
  atomicWrite("x", folder / "file");
  armFaultSeam(1, FaultAction::failFromThen);
  EXPECT_EQ(read(folder / "file"), "x");
  EXPECT_EQ(list(folder.path()).size(), 1U);
  EXPECT_GT(allocatedSize(folder.path()), 0);
  createDirectories(folder.path());
  EXPECT_EQ(operationsSinceArmed(), 0U);
}

}  // namespace
}  // namespace platform::files
