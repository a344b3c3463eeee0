#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/Support/SecretSearch.h"

namespace orvik::test {

/// How a program ended and what it wrote.
struct ProgramEnd {
  int status = -1;  ///< exit status, or 128 and the signal
  std::string output;
  std::string error;

  std::string lastLine() const {
    std::string text = output;
    while (text.ends_with('\n')) text.pop_back();
    return text.substr(text.rfind('\n') + 1);
  }
};

/// How to start a program.
struct ProgramStart {
  enum class Output { pipe, closedPipe, closed, terminal };
  enum class Error { pipe, terminal };
  enum class Input { pipe, terminal };

  std::vector<std::string> arguments;  ///< the program's path first
  std::map<std::string, std::string>
      environment;    ///< all of it but sanitizer options, and PATH where none is said
  std::string input;  ///< short enough for a pipe
  Output output = Output::pipe;
  Error error = Error::pipe;
  Input inputKind = Input::pipe;  ///< a terminal is the one of standard error, which must be one then
};

/// A real program in a process of its own. Killed and waited for when it goes. A secret in what it says fails
/// the test.
class RunningProgram {
 public:
  explicit RunningProgram(const ProgramStart& start) {
    auto input = pipeEnds(), output = pipeEnds(), error = pipeEnds();
    if (start.error == ProgramStart::Error::terminal) replaceByTerminal(error);
    if (start.output == ProgramStart::Output::terminal) replaceByTerminal(output);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const bool isTyped = start.inputKind == ProgramStart::Input::terminal;
    posix_spawn_file_actions_adddup2(&actions, isTyped ? error[1] : input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error[1], STDERR_FILENO);
    if (start.output == ProgramStart::Output::closed)
      posix_spawn_file_actions_addclose(&actions, STDOUT_FILENO);
    else
      posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    if (isTyped) terminal_ = error[0];
    if (start.output == ProgramStart::Output::closedPipe) ::close(std::exchange(output[0], -1));

    spawn(start, actions);
    posix_spawn_file_actions_destroy(&actions);
    for (const int each : {input[0], output[1], error[1]}) ::close(each);
    const auto ignored = ::write(isTyped ? error[0] : input[1], start.input.data(), start.input.size());
    static_cast<void>(ignored);
    ::close(input[1]);
    ends_ = {output[0], error[0]};
    readers_.emplace_back([this, end = output[0]] { collect(end, end_.output); });
    readers_.emplace_back([this, end = error[0]] { collect(end, end_.error); });
  }
  ~RunningProgram() {
    if (id_ > 0) {
      ::kill(id_, SIGKILL);
      wait();
    }
  }
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  pid_t id() const { return id_; }
  void send(int signal) { ::kill(id_, signal); }

  /// Whether `text` came on either stream within ten seconds.
  bool waitFor(const std::string& text) {
    std::unique_lock lock(mutex_);
    return arrived_.wait_for(lock, std::chrono::seconds(10), [&] {
      return end_.output.find(text) != text.npos || end_.error.find(text) != text.npos;
    });
  }
  /// At the terminal, when standard input is one.
  void type(const std::string& text) {
    const auto ignored = ::write(terminal_, text.data(), text.size());
    static_cast<void>(ignored);
  }
  std::string output() {
    std::lock_guard lock(mutex_);
    return end_.output;
  }

  ProgramEnd wait() {
    int status = 0;
    while (::waitpid(id_, &status, 0) < 0 && errno == EINTR) {
    }
    id_ = -1;
    readers_.clear();
    // Not by their readers: a test may be typing at the same time.
    for (int& each : ends_)
      if (each >= 0) ::close(std::exchange(each, -1));
    for (const auto& text : {end_.output, end_.error})
      EXPECT_THAT(secretsIn(text), testing::IsEmpty()) << "a secret in what the program said:\n" << text;
    end_.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return end_;
  }

 private:
  using Ends = std::array<int, 2>;

  static Ends pipeEnds() {
    Ends ends;
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) std::abort();
    return ends;
  }
  static void replaceByTerminal(Ends& ends) {
    close(ends);
    winsize size{24, 60, 0, 0};
    if (::openpty(&ends[0], &ends[1], nullptr, nullptr, &size) != 0) std::abort();
    for (const int each : ends) ::fcntl(each, F_SETFD, FD_CLOEXEC);
  }
  static void close(const Ends& ends) {
    for (const int each : ends) ::close(each);
  }

  void spawn(const ProgramStart& start, const posix_spawn_file_actions_t& actions) {
    std::vector<std::string> variables;
    for (const auto& [name, value] : start.environment) variables.push_back(name + "=" + value);
    for (const char* name : {"PATH", "ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"})
      if (const char* value = std::getenv(name); value && !start.environment.contains(name))
        variables.push_back(std::string(name) + "=" + value);
    const auto pointers = [](const std::vector<std::string>& texts) {
      std::vector<char*> list;
      for (const auto& text : texts) list.push_back(const_cast<char*>(text.c_str()));
      list.push_back(nullptr);
      return list;
    };
    const auto argv = pointers(start.arguments), environment = pointers(variables);
    if (posix_spawn(&id_, argv[0], &actions, nullptr, argv.data(), environment.data()) != 0) {
      ADD_FAILURE() << "can't start " << start.arguments[0];
      std::abort();
    }
  }

  void collect(int descriptor, std::string& text) {
    std::array<char, 4096> piece;
    while (descriptor >= 0) {
      const auto count = ::read(descriptor, piece.data(), piece.size());
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) break;
      std::lock_guard lock(mutex_);
      text.append(piece.data(), static_cast<std::size_t>(count));
      arrived_.notify_all();
    }
  }

  pid_t id_ = -1;
  int terminal_ = -1;  ///< what is written there is typed
  Ends ends_{-1, -1};  ///< read by the readers, closed behind them
  std::mutex mutex_;   // guards end_ while the readers run
  std::condition_variable arrived_;
  ProgramEnd end_;
  std::vector<std::jthread> readers_;
};

inline ProgramEnd runToEnd(const ProgramStart& start) { return RunningProgram(start).wait(); }

}  // namespace orvik::test
