#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <thread>
#include <vector>

#include "Platform/Crypto/Digest.h"
#include "Platform/Files/FaultSeam.h"
#include "Platform/Files/Files.h"

namespace platform::files {
namespace {

class FileStreamsTest : public testing::Test {
 protected:
  ~FileStreamsTest() override { disarmFaultSeam(); }
  TempFolder folder;
};

TEST_F(FileStreamsTest, AReaderGivesFullPiecesThenTheRestThenTheEnd) {
  const Bytes content = randomBytes(10'000);
  atomicWrite(content, folder / "file");
  FileReader reader(folder / "file");
  Bytes piece;
  Bytes all;
  std::vector<std::size_t> sizes;
  while (reader.read(piece, 4096)) {
    sizes.push_back(piece.size());
    all += piece;
  }
  EXPECT_EQ(sizes, (std::vector<std::size_t>{4096, 4096, 1808}));
  EXPECT_EQ(all, content);
  EXPECT_FALSE(reader.read(piece, 4096));
  EXPECT_TRUE(piece.empty());
}

TEST_F(FileStreamsTest, AReaderOfAnEmptyFileIsAtTheEndAtOnce) {
  atomicWrite("", folder / "file");
  FileReader reader(folder / "file");
  Bytes piece = "old";
  EXPECT_FALSE(reader.read(piece, 10));
  EXPECT_TRUE(piece.empty());
}

TEST_F(FileStreamsTest, AReaderOfAMissingFileNamesIt) {
  try {
    FileReader reader(folder / "none");
    FAIL() << "no error";
  } catch (const FileError& error) {
    EXPECT_EQ(error.description(),
              "Can't read " + (folder / "none").native() + ": No such file or directory");
  }
}

TEST_F(FileStreamsTest, AppendingGrowsTheFileAndKeepsWhatWasThere) {
  {
    AppendFile file(folder / "log");
    EXPECT_EQ(file.size(), 0);
    file.append("one\n");
    file.append("");
    EXPECT_EQ(file.size(), 4);
    file.sync();
  }
  AppendFile file(folder / "log");
  EXPECT_EQ(file.size(), 4);
  file.append("two\n");
  EXPECT_EQ(read(folder / "log"), "one\ntwo\n");
}

TEST_F(FileStreamsTest, ATornTailIsSeen) {
  AppendFile file(folder / "log");
  EXPECT_TRUE(file.endsWithLineFeed());
  file.append("whole\n");
  EXPECT_TRUE(file.endsWithLineFeed());
  file.append("{\"tor");
  EXPECT_FALSE(file.endsWithLineFeed());
  file.append("\n");
  EXPECT_TRUE(file.endsWithLineFeed());
  file.append(std::string_view("\n\0", 2));
  EXPECT_FALSE(file.endsWithLineFeed());
}

TEST_F(FileStreamsTest, AppendGoesToThePresentEndWhoeverMovedIt) {
  AppendFile file(folder / "log");
  file.append("one\ntwo\n");
  ASSERT_EQ(truncate((folder / "log").c_str(), 4), 0);
  file.append("three\n");
  EXPECT_EQ(read(folder / "log"), "one\nthree\n");
}

TEST_F(FileStreamsTest, LinesOfTwoAppendersDoNotMix) {
  std::vector<std::jthread> threads;
  for (const char letter : {'a', 'b'})
    threads.emplace_back([this, letter] {
      AppendFile file(folder / "log");
      for (int i = 0; i < 200; ++i) file.append(std::string(99, letter) + "\n");
    });
  threads.clear();
  const Bytes content = read(folder / "log");
  ASSERT_EQ(content.size(), 40'000U);
  for (std::size_t at = 0; at < content.size(); at += 100) {
    const std::string_view line = std::string_view(content).substr(at, 100);
    ASSERT_EQ(line, std::string(99, line[0]) + "\n");
  }
}

TEST_F(FileStreamsTest, AppendFilesAreMadeOnlyInFoldersThatExist) {
  EXPECT_THROW(AppendFile(folder / "none/log"), FileError);
  EXPECT_THROW(AppendFile{folder.path()}, FileError);
  EXPECT_THROW(AppendFile(folder.path() / "log" / "x"), FileError);
  EXPECT_TRUE(list(folder.path()).empty());
}

TEST_F(FileStreamsTest, AnAppendThatRunsOutOfRoomIsAnErrorAndMayLeaveAPart) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{6, 6};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(2);
    AppendFile file(folder / "log");
    try {
      file.append("0123456789");
    } catch (const FileError& error) {
      _exit(error.code() == EFBIG && file.size() == 6 && !file.endsWithLineFeed() ? 0 : 3);
    }
    _exit(1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST_F(FileStreamsTest, RangesAreReadFromAFileThatIsReplacedOrDeletedMeanwhile) {
  const Bytes content = randomBytes(100'001);
  atomicWrite(content, folder / "file");
  const RangeReader reader(folder / "file");
  EXPECT_EQ(reader.size(), 100'001);
  atomicWrite("other", folder / "file");
  files::remove(folder / "file");
  Bytes buffer;
  ASSERT_TRUE(reader.read(50'000, 50'001, buffer));
  EXPECT_EQ(buffer, content.substr(50'000));
  ASSERT_TRUE(reader.read(100'001, 0, buffer));
  EXPECT_TRUE(buffer.empty());
}

TEST_F(FileStreamsTest, ARangeThatIsNotAllThereIsNotRead) {
  atomicWrite("0123456789", folder / "file");
  const RangeReader reader(folder / "file");
  Bytes buffer;
  EXPECT_FALSE(reader.read(5, 6, buffer));
  EXPECT_FALSE(reader.read(-1, 2, buffer));
  EXPECT_FALSE(reader.read(2, -1, buffer));
  EXPECT_FALSE(reader.read(INT64_MAX, 1, buffer));
  EXPECT_FALSE(reader.read(1, INT64_MAX, buffer));
  EXPECT_FALSE(reader.read(INT64_MAX, INT64_MAX, buffer));
  std::filesystem::resize_file(folder / "file", 3);
  EXPECT_FALSE(reader.read(0, 10, buffer)) << "it was cut while it was open";
  EXPECT_TRUE(reader.read(0, 3, buffer));
  EXPECT_THROW(RangeReader(folder / "none"), FileError);
  EXPECT_THROW(RangeReader(folder.path()), FileError);
}

TEST_F(FileStreamsTest, AStagedFileAppearsWholeOrNotAtAll) {
  const Bytes large = randomBytes(3'000'000);
  {
    StagedFile file(folder / "file");
    file.append("head");
    file.append(large);
    file.append("tail");
    EXPECT_EQ(file.size(), 3'000'008);
    EXPECT_FALSE(files::exists(folder / "file"));
    ASSERT_EQ(list(folder.path()).size(), 1U);
    EXPECT_TRUE(list(folder.path()).front().starts_with(".file."));
    file.publish();
  }
  EXPECT_EQ(files::read(folder / "file"), "head" + large + "tail");
  EXPECT_EQ(list(folder.path()).size(), 1U);
  { StagedFile(folder / "other").append("x"); }
  EXPECT_EQ(list(folder.path()).size(), 1U) << "what is not published is gone";
}

TEST_F(FileStreamsTest, AStagedFileNeverReplacesAnything) {
  atomicWrite("old", folder / "file");
  StagedFile file(folder / "file");
  file.append("new");
  EXPECT_THROW(file.publish(), FileError);
  EXPECT_EQ(files::read(folder / "file"), "old");
}

TEST_F(FileStreamsTest, AStagedFileThatFailedOnceIsOfNoFurtherUse) {
  StagedFile file(folder / "file");
  armFaultSeam(1, FaultAction::fail, ENOSPC);
  EXPECT_THROW(file.append(randomBytes(2'000'000)), FileError);
  disarmFaultSeam();
  EXPECT_THROW(file.append("more"), FileError);
  EXPECT_THROW(file.publish(), FileError);
  EXPECT_FALSE(files::exists(folder / "file"));
}

TEST_F(FileStreamsTest, AnAtomicWriteCanBeFlushedBeforeItsRename) {
  armFaultSeam(UINT64_MAX, FaultAction::fail);
  atomicWrite("plain", folder / "plain");
  const auto plain = operationsSinceArmed();
  armFaultSeam(plain, FaultAction::fail, EIO);  // the flush takes the place of the rename
  EXPECT_THROW(atomicWrite("flushed", folder / "flushed", Flush::yes), FileError);
  disarmFaultSeam();
  EXPECT_FALSE(files::exists(folder / "flushed"));
  EXPECT_EQ(list(folder.path()), std::vector<std::string>{"plain"});
  atomicWrite("flushed", folder / "flushed", Flush::yes);
  EXPECT_EQ(files::read(folder / "flushed"), "flushed");
  EXPECT_NO_THROW(syncFolder(folder.path()));
  EXPECT_THROW(syncFolder(folder / "none"), FileError);
}

TEST_F(FileStreamsTest, StreamsCloseTheirFiles) {
  atomicWrite("x", folder / "file");
  const std::size_t before = list("/proc/self/fd").size();
  for (int i = 0; i < 20; ++i) {
    FileReader reader(folder / "file");
    AppendFile appended(folder / "file");
    RangeReader ranges(folder / "file");
    EXPECT_THROW(FileReader{folder.path()}, FileError);
    EXPECT_THROW(AppendFile("/dev/full"), FileError);
    EXPECT_THROW(atomicWrite("x", folder.path()), FileError);
    allocatedSize(folder.path());
  }
  EXPECT_EQ(list("/proc/self/fd").size(), before);
}

}  // namespace
}  // namespace platform::files
