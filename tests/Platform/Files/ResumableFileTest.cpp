#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>

#include "Platform/Files/FaultSeam.h"
#include "Platform/Files/Files.h"

namespace platform::files {
namespace {

class ResumableFileTest : public testing::Test {
 protected:
  ~ResumableFileTest() override { disarmFaultSeam(); }
  TempFolder folder;
  Path path = folder / "file.part";
};

TEST_F(ResumableFileTest, AMissingFileIsMadeEmpty) {
  EXPECT_EQ(ResumableFile(path).size(), 0);
  EXPECT_EQ(read(path), "");
}

TEST_F(ResumableFileTest, WhatIsThereStaysAndIsGoneOnFrom) {
  atomicWrite("0123456789", path);
  {
    ResumableFile file(path);
    EXPECT_EQ(file.size(), 10);
    file.seek(10);
    file.write("abc");
    file.write("def");
    EXPECT_EQ(file.size(), 16);
    file.sync();
  }
  EXPECT_EQ(read(path), "0123456789abcdef");
}

TEST_F(ResumableFileTest, WritingBeginsAtTheBeginAndReplacesThere) {
  atomicWrite("0123456789", path);
  ResumableFile(path).write("ab");
  EXPECT_EQ(read(path), "ab23456789");
}

TEST_F(ResumableFileTest, CuttingLeavesWhatIsWrittenAfterwards) {
  atomicWrite("0123456789", path);
  {
    ResumableFile file(path);
    file.truncate(0);
    EXPECT_EQ(file.size(), 0);
    file.write("new");
  }
  EXPECT_EQ(read(path), "new");
}

TEST_F(ResumableFileTest, WhatIsNoFileIsRefused) {
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_THROW(ResumableFile(folder / "pipe"), FileError);
  EXPECT_THROW(ResumableFile(folder.path()), FileError);
  EXPECT_THROW(ResumableFile(folder / "none" / "file"), FileError);
}

TEST_F(ResumableFileTest, EveryChangeOfTheDiskPassesTheFaultSeam) {
  const auto broken = [&](std::uint64_t n) -> std::string {
    armFaultSeam(n, FaultAction::fail, ENOSPC);
    try {
      ResumableFile file(path);
      file.truncate(0);
      file.write("x");
      file.sync();
    } catch (const FileError& error) {
      EXPECT_EQ(error.kind(), FileErrorKind::noSpace);
      return error.description();
    }
    return {};
  };
  const std::string reason = path.native() + ": No space left on device";
  EXPECT_EQ(broken(1), "Can't open " + reason);
  EXPECT_EQ(broken(2), "Can't cut " + reason);
  EXPECT_EQ(broken(3), "Can't write " + reason);
  EXPECT_EQ(broken(4), "Can't flush " + reason);
  EXPECT_EQ(broken(5), "");
}

}  // namespace
}  // namespace platform::files
