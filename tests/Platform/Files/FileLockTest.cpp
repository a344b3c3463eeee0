#include "Platform/Files/FileLock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <functional>
#include <future>
#include <string>
#include <thread>

#include "Platform/Concurrency/Cancellation.h"

namespace platform::files {
namespace {

using testing::HasSubstr;

/// A process that holds a lock until it is told to go, or killed.
class OtherHolder {
 public:
  explicit OtherHolder(const Path& path) {
    std::array<int, 2> ready, go;
    if (::pipe(ready.data()) != 0 || ::pipe(go.data()) != 0) std::abort();
    id_ = ::fork();
    if (id_ == 0) {
      ::close(go[1]);
      int status = 1;
      try {
        const FileLock lock(path);
        char byte = 'h';
        if (::write(ready[1], &byte, 1) == 1 && ::read(go[0], &byte, 1) >= 0) status = 0;
      } catch (...) {
      }
      ::_exit(status);
    }
    ::close(ready[1]);
    ::close(go[0]);
    go_ = go[1];
    char byte = 0;
    holds_ = ::read(ready[0], &byte, 1) == 1;
    ::close(ready[0]);
  }
  ~OtherHolder() { release(); }

  bool holds() const { return holds_; }
  void release() {
    if (id_ < 0) return;
    ::close(go_);
    end();
  }
  void kill() {
    ::kill(id_, SIGKILL);
    end();
    ::close(go_);
  }

 private:
  void end() {
    ::waitpid(id_, nullptr, 0);
    id_ = -1;
  }

  pid_t id_ = -1;
  int go_ = -1;
  bool holds_ = false;
};

class FileLockTest : public testing::Test {
 protected:
  bool isFree() const { return FileLock::tryHold(path) != nullptr; }

  const TempFolder folder;
  const Path path = folder / "made/for/it/the.lock";
};

TEST_F(FileLockTest, TheFileAndItsFolderAreMadeForTheUserAlone) {
  const FileLock lock(path);
  struct stat status;
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777u, 0600u);
  EXPECT_EQ(status.st_size, 0);
}

TEST_F(FileLockTest, ItIsHeldByOneOnlyAndEndsWithTheObject) {
  {
    const FileLock lock(path);
    EXPECT_FALSE(isFree());
    const FileLock other(folder / "other.lock");
  }
  EXPECT_TRUE(isFree());
  EXPECT_TRUE(isFree()) << "a try that succeeded ends as well";
}

TEST_F(FileLockTest, AnotherProcessHoldsItToo) {
  OtherHolder other(path);
  ASSERT_TRUE(other.holds());
  EXPECT_FALSE(isFree());
  other.release();
  EXPECT_TRUE(isFree());
}

TEST_F(FileLockTest, WhoWaitsGetsItWhenTheOtherProcessGivesItBack) {
  OtherHolder other(path);
  ASSERT_TRUE(other.holds());
  auto waiting = std::async(std::launch::async, [&] { const FileLock lock(path); });
  EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  other.release();
  EXPECT_NO_THROW(waiting.get());
}

TEST_F(FileLockTest, AHolderThatIsKilledHoldsNothing) {
  OtherHolder other(path);
  ASSERT_TRUE(other.holds());
  other.kill();
  EXPECT_TRUE(isFree());
}

TEST_F(FileLockTest, AStopEndsTheWait) {
  const FileLock lock(path);
  std::stop_source source;
  auto waiting = std::async(std::launch::async, [&] { const FileLock other(path, source.get_token()); });
  EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  source.request_stop();
  EXPECT_THROW(waiting.get(), CancellationError);
}

TEST_F(FileLockTest, ALinkInItsPlaceIsRefusedAndNotFollowed) {
  createDirectories(path.parent_path());
  const auto target = folder / "elsewhere";
  std::filesystem::create_symlink(target, path);
  try {
    const FileLock lock(path);
    FAIL() << "a link was followed";
  } catch (const FileError& error) {
    EXPECT_THAT(error.description(), HasSubstr(path.string()));
  }
  EXPECT_THROW(FileLock::tryHold(path), FileError);
  EXPECT_FALSE(std::filesystem::exists(target));
}

TEST_F(FileLockTest, AFolderInItsPlaceIsRefused) {
  createDirectories(path);
  EXPECT_THROW(FileLock::tryHold(path), FileError);
}

TEST_F(FileLockTest, AFileThatIsThereKeepsItsContent) {
  atomicWrite("something", path);
  { const FileLock lock(path); }
  EXPECT_EQ(read(path), "something");
}

}  // namespace
}  // namespace platform::files
