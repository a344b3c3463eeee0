#include <gtest/gtest.h>

#include <cerrno>
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
  copyFile(from, to);
  EXPECT_EQ(read(to), content);
  EXPECT_EQ(read(from), content);
}

TEST_F(CopyFile, NothingIsReplaced) {
  atomicWrite("mine", to);
  EXPECT_THROW(copyFile(from, to), FileError);
  EXPECT_EQ(read(to), "mine");
}

TEST_F(CopyFile, AStopLeavesNothingBehind) {
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(copyFile(from, to, stop.get_token()), CancellationError);
  EXPECT_EQ(list(folder.path()).size(), 1u);
}

TEST_F(CopyFile, AFullDiskLeavesNothingBehindAtAnyOperation) {
  armFaultSeam(1'000, FaultAction::fail);
  copyFile(from, to);
  const auto operations = operationsSinceArmed();
  disarmFaultSeam();
  files::remove(to);
  for (std::uint64_t n = 1; n <= operations; ++n) {
    armFaultSeam(n, FaultAction::fail, ENOSPC);
    EXPECT_THROW(copyFile(from, to), FileError) << n;
    disarmFaultSeam();
    if (!exists(to)) {
      EXPECT_EQ(list(folder.path()).size(), 1u) << n;
    }
    tryRemove(to);
  }
}

TEST_F(CopyFile, AMoveIsARenameWhereItCanBe) {
  move(from, to);
  EXPECT_FALSE(exists(from));
  EXPECT_EQ(read(to), content);
}

TEST_F(CopyFile, AMoveToAnotherFileSystemCopiesAndDeletes) {
  renamesAcross();
  move(from, to);
  EXPECT_FALSE(exists(from));
  EXPECT_EQ(read(to), content);
}

TEST_F(CopyFile, AMoveThatIsStoppedWhileItCopiesLeavesTheFile) {
  renamesAcross();
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(move(from, to, stop.get_token()), CancellationError);
  EXPECT_EQ(read(from), content);
  EXPECT_FALSE(exists(to));
}

TEST_F(CopyFile, AnyOtherFailureOfARenameStands) {
  armFaultSeam(1, FaultAction::fail, EACCES);
  EXPECT_THROW(move(from, to), FileError);
  EXPECT_EQ(read(from), content);
  EXPECT_FALSE(exists(to));
}

}  // namespace
}  // namespace platform::files
