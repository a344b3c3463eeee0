#include "Platform/Files/PatientReader.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <future>
#include <memory>
#include <thread>

#include "Platform/Crypto/Digest.h"

namespace platform::files {
namespace {

using namespace std::chrono_literals;

FileError failureOf(PatientReader& reader) {
  try {
    while (reader.next({})) {
    }
    ADD_FAILURE() << "no failure";
  } catch (const FileError& error) {
    return error;
  }
  return {FileErrorKind::other, 0, "no failure"};
}

TEST(PatientReader, TheWholeFileComesInPiecesOfAMebibyteAtTheMost) {
  const TempFolder folder;
  const Bytes content = randomBytes((7 << 20) + 12'345);
  atomicWrite(content, folder / "file");
  PatientReader reader(folder / "file");
  Bytes all;
  while (const auto piece = reader.next({})) {
    EXPECT_FALSE(piece->empty());
    EXPECT_LE(piece->size(), std::size_t{1} << 20);
    all += *piece;
  }
  EXPECT_TRUE(all == content);
  EXPECT_EQ(reader.next({}), std::nullopt);
}

TEST(PatientReader, AnEmptyFileIsAtItsEnd) {
  const TempFolder folder;
  atomicWrite("", folder / "file");
  EXPECT_EQ(PatientReader(folder / "file").next({}), std::nullopt);
}

TEST(PatientReader, AMissingFileIsNotFound) {
  const TempFolder folder;
  PatientReader reader(folder / "none");
  const auto error = failureOf(reader);
  EXPECT_EQ(error.kind(), FileErrorKind::notFound);
  EXPECT_EQ(error.description(), "Can't read " + (folder / "none").native() + ": No such file or directory");
}

TEST(PatientReader, PipesDevicesAndFoldersAreRefusedAtOnce) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const Path& path : {folder / "pipe", Path("/dev/zero"), folder.path()}) {
    PatientReader reader(path, 1h);
    EXPECT_NE(failureOf(reader).code(), ETIMEDOUT) << path;
  }
}

/// A mount whose server has gone: the thread hangs until the test is over.
struct HangingMount {
  std::shared_ptr<std::promise<void>> recovery = std::make_shared<std::promise<void>>();
  std::shared_future<void> recovered = recovery->get_future().share();

  PatientReader::Work work(Bytes first) const {
    return [first, waiting = recovered](StreamWriter<Bytes>& pieces) {
      if (!first.empty()) pieces.push(first, first.size());
      waiting.wait();
      pieces.push("late", 4);
    };
  }
  ~HangingMount() { recovery->set_value(); }
};

TEST(PatientReader, AMountThatHangsIsATimeOutThatNamesTheFile) {
  const HangingMount mount;
  PatientReader reader("/mnt/share/Packages/a.pkg", 20ms, mount.work({}));
  const auto error = failureOf(reader);
  EXPECT_EQ(error.code(), ETIMEDOUT);
  EXPECT_EQ(error.description(), "Can't read /mnt/share/Packages/a.pkg: Connection timed out");
}

TEST(PatientReader, AMountThatHangsInTheMiddleIsATimeOutBehindTheBytesThatCame) {
  const HangingMount mount;
  PatientReader reader("/mnt/share/a.pkg", 20ms, mount.work("first"));
  EXPECT_EQ(reader.next({}), "first");
  EXPECT_EQ(failureOf(reader).code(), ETIMEDOUT);
}

TEST(PatientReader, AStopEndsTheWaitForAMountThatHangs) {
  const HangingMount mount;
  PatientReader reader("/mnt/share/a.pkg", 1h, mount.work({}));
  std::stop_source source;
  std::jthread stopping([&] { source.request_stop(); });
  EXPECT_THROW(reader.next(source.get_token()), CancellationError);
}

TEST(PatientReader, AReaderThatGoesLetsTheThreadGo) {
  auto ended = std::make_shared<std::promise<void>>();
  auto whenEnded = ended->get_future();
  {
    PatientReader reader("/endless", 1h, [ended](StreamWriter<Bytes>& pieces) {
      while (pieces.push(Bytes(1 << 20, 'x'), 1 << 20)) {
      }
      ended->set_value();
    });
    EXPECT_EQ(reader.next({})->size(), std::size_t{1} << 20);
  }
  whenEnded.wait();
}

}  // namespace
}  // namespace platform::files
