#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <fstream>
#include <thread>
#include <vector>

#include "Platform/Files/FaultSeam.h"
#include "Platform/Files/Files.h"

namespace platform::files {
namespace {

using testing::ElementsAre;

template <class Operation>
FileErrorKind kindOfFailure(Operation operation) {
  try {
    operation();
  } catch (const FileError& error) {
    return error.kind();
  }
  ADD_FAILURE() << "no error";
  return FileErrorKind::other;
}

class AtomicWriteTest : public testing::Test {
 protected:
  ~AtomicWriteTest() override { disarmFaultSeam(); }
  std::vector<std::string> names() const { return list(folder.path()); }
  TempFolder folder;
};

TEST_F(AtomicWriteTest, WritesAndReplacesWholeFilesAndLeavesNothingElse) {
  for (const std::string content : {"first", "", "a longer second content", "3"}) {
    atomicWrite(content, folder / "file");
    EXPECT_EQ(read(folder / "file"), content);
    EXPECT_THAT(names(), ElementsAre("file"));
  }
}

TEST_F(AtomicWriteTest, MakesMissingFolders) {
  atomicWrite("x", folder / "a/b/c/file");
  EXPECT_EQ(read(folder / "a/b/c/file"), "x");
}

TEST_F(AtomicWriteTest, KnowsTheNamesOfItsTemporaryFiles) {
  const std::string id = "6F9619FF-8B86-D011-B42D-00CF4FC964FF";
  for (const auto& name : {".file." + id + ".tmp", ".a." + id + ".tmp", "..hidden." + id + ".tmp",
                           ".x.pack." + id + ".tmp", ".two\nlines." + id + ".tmp"})
    EXPECT_TRUE(isTemporaryName(name)) << name;
  for (const auto& name :
       {std::string(), std::string(".tmp"), std::string(".file.tmp"), "file." + id + ".tmp", ".file." + id,
        ".file" + id + ".tmp", ".." + id + ".tmp", "." + id + ".tmp", ".file." + id + ".tmp2",
        ".file." + id.substr(1) + ".tmp", ".file.x" + id.substr(1) + ".tmp",
        std::string(".file.6f9619ff-8b86-d011-b42d-00cf4fc964ff.tmp"), ".file." + id + ".TMP"})
    EXPECT_FALSE(isTemporaryName(name)) << name;
}

TEST_F(AtomicWriteTest, WhatACrashLeavesBearsSuchAName) {
  const pid_t child = fork();
  if (child == 0) {
    armFaultSeam(3, FaultAction::stop);
    atomicWrite("x", folder / "file");
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_EQ(names().size(), 1u);
  EXPECT_TRUE(isTemporaryName(names().front())) << names().front();
}

TEST_F(AtomicWriteTest, TheModeIs0644LessTheUmask) {
  const mode_t old = umask(0027);
  atomicWrite("x", folder / "file");
  umask(old);
  struct stat status {};
  ASSERT_EQ(stat((folder / "file").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(AtomicWriteTest, AModeThatIsGivenCountsWhateverTheUmask) {
  const auto modeOf = [&] { return std::filesystem::status(folder / "file").permissions(); };
  const auto before = umask(0077);
  atomicWrite("x", folder / "file", Flush::no, std::filesystem::perms{0755});
  EXPECT_EQ(modeOf(), std::filesystem::perms{0755});
  atomicWrite("y", folder / "file", Flush::yes, std::filesystem::perms{0640});
  EXPECT_EQ(modeOf(), std::filesystem::perms{0640});
  umask(before);
  EXPECT_EQ(read(folder / "file"), "y");
}

TEST_F(AtomicWriteTest, NoFileAppearsWithAnotherModeThanTheOneGiven) {
  atomicWrite("old", folder / "file");
  armFaultSeam(1'000, FaultAction::fail);
  atomicWrite("new", folder / "file", Flush::no, std::filesystem::perms{0755});
  const auto operations = operationsSinceArmed();
  disarmFaultSeam();
  for (std::uint64_t n = 1; n <= operations; ++n) {
    atomicWrite("old", folder / "file");
    armFaultSeam(n, FaultAction::fail, EACCES);
    EXPECT_THROW(atomicWrite("old", folder / "file", Flush::no, std::filesystem::perms{0755}), FileError)
        << n;
    disarmFaultSeam();
    EXPECT_NE(std::filesystem::status(folder / "file").permissions(), std::filesystem::perms{0755}) << n;
    EXPECT_THAT(names(), ElementsAre("file")) << n;
  }
}

TEST_F(AtomicWriteTest, TakesAnyNameAndAPathWithoutAFolder) {
  for (const auto* name : {"with blanks ", "two\nlines", "\xc3\xa9t\xc3\xa9", ".hidden", "...", "-rf"}) {
    atomicWrite(name, folder / name);
    EXPECT_EQ(read(folder / name), name);
  }
  EXPECT_EQ(names().size(), 6U);

  const Path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  EXPECT_NO_THROW(atomicWrite("x", "bare name"));
  std::filesystem::current_path(before);
  EXPECT_EQ(read(folder / "bare name"), "x");
}

TEST_F(AtomicWriteTest, ALinkIsReplacedAndItsTargetStays) {
  atomicWrite("kept", folder / "target");
  std::filesystem::create_symlink("target", folder / "link");
  std::filesystem::create_symlink("nowhere", folder / "dangling");
  atomicWrite("new", folder / "link");
  atomicWrite("new", folder / "dangling");
  EXPECT_EQ(read(folder / "target"), "kept");
  EXPECT_EQ(read(folder / "link"), "new");
  EXPECT_FALSE(std::filesystem::is_symlink(folder / "dangling"));
}

TEST_F(AtomicWriteTest, AFolderInThePlaceOfTheFileIsAnError) {
  createDirectories(folder / "empty");
  createDirectories(folder / "full/inner");
  EXPECT_EQ(kindOfFailure([&] { atomicWrite("x", folder / "empty"); }), FileErrorKind::isADirectory);
  EXPECT_EQ(kindOfFailure([&] { atomicWrite("x", folder / "full"); }), FileErrorKind::isADirectory);
  for (const auto* path : {"", "/", ".", ".."})
    EXPECT_EQ(kindOfFailure([&] { atomicWrite("x", path); }), FileErrorKind::isADirectory) << path;
  EXPECT_THROW(atomicWrite("x", folder / "new/"), FileError);
  EXPECT_THAT(names(), testing::UnorderedElementsAre("empty", "full"));
}

TEST_F(AtomicWriteTest, AFileInThePlaceOfAFolderIsAnError) {
  atomicWrite("x", folder / "file");
  EXPECT_EQ(kindOfFailure([&] { atomicWrite("x", folder / "file/below"); }), FileErrorKind::notADirectory);
  EXPECT_EQ(kindOfFailure([&] { atomicWrite("x", folder / "file/a/b"); }), FileErrorKind::notADirectory);
  EXPECT_THAT(names(), ElementsAre("file"));
}

TEST_F(AtomicWriteTest, ANameTooLongForItsSiblingIsAnErrorThatSaysSo) {
  atomicWrite("x", folder / std::string(213, 'n'));
  try {
    atomicWrite("x", folder / std::string(214, 'n'));
    FAIL() << "no error";
  } catch (const FileError& error) {
    EXPECT_EQ(error.code(), ENAMETOOLONG);
    EXPECT_THAT(error.description(), testing::EndsWith(": File name too long"));
  }
  EXPECT_EQ(names().size(), 1U);
}

TEST_F(AtomicWriteTest, TheTemporaryFileIsADotNamedSibling) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    armFaultSeam(3, FaultAction::stop);  // open, write, then the rename
    atomicWrite("whole", folder / "file.json");
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  ASSERT_EQ(names().size(), 1U);
  EXPECT_THAT(names()[0], testing::MatchesRegex(
                              "\\.file\\.json\\.[0-9A-F]+-[0-9A-F]+-4[0-9A-F]+-[0-9A-F]+-[0-9A-F]+\\.tmp"));
  EXPECT_EQ(names()[0].size(), std::string(".file.json..tmp").size() + 36);
  EXPECT_EQ(read(folder / names()[0]), "whole");
  EXPECT_TRUE(visibleNames(folder.path()).empty());
}

TEST_F(AtomicWriteTest, AFailureAtAnyOperationLeavesTheOldContentAndNoTemporaryFile) {
  atomicWrite("old", folder / "file");
  for (const int code : {ENOSPC, EACCES, EIO, EROFS, EDQUOT}) {
    for (std::uint64_t n = 1; n <= 3; ++n) {
      armFaultSeam(n, FaultAction::fail, code);
      try {
        atomicWrite("new", folder / "file");
        ADD_FAILURE() << "operation " << n << " failed with " << code << " and nobody was told";
      } catch (const FileError& error) {
        EXPECT_EQ(error.code(), code);
      }
      disarmFaultSeam();
      EXPECT_EQ(read(folder / "file"), "old") << n;
      EXPECT_THAT(names(), ElementsAre("file")) << n;
    }
  }
  armFaultSeam(4, FaultAction::fail, EIO);
  atomicWrite("new", folder / "file");
  EXPECT_EQ(operationsSinceArmed(), 3U);
  EXPECT_EQ(read(folder / "file"), "new");
}

TEST_F(AtomicWriteTest, AFailureAtAnyOperationInANewFolderLeavesNoFile) {
  bool succeeded = false;
  for (std::uint64_t n = 1; !succeeded && n < 20; ++n) {
    const Path target = folder / std::to_string(n) / "a/file";
    armFaultSeam(n, FaultAction::fail, ENOSPC);
    try {
      atomicWrite("new", target);
      succeeded = true;
      EXPECT_EQ(n, 7U);  // open, two folders, open, write, rename
    } catch (const FileError& error) {
      EXPECT_EQ(error.kind(), FileErrorKind::noSpace);
      EXPECT_FALSE(files::exists(target));
      EXPECT_TRUE(!files::exists(target.parent_path()) || list(target.parent_path()).empty()) << n;
    }
    disarmFaultSeam();
  }
  EXPECT_TRUE(succeeded);
}

TEST_F(AtomicWriteTest, ADiskThatStaysBrokenIsAnErrorAndTheOldContentStays) {
  atomicWrite("old", folder / "file");
  for (std::uint64_t n = 1; n <= 3; ++n) {
    armFaultSeam(n, FaultAction::failFromThen, EIO);
    EXPECT_THROW(atomicWrite("new", folder / "file"), FileError);
    disarmFaultSeam();
    EXPECT_EQ(read(folder / "file"), "old");
    EXPECT_THAT(visibleNames(folder.path()), ElementsAre("file"));
  }
}

TEST_F(AtomicWriteTest, AStopAtAnyOperationLeavesOldOrNewContent) {
  atomicWrite("old", folder / "file");
  for (std::uint64_t n = 1; n <= 4; ++n) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      armFaultSeam(n, FaultAction::stop);
      atomicWrite("new", folder / "file");
      _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WIFSIGNALED(status), n <= 3) << n;
    EXPECT_EQ(read(folder / "file"), n <= 3 ? "old" : "new") << n;
    EXPECT_THAT(visibleNames(folder.path()), ElementsAre("file"));
  }
}

TEST_F(AtomicWriteTest, ARefusedReplacementSucceedsWhenAnotherWritersFileStandsThere) {
  atomicWrite("theirs", folder / "file");
  armFaultSeam(3, FaultAction::fail, EEXIST);
  EXPECT_NO_THROW(atomicWrite("ours", folder / "file"));
  EXPECT_EQ(read(folder / "file"), "theirs");
  for (const int code : {EACCES, EPERM, EBUSY, ETXTBSY}) {
    armFaultSeam(3, FaultAction::fail, code);
    EXPECT_NO_THROW(atomicWrite("theirs", folder / "file")) << code;
    armFaultSeam(3, FaultAction::fail, code);
    EXPECT_THROW(atomicWrite("theirz", folder / "file"), FileError) << code;
  }
  armFaultSeam(3, FaultAction::fail, EEXIST);
  EXPECT_THROW(atomicWrite("ours", folder / "other"), FileError);
  EXPECT_THAT(names(), ElementsAre("file"));
}

TEST_F(AtomicWriteTest, ARealWriteThatEndsHalfWayLeavesTheOldContent) {
  atomicWrite("old", folder / "file");
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{100'000, 100'000};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(2);
    try {
      atomicWrite(std::string(250'000, 'n'), folder / "file");
    } catch (const FileError& error) {
      _exit(error.code() == EFBIG ? 0 : 3);
    }
    _exit(1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(read(folder / "file"), "old");
  EXPECT_THAT(names(), ElementsAre("file"));
}

TEST_F(AtomicWriteTest, WritersOfOnePathNeverFailAndReadersSeeWholeContent) {
  const Path path = folder / "deep/file";
  const auto content = [](char letter) { return std::string(20'000, letter); };
  std::atomic<int> failures = 0;
  std::atomic<int> torn = 0;
  {
    std::vector<std::jthread> writers;
    for (const char letter : {'a', 'b'})
      writers.emplace_back([&, letter] {
        try {
          for (int i = 0; i < 200; ++i) atomicWrite(content(letter), path);
        } catch (const FileError&) {
          ++failures;
        }
      });
    const std::jthread reader([&](const std::stop_token& stop) {
      while (!stop.stop_requested())
        if (const auto bytes = tryRead(path); bytes && *bytes != content('a') && *bytes != content('b'))
          ++torn;
    });
    writers.clear();
  }
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(torn, 0);
  EXPECT_THAT(list(folder / "deep"), ElementsAre("file"));
}

TEST_F(AtomicWriteTest, WritersThatMakeTheSameFoldersDoNotFail) {
  std::atomic<int> failures = 0;
  std::vector<std::jthread> writers;
  for (int w = 0; w < 4; ++w)
    writers.emplace_back([&, w] {
      try {
        for (int i = 0; i < 50; ++i) atomicWrite("x", folder / std::to_string(i) / "a/b" / std::to_string(w));
      } catch (const FileError&) {
        ++failures;
      }
    });
  writers.clear();
  EXPECT_EQ(failures, 0);
  for (int i = 0; i < 50; ++i) EXPECT_EQ(list(folder / std::to_string(i) / "a/b").size(), 4U);
}

class RenameWithoutReplacingTest : public AtomicWriteTest, public testing::WithParamInterface<int> {
 protected:
  // With a code, the file system answers the first attempt the way one does that can't rename like that.
  void renameAtoB() {
    if (GetParam() != 0) armFaultSeam(1, FaultAction::fail, GetParam());
    renameWithoutReplacing(folder / "a", folder / "b");
  }
};

TEST_P(RenameWithoutReplacingTest, MovesAFolderToAFreeName) {
  atomicWrite("x", folder / "a/file");
  renameAtoB();
  EXPECT_EQ(read(folder / "b/file"), "x");
  EXPECT_FALSE(files::exists(folder / "a"));
}

TEST_P(RenameWithoutReplacingTest, RefusesWhateverStandsThere) {
  for (const auto* what : {"file", "empty folder", "full folder", "dangling link"}) {
    const std::string_view kind = what;
    atomicWrite("x", folder / "a/file");
    if (kind == "file") atomicWrite("kept", folder / "b");
    if (kind == "empty folder") createDirectories(folder / "b");
    if (kind == "full folder") atomicWrite("kept", folder / "b/kept");
    if (kind == "dangling link") std::filesystem::create_symlink("nowhere", folder / "b");
    EXPECT_EQ(kindOfFailure([&] { renameAtoB(); }), FileErrorKind::exists) << kind;
    disarmFaultSeam();
    EXPECT_EQ(read(folder / "a/file"), "x");
    EXPECT_FALSE(files::exists(folder / "b/file")) << kind;
    removeTree(folder / "b");
  }
}

TEST_P(RenameWithoutReplacingTest, FailsWhenThereIsNothingToRename) {
  EXPECT_EQ(kindOfFailure([&] { renameAtoB(); }), FileErrorKind::notFound);
}

INSTANTIATE_TEST_SUITE_P(FileSystems, RenameWithoutReplacingTest, testing::Values(0, EINVAL, ENOSYS));

}  // namespace
}  // namespace platform::files
