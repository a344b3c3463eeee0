#include "Platform/Terminal/HiddenTyping.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>

namespace platform {
namespace {

bool isShown() {
  termios settings{};
  return ::tcgetattr(0, &settings) == 0 && (settings.c_lflag & ECHO) != 0;
}

/// 7 when the terminal hides what is typed as long as it should. In a process of its own, whose standard
/// input it takes.
int hidesWhileItLives() {
  int ends[2];
  if (::openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) != 0) return 97;
  ::dup2(ends[1], 0);
  const bool before = isShown();
  bool meanwhile = true;
  {
    const HiddenTyping hidden;
    meanwhile = isShown();
  }
  return before && !meanwhile && isShown() ? 7 : 99;
}

TEST(HiddenTypingDeathTest, TheTerminalShowsWhatIsTypedAgainAfterwards) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::_Exit(hidesWhileItLives()), testing::ExitedWithCode(7), "");
}

TEST(HiddenTypingDeathTest, WhatIsNoTerminalIsLeftAlone) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        ::dup2(::open("/dev/null", O_RDONLY), 0);
        { const HiddenTyping hidden; }
        std::_Exit(7);
      },
      testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace platform
