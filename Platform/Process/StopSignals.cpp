#include "Platform/Process/StopSignals.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>

#include "Platform/Error.h"

namespace platform {

StopSignals::StopSignals(int statusOfSecond) : statusOfSecond_(statusOfSecond) {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set, number);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  signals_ = ::signalfd(-1, &set, SFD_CLOEXEC);
  end_ = ::eventfd(0, EFD_CLOEXEC);
  if (signals_ < 0 || end_ < 0) throw Error("Can't watch for signals: no descriptor is free");
  thread_ = std::jthread([this] { watch(); });
}

StopSignals::~StopSignals() {
  const std::uint64_t one = 1;
  while (::write(end_, &one, sizeof one) < 0 && errno == EINTR) {
  }
  thread_.join();
  ::close(signals_);
  ::close(end_);
}

void StopSignals::watch() {
  while (true) {
    std::array<pollfd, 2> waits{{{signals_, POLLIN, 0}, {end_, POLLIN, 0}}};
    if (::poll(waits.data(), waits.size(), -1) < 0) continue;
    if (waits[1].revents != 0) return;
    signalfd_siginfo info{};
    if (::read(signals_, &info, sizeof info) != sizeof info) continue;
    if (!source_.request_stop()) ::_exit(statusOfSecond_);
  }
}

}  // namespace platform
