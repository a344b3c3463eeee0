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
