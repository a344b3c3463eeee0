#include "OrvikCore/Store/LineFile.h"

#include <gtest/gtest.h>

#include "Platform/Files/FaultSeam.h"
#include "tests/Support/Folders.h"

namespace {

using orvik::LineFile;
namespace files = platform::files;
namespace test = orvik::test;
using Lines = std::vector<std::string_view>;

class Lined : public testing::Test {
 protected:
  files::TempFolder folder;
  LineFile file{folder / "lines"};

  std::string content() const { return files::read(file.path()); }
};

TEST_F(Lined, NothingIsTouchedBeforeTheFirstLine) {
  file.close();
  EXPECT_FALSE(files::exists(file.path()));
}

TEST_F(Lined, EachLineEndsWithALineFeed) {
  file.append("one");
  file.append("");
  file.append("two");
  EXPECT_EQ(content(), "one\n\ntwo\n");
}

TEST_F(Lined, ALineAfterCloseStandsAtTheEndOfTheSameFile) {
  file.append("one");
  file.close();
  file.close();
  file.append("two");
  EXPECT_EQ(content(), "one\ntwo\n");
}

TEST_F(Lined, AfterATornLineTheNextStandsAlone) {
  test::write(file.path(), "one\ntor");
  file.append("two");
  file.append("three");
  EXPECT_EQ(content(), "one\ntor\ntwo\nthree\n");
}

TEST_F(Lined, AFailedLineLeavesTheNextOneWhole) {
  file.append("one");
  files::armFaultSeam(1, files::FaultAction::fail);
  EXPECT_THROW(file.append("two"), files::FileError);
  files::disarmFaultSeam();
  file.append("three");
  EXPECT_EQ(content(), "one\nthree\n");
}

TEST_F(Lined, WhatIsNoFileIsAnErrorAndNeverBlocks) {
  test::makePipe(file.path());
  EXPECT_THROW(file.append("one"), files::FileError);
  LineFile below(folder / "none/lines");
  EXPECT_THROW(below.append("one"), files::FileError);
}

TEST_F(Lined, AFailedFlushStillCloses) {
  file.append("one");
  files::armFaultSeam(1, files::FaultAction::fail);
  file.close();
  files::disarmFaultSeam();
  file.append("two");
  EXPECT_EQ(content(), "one\ntwo\n");
}

TEST(Lines, DropTheEmptyAndKeepTheTornLast) {
  EXPECT_EQ(LineFile::lines(""), Lines());
  EXPECT_EQ(LineFile::lines("\n\n"), Lines());
  EXPECT_EQ(LineFile::lines("a\n\nb\r\n\nc"), (Lines{"a", "b\r", "c"}));
  EXPECT_EQ(LineFile::lines(std::string_view("a\0b\nc", 5)), (Lines{std::string_view("a\0b", 3), "c"}));
}

}  // namespace
