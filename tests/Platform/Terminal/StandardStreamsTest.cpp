#include "Platform/Terminal/StandardStreams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace platform::standardStreams {
namespace {

/// In processes of their own: the streams are the process's.
class StandardStreamsDeathTest : public testing::Test {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(StandardStreamsDeathTest, NoFileTakesTheNumberOfAClosedStream) {
  EXPECT_EXIT(
      {
        ::close(0);
        ::close(1);
        reserve();
        const int file = ::open("/dev/null", O_WRONLY);
        std::_Exit(file > 2 && writeOutput("x") == EBADF ? 7 : 99);
      },
      testing::ExitedWithCode(7), "");
}

TEST_F(StandardStreamsDeathTest, OpenStreamsStayAsTheyAre) {
  EXPECT_EXIT(
      {
        reserve();
        std::_Exit(writeError("heard") == 0 ? 7 : 99);
      },
      testing::ExitedWithCode(7), "heard");
}

TEST_F(StandardStreamsDeathTest, AFullDeviceIsAnError) {
  EXPECT_EXIT(
      {
        ::dup2(::open("/dev/full", O_WRONLY), 1);
        std::_Exit(writeOutput("x") == ENOSPC ? 7 : 99);
      },
      testing::ExitedWithCode(7), "");
}

/// 7 when standard error says what stands behind it, before and after a terminal does.
int widthBehindTerminal() {
  int ends[2];
  winsize size{24, 61, 0, 0};
  if (errorIsTerminal() || errorWidth() != 0) return 98;
  if (::openpty(&ends[0], &ends[1], nullptr, nullptr, &size) != 0) return 97;
  ::dup2(ends[1], 2);
  return errorIsTerminal() && errorWidth() == 61 ? 7 : 99;
}

TEST_F(StandardStreamsDeathTest, ATerminalTellsItsWidthAndAPipeNone) {
  EXPECT_EXIT(std::_Exit(widthBehindTerminal()), testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace platform::standardStreams
