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

TEST_F(FileStreamsTest, AMappingShowsTheWholeFileAndSurvivesItsReplacement) {
  const Bytes content = randomBytes(100'001);
  atomicWrite(content, folder / "file");
  const MappedFile mapped(folder / "file");
  EXPECT_EQ(mapped.bytes(), content);
  atomicWrite("other", folder / "file");
  EXPECT_EQ(mapped.bytes(), content);
  files::remove(folder / "file");
  EXPECT_EQ(mapped.bytes(), content);
}

TEST_F(FileStreamsTest, AMappingOfAnEmptyFileIsEmpty) {
  atomicWrite("", folder / "file");
  EXPECT_TRUE(MappedFile(folder / "file").bytes().empty());
  EXPECT_THROW(MappedFile(folder / "none"), FileError);
}

TEST_F(FileStreamsTest, StreamsCloseTheirFiles) {
  atomicWrite("x", folder / "file");
  const std::size_t before = list("/proc/self/fd").size();
  for (int i = 0; i < 20; ++i) {
    FileReader reader(folder / "file");
    AppendFile appended(folder / "file");
    MappedFile mapped(folder / "file");
    EXPECT_THROW(FileReader{folder.path()}, FileError);
    EXPECT_THROW(AppendFile("/dev/full"), FileError);
    EXPECT_THROW(atomicWrite("x", folder.path()), FileError);
    allocatedSize(folder.path());
  }
  EXPECT_EQ(list("/proc/self/fd").size(), before);
}

}  // namespace
}  // namespace platform::files
