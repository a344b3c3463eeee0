#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/FaultSeam.h"
#include "Platform/Files/Files.h"

namespace platform::files {
namespace {

struct CopyFile : testing::Test {
  TempFolder folder;
  const Path from = folder / "from";
  const Path to = folder / "to";
  const std::string content = std::string(3'000'000, 'x') + "end";

  CopyFile() { atomicWrite(content, from); }
  ~CopyFile() override { disarmFaultSeam(); }
  /// Lets the next rename fail as one between two file systems does.
  static void renamesAcross() { armFaultSeam(1, FaultAction::fail, EXDEV); }
};

TEST_F(CopyFile, TheCopyIsWholeAndTheFileStays) {
  files::copyFile(from, to);
  EXPECT_EQ(files::read(to), content);
  EXPECT_EQ(files::read(from), content);
}

TEST_F(CopyFile, NothingIsReplaced) {
  atomicWrite("mine", to);
  EXPECT_THROW(files::copyFile(from, to), FileError);
  EXPECT_EQ(files::read(to), "mine");
}

TEST_F(CopyFile, AStopLeavesNothingBehind) {
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(files::copyFile(from, to, stop.get_token()), CancellationError);
  EXPECT_EQ(files::list(folder.path()).size(), 1u);
}

TEST_F(CopyFile, AFullDiskLeavesNothingBehindAtAnyOperation) {
  armFaultSeam(1'000, FaultAction::fail);
  files::copyFile(from, to);
  const auto operations = operationsSinceArmed();
  disarmFaultSeam();
  files::remove(to);
  for (std::uint64_t n = 1; n <= operations; ++n) {
    armFaultSeam(n, FaultAction::fail, ENOSPC);
    EXPECT_THROW(files::copyFile(from, to), FileError) << n;
    disarmFaultSeam();
    if (!files::exists(to)) {
      EXPECT_EQ(files::list(folder.path()).size(), 1u) << n;
    }
    files::tryRemove(to);
  }
}

constexpr auto plainMode = std::filesystem::perms{0644};

std::filesystem::perms modeOf(const Path& path) { return std::filesystem::status(path).permissions(); }

TEST_F(CopyFile, ACopyInPlaceOfAFileHasTheModeThatIsAskedFor) {
  atomicWrite("old", to, Flush::no, std::filesystem::perms{0600});
  files::copyReplacing(from, to, plainMode);
  EXPECT_EQ(files::read(to), content);
  EXPECT_EQ(modeOf(to), plainMode);
  EXPECT_EQ(files::list(folder.path()).size(), 2u);
  files::copyReplacing(from, folder / "new", std::filesystem::perms{0640});
  EXPECT_EQ(modeOf(folder / "new"), std::filesystem::perms{0640});
}

TEST_F(CopyFile, ALinkIsReplacedAndItsTargetStays) {
  atomicWrite("elsewhere", folder / "target");
  std::filesystem::create_symlink(folder / "target", to);
  files::copyReplacing(from, to, plainMode);
  EXPECT_FALSE(std::filesystem::is_symlink(to));
  EXPECT_EQ(files::read(folder / "target"), "elsewhere");
}

TEST_F(CopyFile, AFolderIsNotReplaced) {
  files::createDirectories(to);
  try {
    files::copyReplacing(from, to, plainMode);
    FAIL();
  } catch (const FileError& error) {
    EXPECT_EQ(error.kind(), FileErrorKind::isADirectory);
    EXPECT_EQ(error.description(), "Can't write " + to.string() + ": Is a directory");
  }
  EXPECT_EQ(files::list(folder.path()).size(), 2u);
}

TEST_F(CopyFile, WhatIsReplacedStaysUntilTheCopyIsWhole) {
  atomicWrite("old", to);
  armFaultSeam(1'000, FaultAction::fail);
  files::copyReplacing(from, to, plainMode);
  const auto operations = operationsSinceArmed();
  disarmFaultSeam();
  for (std::uint64_t n = 1; n <= operations; ++n) {
    atomicWrite("old", to);
    armFaultSeam(n, FaultAction::fail, ENOSPC);
    EXPECT_THROW(files::copyReplacing(from, to, plainMode), FileError) << n;
    disarmFaultSeam();
    EXPECT_EQ(files::read(to), "old") << n;
    EXPECT_EQ(files::list(folder.path()).size(), 2u) << n;
  }
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(files::copyReplacing(from, to, plainMode, stop.get_token()), CancellationError);
  EXPECT_EQ(files::read(to), "old");
}

TEST_F(CopyFile, AMoveIsARenameWhereItCanBe) {
  files::move(from, to);
  EXPECT_FALSE(files::exists(from));
  EXPECT_EQ(files::read(to), content);
}

TEST_F(CopyFile, AMoveToAnotherFileSystemCopiesAndDeletes) {
  renamesAcross();
  files::move(from, to);
  EXPECT_FALSE(files::exists(from));
  EXPECT_EQ(files::read(to), content);
}

TEST_F(CopyFile, AMoveThatIsStoppedWhileItCopiesLeavesTheFile) {
  renamesAcross();
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(files::move(from, to, stop.get_token()), CancellationError);
  EXPECT_EQ(files::read(from), content);
  EXPECT_FALSE(files::exists(to));
}

TEST_F(CopyFile, AnyOtherFailureOfARenameStands) {
  armFaultSeam(1, FaultAction::fail, EACCES);
  EXPECT_THROW(files::move(from, to), FileError);
  EXPECT_EQ(files::read(from), content);
  EXPECT_FALSE(files::exists(to));
}

}  // namespace
}  // namespace platform::files
