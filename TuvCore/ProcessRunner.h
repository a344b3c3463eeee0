#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TuvCore/Error.h"
#include "TuvCore/Locked.h"

namespace tuv {

/// What a program left behind. Texts are UTF-8, with U+FFFD in place of what was none.
struct ProcessOutput {
  std::int32_t status = 0;  ///< the exit status, or the number of the signal that ended it
  std::string stdout_;
  std::string stderr_;
  bool timedOut = false;
};

/// The program could not be started.
class ProcessRunnerError : public Error {
 public:
  static ProcessRunnerError launchFailed(std::string_view text);

 private:
  using Error::Error;
};

/// Keeps the beginning of a program's output, at most `limit` bytes of each stream. Any thread may call.
class OutputCollector {
 public:
  explicit OutputCollector(std::size_t limit) : limit_(limit) {}

  /// What is beyond the limit is dropped.
  void append(std::string_view data, bool isError);
  /// Standard output and standard error.
  std::pair<std::string, std::string> strings() const;

 private:
  struct Streams {
    std::string out;
    std::string err;
  };

  const std::size_t limit_;
  Locked<Streams> streams_;
};

/// Runs programs with a deadline and a cap on their output.
struct ProcessRunner {
  ProcessRunner() = delete;

  using Environment = std::map<std::string, std::string>;

  static constexpr std::size_t usualOutputLimit = std::size_t{8} << 20;  ///< bytes

  /// Runs a program to its end, without standard input, and blocks until then. Without an environment it gets
  /// this process's. At `timeout` it is asked to end, and killed 5 seconds later; what it has written by then
  /// is returned. When it has ended, what stands in its pipes is still read, until they are closed or, where
  /// others hold them, silent for a second. Output beyond the limit is read and dropped, so that it never
  /// waits.
  ///
  /// Throws `ProcessRunnerError` when it can't be started. A stop ends it likewise and throws
  /// `platform::CancellationError`.
  static ProcessOutput run(const std::string& path, const std::vector<std::string>& arguments,
                           const std::optional<Environment>& environment, std::chrono::milliseconds timeout,
                           std::size_t outputLimit = usualOutputLimit, const std::stop_token& stop = {});
};

}  // namespace tuv
