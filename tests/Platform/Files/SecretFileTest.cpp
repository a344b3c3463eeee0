#include "Platform/Files/SecretFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "Platform/Concurrency/Cancellation.h"

namespace platform::files {
namespace {

TEST(SecretFile, WhatIsWrittenIsReadAndItsOwnersAlone) {
  const TempFolder folder;
  writeSecretFile(folder / "secret", SecretString("hush\n"));
  struct stat about {};
  ASSERT_EQ(::stat((folder / "secret").c_str(), &about), 0);
  EXPECT_EQ(about.st_mode & 0777, 0600u);
  EXPECT_EQ(readSecretFile(folder / "secret", 100, Exposure::refused, {}).reveal(), "hush\n");
  EXPECT_THROW(writeSecretFile(folder / "secret", SecretString("other")), FileError);
}

TEST(SecretFile, ARightOfOthersIsRefusedUnlessAllowed) {
  const TempFolder folder;
  writeSecretFile(folder / "secret", SecretString("hush"));
  for (const mode_t mode : {0640u, 0620u, 0604u, 0601u}) {
    ASSERT_EQ(::chmod((folder / "secret").c_str(), mode), 0);
    EXPECT_THROW(readSecretFile(folder / "secret", 100, Exposure::refused, {}), ExposedFileError);
    EXPECT_EQ(readSecretFile(folder / "secret", 100, Exposure::allowed, {}).reveal(), "hush");
  }
}

TEST(SecretFile, LengthIsLimitedToTheByte) {
  const TempFolder folder;
  writeSecretFile(folder / "secret", SecretString(std::string(5000, 'x')));
  EXPECT_EQ(readSecretFile(folder / "secret", 5000, Exposure::refused, {}).reveal().size(), 5000u);
  EXPECT_THROW(readSecretFile(folder / "secret", 4999, Exposure::refused, {}), Error);
}

TEST(SecretFile, AFileThatIsNotThereAndAFolderAreErrors) {
  const TempFolder folder;
  EXPECT_THROW(readSecretFile(folder / "none", 100, Exposure::refused, {}), FileError);
  EXPECT_THROW(readSecretFile(folder.path(), 100, Exposure::allowed, {}), Error);
}

TEST(SecretFile, AStopEndsTheRead) {
  const TempFolder folder;
  writeSecretFile(folder / "secret", SecretString("hush"));
  std::stop_source source;
  source.request_stop();
  EXPECT_THROW(readSecretFile(folder / "secret", 100, Exposure::refused, source.get_token()),
               CancellationError);
}

TEST(TempFolder, AKeptOneStays) {
  Path path;
  {
    TempFolder folder;
    folder.keep();
    path = folder.path();
  }
  EXPECT_TRUE(isDirectory(path));
  removeTree(path);
}

class SecretLine : public testing::Test {
 protected:
  SecretLine() { EXPECT_EQ(::pipe(ends), 0); }
  ~SecretLine() override {
    ::close(ends[0]);
    closeWriter();
  }
  void write(std::string_view bytes) {
    EXPECT_EQ(::write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  void closeWriter() {
    if (ends[1] >= 0) ::close(std::exchange(ends[1], -1));
  }
  std::string read(std::size_t limit = 100) {
    return std::string(readLineSecretly(ends[0], limit, "the line", {}).reveal());
  }

  int ends[2];
};

TEST_F(SecretLine, EndsAtItsLineFeedThoughTheWriterStillHoldsThePipe) {
  write("hush\nmore");
  EXPECT_EQ(read(), "hush");
  closeWriter();
  EXPECT_EQ(read(), "more");
}

TEST_F(SecretLine, LosesOneCarriageReturnBeforeItsLineFeedAndNothingElse) {
  write("a\r\n b\r\r\n\n");
  EXPECT_EQ(read(), "a");
  EXPECT_EQ(read(), " b\r");
  EXPECT_EQ(read(), "");
  write("c\r");
  closeWriter();
  EXPECT_EQ(read(), "c\r");
  EXPECT_EQ(read(), "");
}

TEST_F(SecretLine, IsNoLongerThanItsLimit) {
  write("12345\n");
  EXPECT_THROW(read(4), Error);
}

}  // namespace
}  // namespace platform::files
