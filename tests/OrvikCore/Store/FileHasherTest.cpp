#include "OrvikCore/Store/FileHasher.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/Commands.h"
#include "tests/Support/Folders.h"

namespace {

using namespace orvik;
namespace files = platform::files;

std::string bytesOf(std::size_t count) {
  std::string bytes(count, '\0');
  std::uint32_t state = 1;
  for (auto& byte : bytes) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  return bytes;
}

TEST(FileHasher, TheEmptyFileHasTheDigestsOfEmptyInput) {
  const files::TempFolder folder;
  test::write(folder / "empty", "");
  const FileHasher::Digests expected{"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855",
                                     "d41d8cd98f00b204e9800998ecf8427e",
                                     "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
                                     "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e",
                                     0};
  EXPECT_EQ(FileHasher::digests(folder / "empty"), expected);
  EXPECT_EQ(FileHasher::sha256(folder / "empty"), expected.sha256);
}

TEST(FileHasher, DigestsAreThoseOfOpenSSLWhateverTheChunk) {
  const files::TempFolder folder;
  const auto path = folder / "file";
  test::write(path, bytesOf(100'003));
  const FileHasher::Digests expected{test::opensslDigest("sha256", path), test::opensslDigest("md5", path),
                                     test::opensslDigest("sha512", path), 100'003};
  for (const std::size_t chunk : {std::size_t{1}, std::size_t{64}, std::size_t{100'002}, std::size_t{100'003},
                                  std::size_t{100'004}, FileHasher::defaultChunkSize}) {
    EXPECT_EQ(FileHasher::digests(path, chunk), expected) << chunk;
    EXPECT_EQ(FileHasher::sha256(path, chunk), expected.sha256) << chunk;
  }
}

TEST(FileHasher, AFileOfMoreThanOneDefaultChunkIsReadToItsEnd) {
  const files::TempFolder folder;
  test::makeSparse(folder / "file", FileHasher::defaultChunkSize + 1);
  EXPECT_EQ(FileHasher::sha256(folder / "file"), test::opensslDigest("sha256", folder / "file"));
}

TEST(FileHasher, AFileThatIsWorthThreadsHasTheSameDigests) {
  const files::TempFolder folder;
  const auto path = folder / "file";
  for (const std::size_t size : {std::size_t{262'143}, std::size_t{262'144}, std::size_t{5'000'001}}) {
    test::write(path, bytesOf(size));
    const FileHasher::Digests expected{test::opensslDigest("sha256", path), test::opensslDigest("md5", path),
                                       test::opensslDigest("sha512", path), static_cast<std::int64_t>(size)};
    for (const std::size_t chunk : {std::size_t{4097}, std::size_t{1} << 20, FileHasher::defaultChunkSize})
      EXPECT_EQ(FileHasher::digests(path, chunk), expected) << size << " in pieces of " << chunk;
  }
}

TEST(FileHasher, AStopEndsTheHashingOfAnyFile) {
  const files::TempFolder folder;
  test::makeSparse(folder / "large", std::uintmax_t{1} << 40);
  test::write(folder / "small", "x");
  std::stop_source source;
  std::jthread stopping([&] { source.request_stop(); });
  EXPECT_THROW(FileHasher::digests(folder / "large", FileHasher::defaultChunkSize, source.get_token()),
               platform::CancellationError);
  EXPECT_THROW(FileHasher::digests(folder / "small", FileHasher::defaultChunkSize, source.get_token()),
               platform::CancellationError);
}

TEST(FileHasher, WhatIsNoFileIsAnError) {
  const files::TempFolder folder;
  test::makePipe(folder / "pipe");
  for (const auto& path : {folder / "missing", folder / "pipe", folder.path()}) {
    EXPECT_THROW(FileHasher::digests(path), files::FileError) << path;
    EXPECT_THROW(FileHasher::sha256(path), files::FileError) << path;
  }
}

}  // namespace
