#include "Platform/Terminal/StandardStreams.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

namespace platform::standardStreams {

namespace {

int writeAll(int descriptor, std::string_view text) noexcept {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count >= 0)
      text.remove_prefix(static_cast<std::size_t>(count));
    else if (errno != EINTR)
      return errno;
  }
  return 0;
}

}  // namespace

int writeOutput(std::string_view text) noexcept { return writeAll(STDOUT_FILENO, text); }
int writeError(std::string_view text) noexcept { return writeAll(STDERR_FILENO, text); }

int input() noexcept { return STDIN_FILENO; }

bool inputIsTerminal() noexcept { return ::isatty(STDIN_FILENO) != 0; }
bool outputIsTerminal() noexcept { return ::isatty(STDOUT_FILENO) != 0; }
bool errorIsTerminal() noexcept { return ::isatty(STDERR_FILENO) != 0; }

std::size_t errorWidth() noexcept {
  winsize size{};
  return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void reserve() noexcept {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF) continue;
    // Opening takes the lowest free number, which is this one. Read-only, so that a write fails.
    if (::open("/dev/null", O_RDONLY) < 0) ::_exit(1);
  }
}

}  // namespace platform::standardStreams
