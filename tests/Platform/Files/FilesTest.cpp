#include "Platform/Files/Files.h"

#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>

#include "Platform/Crypto/Digest.h"

namespace platform::files {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

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

template <class Operation>
std::string descriptionOfFailure(Operation operation) {
  try {
    operation();
  } catch (const FileError& error) {
    return error.description();
  }
  return "no error";
}

class FilesTest : public testing::Test {
 protected:
  void write(const Path& path, std::string_view content) { std::ofstream(path) << content; }
  TempFolder folder;
};

TEST_F(FilesTest, ErrorsNameOperationPathAndReason) {
  EXPECT_EQ(descriptionOfFailure([&] { read(folder / "no such"); }),
            "Can't read " + (folder / "no such").native() + ": No such file or directory");
  EXPECT_EQ(descriptionOfFailure([] { throwFileError("write", "/b/x.json", ENOSPC); }),
            "Can't write /b/x.json: No space left on device");
  EXPECT_EQ(descriptionOfFailure([] { throwFileError("write", "/b/two\nlines\x7f", EACCES); }),
            "Can't write /b/two?lines?: Permission denied");
  EXPECT_EQ(descriptionOfFailure([] { throwFileError("write", "/x", 99999); }),
            "Can't write /x: System error 99999");
}

TEST_F(FilesTest, SystemErrorsHaveKinds) {
  const std::vector<std::pair<int, FileErrorKind>> table = {{ENOENT, FileErrorKind::notFound},
                                                            {EEXIST, FileErrorKind::exists},
                                                            {EACCES, FileErrorKind::notPermitted},
                                                            {EPERM, FileErrorKind::notPermitted},
                                                            {EROFS, FileErrorKind::notPermitted},
                                                            {ENOSPC, FileErrorKind::noSpace},
                                                            {EDQUOT, FileErrorKind::noSpace},
                                                            {ENOTDIR, FileErrorKind::notADirectory},
                                                            {EISDIR, FileErrorKind::isADirectory},
                                                            {ENOTEMPTY, FileErrorKind::notEmpty},
                                                            {EIO, FileErrorKind::other}};
  for (const auto& [code, kind] : table) {
    try {
      throwFileError("read", "x", code);
    } catch (const FileError& error) {
      EXPECT_EQ(error.kind(), kind) << code;
      EXPECT_EQ(error.code(), code);
    }
  }
}

TEST_F(FilesTest, ReadsTheWholeContent) {
  const Bytes content = randomBytes(100'000);
  for (const std::size_t length : {0U, 1U, 4095U, 4096U, 4097U, 100'000U}) {
    write(folder / "file", content.substr(0, length));
    EXPECT_EQ(read(folder / "file"), content.substr(0, length)) << length;
    EXPECT_EQ(tryRead(folder / "file"), content.substr(0, length)) << length;
  }
}

TEST_F(FilesTest, ReadsFilesThatClaimToBeEmpty) {
  ASSERT_EQ(size("/proc/self/maps"), 0);
  EXPECT_THAT(read("/proc/self/maps"), testing::HasSubstr("[stack]"));
  EXPECT_GT(read("/proc/self/maps").size(), 4096U);
  EXPECT_EQ(tryRead("/proc/self/maps", 100), std::nullopt);
  EXPECT_TRUE(tryRead("/proc/self/maps", 10'000'000));
}

TEST_F(FilesTest, TryReadStopsAtItsLimit) {
  write(folder / "file", "12345");
  EXPECT_EQ(tryRead(folder / "file", 5), "12345");
  EXPECT_EQ(tryRead(folder / "file", 4), std::nullopt);
  EXPECT_EQ(tryRead(folder / "file", 0), std::nullopt);
  write(folder / "empty", "");
  EXPECT_EQ(tryRead(folder / "empty", 0), "");
}

TEST_F(FilesTest, AHugeSparseFileBeyondTheLimitTakesNoMemory) {
  write(folder / "sparse", "");
  ASSERT_EQ(truncate((folder / "sparse").c_str(), off_t{1} << 42), 0);
  EXPECT_EQ(tryRead(folder / "sparse", 1'000'000), std::nullopt);
}

TEST_F(FilesTest, ReadIntoABufferStopsAtItsLimit) {
  atomicWrite("four", folder / "file");
  Bytes buffer = "what was there before";
  read(folder / "file", buffer, 4);
  EXPECT_EQ(buffer, "four");
  EXPECT_THROW(read(folder / "file", buffer, 3), FileError);
  std::filesystem::resize_file(folder / "file", std::uintmax_t{1} << 40);
  EXPECT_THROW(read(folder / "file", buffer, 1 << 20), FileError);
  EXPECT_LT(buffer.capacity(), 1U << 20);
}

TEST_F(FilesTest, ReadingRefusesWhatIsNoRegularFileWithoutWaiting) {
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  (folder / "socket").native().copy(address.sun_path, sizeof address.sun_path - 1);
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(listener);

  EXPECT_EQ(kindOfFailure([&] { read(folder.path()); }), FileErrorKind::isADirectory);
  EXPECT_EQ(descriptionOfFailure([&] { read(folder / "pipe"); }),
            "Can't read " + (folder / "pipe").native() + ": Not a regular file");
  for (const Path& path :
       {folder.path(), folder / "pipe", folder / "socket", Path("/dev/null"), Path("/dev/zero"), Path("")}) {
    EXPECT_EQ(tryRead(path), std::nullopt) << path;
    EXPECT_THROW(read(path), FileError) << path;
    EXPECT_THROW(FileReader{path}, FileError) << path;
    EXPECT_THROW(RangeReader{path}, FileError) << path;
  }
  EXPECT_THROW(AppendFile(folder / "pipe"), FileError);
  EXPECT_THROW(AppendFile("/dev/full"), FileError);
}

TEST_F(FilesTest, QuestionsFollowLinksAndExistsDoesNot) {
  write(folder / "file", "12345");
  std::filesystem::create_symlink("file", folder / "link");
  std::filesystem::create_symlink("nowhere", folder / "dangling");
  std::filesystem::create_symlink("loop", folder / "loop");
  std::filesystem::create_directory_symlink(".", folder / "self");
  EXPECT_TRUE(isFile(folder / "file"));
  EXPECT_TRUE(isFile(folder / "link"));
  EXPECT_FALSE(isFile(folder / "dangling"));
  EXPECT_FALSE(isFile(folder.path()));
  EXPECT_FALSE(isFile(folder / "file/below"));
  EXPECT_TRUE(isDirectory(folder.path()));
  EXPECT_TRUE(isDirectory(folder / "self"));
  EXPECT_FALSE(isDirectory(folder / "file"));
  EXPECT_FALSE(isDirectory(folder / "loop"));
  EXPECT_TRUE(files::exists(folder / "dangling"));
  EXPECT_TRUE(files::exists(folder / "loop"));
  EXPECT_FALSE(files::exists(folder / "nowhere"));
  EXPECT_FALSE(files::exists(""));
  EXPECT_EQ(size(folder / "link"), 5);
  EXPECT_EQ(size(folder / "dangling"), std::nullopt);
  EXPECT_EQ(size(folder.path()), std::nullopt);
  EXPECT_EQ(tryRead(folder / "dangling"), std::nullopt);
}

TEST_F(FilesTest, ListsAnyName) {
  const std::vector<std::string> names = {"plain",      "with blanks ", "\xc3\xa9t\xc3\xa9",
                                          "two\nlines", ".hidden",      "..x"};
  for (const auto& name : names) write(folder / name, name);
  EXPECT_THAT(list(folder.path()), testing::UnorderedElementsAreArray(names));
  EXPECT_THAT(visibleNames(folder.path()),
              ElementsAre("plain", "two\nlines", "with blanks ", "\xc3\xa9t\xc3\xa9"));
  for (const auto& name : names) EXPECT_EQ(read(folder / name), name);
}

TEST_F(FilesTest, ListsAFolderOf10000Entries) {
  for (int i = 0; i < 10'000; ++i) close(creat((folder / std::to_string(i)).c_str(), 0600));
  EXPECT_EQ(list(folder.path()).size(), 10'000U);
  const auto names = visibleNames(folder.path());
  EXPECT_EQ(names.size(), 10'000U);
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
}

TEST_F(FilesTest, AFolderThatCantBeListedIsAnErrorOrAnEmptyList) {
  write(folder / "file", "");
  EXPECT_EQ(kindOfFailure([&] { list(folder / "none"); }), FileErrorKind::notFound);
  EXPECT_EQ(kindOfFailure([&] { list(folder / "file"); }), FileErrorKind::notADirectory);
  EXPECT_THAT(visibleNames(folder / "none"), ElementsAre());
  EXPECT_THAT(visibleNames(folder / "file"), ElementsAre());
}

TEST_F(FilesTest, CreatesFoldersWithTheirParents) {
  createDirectories(folder / "a/b/c");
  EXPECT_TRUE(isDirectory(folder / "a/b/c"));
  createDirectories(folder / "a/b/c");
  createDirectories(folder / "a/d/");
  EXPECT_TRUE(isDirectory(folder / "a/d"));
  createDirectories(folder / "x/../y");
  EXPECT_TRUE(isDirectory(folder / "y"));
  createDirectories("/");
}

TEST_F(FilesTest, CreatingAFolderWhereSomethingElseStandsFails) {
  write(folder / "file", "");
  std::filesystem::create_symlink("nowhere", folder / "dangling");
  EXPECT_EQ(kindOfFailure([&] { createDirectories(folder / "file"); }), FileErrorKind::notADirectory);
  EXPECT_EQ(kindOfFailure([&] { createDirectories(folder / "file/a/b"); }), FileErrorKind::notADirectory);
  EXPECT_EQ(kindOfFailure([&] { createDirectories(folder / "dangling"); }), FileErrorKind::exists);
  EXPECT_EQ(kindOfFailure([&] { createDirectories(""); }), FileErrorKind::notFound);
  EXPECT_THROW(createDirectories(folder / std::string(300, 'x')), FileError);
}

TEST_F(FilesTest, RenameReplacesAFile) {
  write(folder / "a", "new");
  write(folder / "b", "old");
  files::rename(folder / "a", folder / "b");
  EXPECT_EQ(read(folder / "b"), "new");
  EXPECT_FALSE(files::exists(folder / "a"));
  const auto text = descriptionOfFailure([&] { files::rename(folder / "a", folder / "c"); });
  EXPECT_EQ(text, "Can't rename " + (folder / "a").native() + " to " + (folder / "c").native() +
                      ": No such file or directory");
  EXPECT_EQ(descriptionOfFailure([] { files::rename("no\nsuch/a", "b"); }),
            "Can't rename no?such/a to b: No such file or directory");
}

TEST_F(FilesTest, RemoveDeletesFilesAndLinksOnly) {
  write(folder / "file", "");
  std::filesystem::create_symlink("nowhere", folder / "dangling");
  files::remove(folder / "file");
  files::remove(folder / "dangling");
  EXPECT_TRUE(list(folder.path()).empty());
  EXPECT_EQ(kindOfFailure([&] { files::remove(folder / "file"); }), FileErrorKind::notFound);
  createDirectories(folder / "empty");
  EXPECT_EQ(kindOfFailure([&] { files::remove(folder / "empty"); }), FileErrorKind::isADirectory);
  EXPECT_TRUE(files::exists(folder / "empty"));
}

TEST_F(FilesTest, TryRemoveTakesFilesAndEmptyFoldersAndIgnoresTheRest) {
  write(folder / "file", "");
  createDirectories(folder / "empty");
  createDirectories(folder / "full/inner");
  for (const auto* name : {"file", "empty", "full", "none"}) tryRemove(folder / name);
  EXPECT_THAT(list(folder.path()), ElementsAre("full"));
}

TEST_F(FilesTest, AnEntryIsWhatStandsThereAndNotWhatALinkLeadsTo) {
  using Kind = Entry::Kind;
  write(folder / "file", "four");
  const timespec times[2] = {{1700000000, 0}, {1700000000, 250999999}};
  ASSERT_EQ(utimensat(AT_FDCWD, (folder / "file").c_str(), times, 0), 0);
  std::filesystem::create_symlink("file", folder / "link");
  std::filesystem::create_symlink("nowhere", folder / "dangling");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);

  const auto file = entryAt(folder / "file");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->kind, Kind::file);
  EXPECT_EQ(file->size, 4);
  EXPECT_EQ(file->modified, Date(std::chrono::milliseconds(1700000000250)));
  EXPECT_EQ(entryAt(folder.path())->kind, Kind::folder);
  EXPECT_EQ(entryAt(folder / "link")->kind, Kind::link);
  EXPECT_EQ(entryAt(folder / "dangling")->kind, Kind::link);
  EXPECT_EQ(entryAt(folder / "pipe")->kind, Kind::other);
  EXPECT_FALSE(entryAt(folder / "none"));
  EXPECT_FALSE(entryAt(folder / "file/below"));
}

TEST_F(FilesTest, RemoveTreeDeletesLinksAndNotWhatTheyLeadTo) {
  createDirectories(folder / "outside");
  write(folder / "outside/kept", "kept");
  createDirectories(folder / "tree/a/.hidden/b");
  write(folder / "tree/a/.hidden/b/two\nlines", "x");
  std::filesystem::create_directory_symlink(folder / "outside", folder / "tree/link");
  std::filesystem::create_symlink("nowhere", folder / "tree/dangling");
  std::filesystem::create_directory_symlink(folder / "outside", folder / "root link");
  removeTree(folder / "tree");
  removeTree(folder / "root link");
  EXPECT_THAT(list(folder.path()), ElementsAre("outside"));
  EXPECT_EQ(read(folder / "outside/kept"), "kept");
  removeTree(folder / "tree");
}

TEST_F(FilesTest, RemoveTreeDeletesASingleFileAndTellsWhyItCant) {
  write(folder / "file", "");
  EXPECT_EQ(kindOfFailure([&] { removeTree(folder / "file/below"); }), FileErrorKind::notADirectory);
  removeTree(folder / "file");
  EXPECT_FALSE(files::exists(folder / "file"));
}

TEST_F(FilesTest, SyncFlushesAndFailsForAMissingPath) {
  write(folder / "file", "x");
  syncFileSystem(folder.path());
  syncFileSystem(folder / "file");
  EXPECT_EQ(kindOfFailure([&] { syncFileSystem(folder / "none"); }), FileErrorKind::notFound);
}

TEST_F(FilesTest, ATempFolderIsPrivateAndGoesWithItsContent) {
  Path path;
  {
    const TempFolder temporary("some prefix");
    path = temporary.path();
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
    EXPECT_TRUE(path.filename().native().starts_with("some prefix-"));
    EXPECT_NE(path, folder.path());
    createDirectories(temporary / "a/b");
    write(temporary / "a/b/c", "x");
  }
  EXPECT_FALSE(files::exists(path));
  EXPECT_THROW(TempFolder("no such folder/x"), FileError);
}

}  // namespace
}  // namespace platform::files
