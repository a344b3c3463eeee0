#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Platform/Files/FaultSeam.h"
#include "Platform/Files/Files.h"

namespace orvik::test {

/// How a body came out that ran on a breaking disk.
enum class Ended { whole, failed, stopped };

/// One trial: `prepare` on a sound disk, `body` with the n-th disk operation broken, `check` on a sound disk.
struct FaultTrial {
  std::function<void()> prepare;
  std::function<void()> body;
  std::function<void(Ended)> check;
};

inline Ended runFailing(std::uint64_t n, platform::files::FaultAction action,
                        const std::function<void()>& body, bool& reached) {
  platform::files::armFaultSeam(n, action, ENOSPC);
  auto ended = Ended::whole;
  try {
    body();
  } catch (const platform::files::FileError&) {
    ended = Ended::failed;
  }
  reached = platform::files::operationsSinceArmed() >= n;
  platform::files::disarmFaultSeam();
  return ended;
}

/// Runs a body once for each of its disk operations, which fails alone, on what `prepare` makes afresh. Gives
/// the sentences of the failures, in the order of the operations; `check` looks at what is left of each.
inline std::vector<std::string> failuresOf(const std::function<void(const platform::files::Path&)>& prepare,
                                           const std::function<void(const platform::files::Path&)>& body,
                                           const std::function<void(const platform::files::Path&)>& check) {
  std::vector<std::string> sentences;
  for (std::uint64_t n = 1;; ++n) {
    const platform::files::TempFolder folder;
    prepare(folder.path());
    platform::files::armFaultSeam(n, platform::files::FaultAction::fail, EIO);
    try {
      body(folder.path());
    } catch (const platform::files::FileError& error) {
      sentences.push_back(error.description());
    }
    const bool reached = platform::files::operationsSinceArmed() >= n;
    platform::files::disarmFaultSeam();
    if (!reached) return sentences;
    if (sentences.size() == n) check(folder.path());
  }
}

/// In a child process that dies at the n-th operation, as by a power cut.
inline Ended runStopping(std::uint64_t n, const std::function<void()>& body, bool& reached) {
  const pid_t child = fork();
  if (child == 0) {
    platform::files::armFaultSeam(n, platform::files::FaultAction::stop);
    try {
      body();
    } catch (...) {
      _exit(2);
    }
    _exit(0);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  reached = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  EXPECT_TRUE(reached || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) << "status " << status;
  return reached ? Ended::stopped : Ended::whole;
}

/// Runs the trial once for every disk operation that its body makes: failing alone, failing with all that
/// follow, and stopping the process. `trial(folder)` makes the trial of a fresh folder.
inline void atEveryDiskOperation(const std::function<FaultTrial(const platform::files::Path&)>& trial) {
  using platform::files::FaultAction;
  for (const auto action : {FaultAction::fail, FaultAction::failFromThen, FaultAction::stop}) {
    std::uint64_t n = 0;
    for (bool reached = true; reached;) {
      ASSERT_LT(++n, 200U) << "the body never comes to its end";
      SCOPED_TRACE("action " + std::to_string(static_cast<int>(action)) + " at operation " +
                   std::to_string(n));
      const platform::files::TempFolder folder;
      const auto one = trial(folder.path());
      one.prepare();
      const auto ended = action == FaultAction::stop ? runStopping(n, one.body, reached)
                                                     : runFailing(n, action, one.body, reached);
      one.check(ended);
    }
    EXPECT_GT(n, 1U) << "nothing was ever broken";
  }
}

}  // namespace orvik::test
