#include "Platform/Process/CapturedProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <limits>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Error.h"
#include "Platform/Process/Spawn.h"

namespace platform {

namespace {

using Time = std::chrono::steady_clock::time_point;
constexpr Time never = Time::max();

[[noreturn]] void failed(int error) { throw Error(::strerror(error)); }

int checked(int result) {
  if (result < 0) failed(errno);
  return result;
}

struct Pipe {
  Pipe() : Pipe(made()) {}
  Descriptor output;
  Descriptor input;

 private:
  explicit Pipe(std::array<int, 2> ends) : output(ends[0]), input(ends[1]) {}
  static std::array<int, 2> made() {
    std::array<int, 2> ends{};
    checked(::pipe2(ends.data(), O_CLOEXEC));
    return ends;
  }
};

/// The whole input lies ready in memory, so that nobody waits for a program that doesn't read it.
int inputOf(const std::string& text) {
  if (text.empty()) return checked(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  const int file = checked(::memfd_create("input", MFD_CLOEXEC));
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = ::pwrite(file, text.data() + done, text.size() - done, static_cast<off_t>(done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      const int error = errno;
      ::close(file);
      failed(error);
    }
    done += static_cast<std::size_t>(count);
  }
  return file;
}

pid_t start(const CapturedProcess& process, int input, int out, int err) {
  std::vector<std::string> words{process.path};
  words.insert(words.end(), process.arguments.begin(), process.arguments.end());
  const std::array redirections{Redirection{input, STDIN_FILENO}, Redirection{out, STDOUT_FILENO},
                                Redirection{err, STDERR_FILENO}};
  const auto signals = process.hearsTerminal ? TerminalSignals::heard : TerminalSignals::unheard;
  if (!process.environment) return spawn(process.path, words, environ, redirections, signals);
  return spawn(process.path, words, systemTexts(*process.environment).data(), redirections, signals);
}

int millisecondsUntil(Time time) {
  if (time == never) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
}

/// One run: what is waited for, and what happens then.
class Run {
 public:
  Run(const CapturedProcess& process, Descriptor& input, const CapturedProcess::OnOutput& onOutput)
      : process_(process),
        onOutput_(onOutput),
        stopped_(checked(::eventfd(0, EFD_CLOEXEC))),
        id_(start(process, input.number(), out_.input.number(), err_.input.number())),
        handle_(static_cast<int>(::syscall(SYS_pidfd_open, id_, 0))) {
    input.close();
    out_.input.close();
    err_.input.close();
    deadline_ = std::chrono::steady_clock::now() + process.timeout;
  }
  ~Run() {
    if (hasEnded_) return;
    ::kill(id_, SIGKILL);
    await();
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  CapturedProcess::End toEnd(const std::stop_token& stop) {
    if (!handle_.isOpen()) failed(ENOSYS);
    const std::stop_callback wake(stop, [this] {
      const std::uint64_t one = 1;
      while (::write(stopped_.number(), &one, sizeof one) < 0 && errno == EINTR) {
      }
    });
    while (!isDone()) {
      std::array<pollfd, 4> waits{{{out_.output.number(), POLLIN, 0},
                                   {err_.output.number(), POLLIN, 0},
                                   {hasEnded_ ? -1 : handle_.number(), POLLIN, 0},
                                   {isStopping_ ? -1 : stopped_.number(), POLLIN, 0}}};
      const int ready = ::poll(waits.data(), waits.size(), millisecondsUntil(deadline_));
      if (ready < 0 && errno != EINTR) failed(errno);
      if (ready <= 0) {
        if (ready == 0) onDeadline();
        continue;
      }
      if (waits[3].revents != 0) {
        isStopping_ = true;
        askToEnd();
      }
      // The end is looked at before the pipes: what came before it is then still read.
      if (waits[2].revents != 0) onEnd();
      if (waits[0].revents != 0) read(out_.output, false);
      if (waits[1].revents != 0) read(err_.output, true);
    }
    if (isStopping_) throw CancellationError();
    return {WIFEXITED(status_) ? WEXITSTATUS(status_) : WTERMSIG(status_), timedOut_};
  }

 private:
  bool isDone() const { return hasEnded_ && (isSilent_ || !(out_.output.isOpen() || err_.output.isOpen())); }

  void onDeadline() {
    if (std::chrono::steady_clock::now() < deadline_) return;
    if (hasEnded_) {
      isSilent_ = true;
    } else if (isAskedToEnd_) {
      ::kill(id_, SIGKILL);
      deadline_ = never;
    } else {
      timedOut_ = true;
      askToEnd();
    }
  }

  void askToEnd() {
    if (hasEnded_ || isAskedToEnd_) return;
    isAskedToEnd_ = true;
    ::kill(id_, SIGTERM);
    deadline_ = std::chrono::steady_clock::now() + process_.grace;
  }

  void onEnd() {
    await();
    deadline_ = std::chrono::steady_clock::now() + process_.quiet;
  }

  void await() {
    while (::waitpid(id_, &status_, 0) < 0 && errno == EINTR) {
    }
    hasEnded_ = true;
  }

  void read(Descriptor& pipe, bool isError) {
    const ssize_t count = ::read(pipe.number(), buffer_.data(), buffer_.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (count <= 0) return pipe.close();
    onOutput_({buffer_.data(), static_cast<std::size_t>(count)}, isError);
    if (hasEnded_) deadline_ = std::chrono::steady_clock::now() + process_.quiet;
  }

  const CapturedProcess& process_;
  const CapturedProcess::OnOutput& onOutput_;
  Pipe out_, err_;
  Descriptor stopped_;
  pid_t id_;
  Descriptor handle_;  // readable when the program has ended
  Time deadline_ = never;
  int status_ = 0;
  bool hasEnded_ = false;
  bool isSilent_ = false;
  bool isAskedToEnd_ = false;
  bool timedOut_ = false;
  bool isStopping_ = false;
  std::array<char, 65536> buffer_{};
};

}  // namespace

CapturedProcess::End CapturedProcess::run(const OnOutput& onOutput, const std::stop_token& stop) const {
  Descriptor standardInput(inputDescriptor >= 0 ? inputDescriptor : inputOf(input));
  return Run(*this, standardInput, onOutput).toEnd(stop);
}

}  // namespace platform
