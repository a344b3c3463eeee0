#include "Platform/Terminal/HiddenTyping.h"

#include <termios.h>
#include <unistd.h>

namespace platform {

struct HiddenTyping::Before {
  termios settings;
};

HiddenTyping::HiddenTyping() {
  termios settings;
  if (tcgetattr(STDIN_FILENO, &settings) != 0) return;
  before_ = std::make_unique<const Before>(Before{settings});
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  settings.c_lflag |= ECHONL;
  // What was typed ahead was shown already, and belongs to no question.
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &settings);
}

HiddenTyping::~HiddenTyping() {
  if (before_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_->settings);
}

}  // namespace platform
