#include "Platform/Process/ChildProcess.h"

#include <fcntl.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>
#include <span>
#include <string_view>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Error.h"
#include "Platform/Files/SecretFile.h"
#include "Platform/Keychain/TokenPIN.h"
#include "Platform/Process/Spawn.h"

namespace platform {

namespace {

using namespace std::chrono_literals;

constexpr auto waitInterval = 20ms;
constexpr auto graceAfterTerm = 1s;

/// One child. Ended and waited for when it goes.
class Child {
 public:
  /// With `standardOutput` >= 0 the child writes there.
  Child(const std::vector<std::string>& arguments, int standardOutput) {
    const auto variables = environmentForPrograms();
    const auto environment = systemTexts(variables);
    const Redirection output{standardOutput, STDOUT_FILENO};
    const std::span redirections(&output, standardOutput >= 0 ? 1U : 0U);
    try {
      id_ = spawn(arguments.front(), arguments, environment.data(), redirections);
    } catch (const Error& error) {
      throw Error("Can't run " + arguments.front() + ": " + error.description());
    }
  }
  ~Child() {
    if (ended()) return;
    ::kill(id_, SIGTERM);
    const auto patience = MonotonicClock::now() + graceAfterTerm;
    while (!ended() && MonotonicClock::now() < patience) static_cast<void>(waitUntil(nextLook(), {}));
    if (ended()) return;
    ::kill(id_, SIGKILL);
    while (::waitpid(id_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  int wait(const std::stop_token& stop) {
    while (!ended())
      if (!waitUntil(nextLook(), stop)) throw CancellationError();
    return WIFEXITED(*status_) ? WEXITSTATUS(*status_) : 128 + WTERMSIG(*status_);
  }

 private:
  static MonotonicTime nextLook() { return MonotonicClock::now() + waitInterval; }

  bool ended() {
    int status = 0;
    if (!status_ && ::waitpid(id_, &status, WNOHANG) == id_) status_ = status;
    return status_.has_value();
  }

  pid_t id_ = -1;
  std::optional<int> status_;
};

}  // namespace

std::vector<std::string> environmentForPrograms() {
  const std::string_view pin = keychain::pinVariable;
  std::vector<std::string> kept;
  for (char** each = environ; *each != nullptr; ++each) {
    const std::string_view entry(*each);
    if (!(entry.starts_with(pin) && entry.substr(pin.size()).starts_with('='))) kept.emplace_back(entry);
  }
  return kept;
}

int runProgram(const std::vector<std::string>& arguments, const std::stop_token& stop) {
  return Child(arguments, -1).wait(stop);
}

SecretOutput runForSecret(const std::vector<std::string>& arguments, std::size_t limit,
                          const std::stop_token& stop) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) < 0)
    throw Error(std::string("Can't make a pipe: ") + ::strerror(errno));
  Descriptor output(ends[0]), input(ends[1]);
  Child child(arguments, input.number());
  input.close();
  auto text = files::readSecretly(output.number(), limit, "the output of " + arguments.front(), stop);
  return {child.wait(stop), std::move(text)};
}

}  // namespace platform
