#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Files/AllocatedSize.h"
#include "Platform/Files/Files.h"

namespace platform::files {
namespace {

// What find(1) says about the regular files alone.
std::int64_t sumOfBlocks(const Path& folder) {
  const std::string command = "find '" + folder.native() + "' -type f -printf '%b\\n'";
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::int64_t blocks = 0;
  std::array<char, 64> line;
  while (pipe && fgets(line.data(), line.size(), pipe.get()) != nullptr) blocks += std::stoll(line.data());
  return blocks * 512;
}

TEST(AllocatedSizeTest, CountsAllRegularFilesHiddenOnesIncluded) {
  const TempFolder folder;
  atomicWrite(randomBytes(10'000), folder / "a");
  atomicWrite(randomBytes(70'000), folder / ".hidden/b/.c");
  atomicWrite(randomBytes(1), folder / "x/y/two\nlines");
  atomicWrite(randomBytes(5'000), folder / "x/z");
  createDirectories(folder / "x/empty");
  const auto size = allocatedSize(folder.path());
  EXPECT_GE(size, 85'001);
  EXPECT_EQ(size, sumOfBlocks(folder.path()));
}

TEST(AllocatedSizeTest, CountsWhatIsAllocatedAndNotWhatIsClaimed) {
  const TempFolder folder;
  atomicWrite("", folder / "sparse");
  ASSERT_EQ(truncate((folder / "sparse").c_str(), off_t{1} << 40), 0);
  EXPECT_LT(allocatedSize(folder.path()), 1'000'000);
}

TEST(AllocatedSizeTest, LinksAreNotFollowed) {
  const TempFolder folder;
  atomicWrite(randomBytes(50'000), folder / "outside/file");
  createDirectories(folder / "inside");
  std::filesystem::create_symlink(folder / "outside/file", folder / "inside/link");
  std::filesystem::create_directory_symlink(folder / "outside", folder / "inside/folder link");
  std::filesystem::create_directory_symlink(".", folder / "inside/loop");
  ASSERT_EQ(mkfifo((folder / "inside/pipe").c_str(), 0600), 0);
  EXPECT_EQ(allocatedSize(folder / "inside"), 0);
}

TEST(AllocatedSizeTest, WhatCantBeLookedAtCountsNothing) {
  const TempFolder folder;
  atomicWrite(randomBytes(50'000), folder / "file");
  EXPECT_EQ(allocatedSize(folder / "none"), 0);
  EXPECT_EQ(allocatedSize(folder / "file"), 0);
  EXPECT_EQ(allocatedSize(""), 0);
}

// Deeper than the descriptors suffice for and longer than a path may be.
TEST(AllocatedSizeTest, ADeepTreeNeedsFewDescriptors) {
  constexpr int depth = 400;
  const TempFolder folder;
  int at = open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (int level = 0; level < depth; ++level) {
    const std::string name(30, 'd');
    ASSERT_EQ(mkdirat(at, name.c_str(), 0700), 0);
    const int below = openat(at, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_GE(below, 0);
    close(at);
    at = below;
  }
  const int file = openat(at, "bottom", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const Bytes content = randomBytes(8192);
  ASSERT_EQ(write(file, content.data(), content.size()), 8192);
  fsync(file);
  close(file);
  close(at);
  atomicWrite(randomBytes(8192), folder / "zz/beside");

  rlimit normal{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &normal), 0);
  const rlimit few{static_cast<rlim_t>(list("/proc/self/fd").size()) + 8, normal.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  const auto size = allocatedSize(folder.path());
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &normal), 0);
  EXPECT_GE(size, 2 * 8192);
}

TEST(AllocatedSizeTest, AWideTreeIsCountedWhole) {
  const TempFolder folder;
  for (int i = 0; i < 300; ++i)
    atomicWrite(std::string(5000, 'x'), folder / std::to_string(i % 20) / std::to_string(i));
  EXPECT_EQ(allocatedSize(folder.path()), sumOfBlocks(folder.path()));
}

TEST(AllocatedSizeTest, AStopEndsTheWalk) {
  const TempFolder folder;
  atomicWrite(randomBytes(10'000), folder / "a/b");
  std::stop_source source;
  EXPECT_EQ(allocatedSize(folder.path(), source.get_token()), allocatedSize(folder.path()));
  source.request_stop();
  EXPECT_THROW(allocatedSize(folder.path(), source.get_token()), CancellationError);
}

}  // namespace
}  // namespace platform::files
