#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// A program to run with its output taken in.
struct CapturedProcess {
  std::string path;
  std::vector<std::string> arguments;                   ///< without the program's own name
  std::optional<std::vector<std::string>> environment;  ///< "NAME=value"; none: this process's own
  std::chrono::milliseconds timeout{};
  std::string input = {};                 ///< its whole standard input
  int inputDescriptor = -1;               ///< the standard input instead; `run` closes it
  std::chrono::milliseconds grace{5000};  ///< from the request to end to the kill
  std::chrono::milliseconds quiet{
      1000};                  ///< how long a pipe that others hold may be silent after the program's end
  bool hearsTerminal = true;  ///< false: Ctrl-C reaches this process alone, which ends the program by a stop

  struct End {
    int status = 0;  ///< the exit status, or the number of the signal that ended it
    bool timedOut = false;
  };
  using OnOutput = std::function<void(std::string_view piece, bool isError)>;

  /// Runs it to its end; `onOutput` gets each piece of its output, on the calling
  /// thread. When it still runs at the timeout it is asked to end, and killed after the grace. Throws `Error`
  /// with the system's words when it can't be started; a stop ends it likewise and throws
  /// `CancellationError`.
  End run(const OnOutput& onOutput, const std::stop_token& stop = {}) const;
};

}  // namespace platform
