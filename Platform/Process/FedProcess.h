#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "Platform/Process/CapturedProcess.h"
#include "Platform/Process/Spawn.h"

namespace platform {

/// A program that is fed while it runs: what is written here is its standard input, piece by piece, so that
/// nothing has to stand in memory whole. A program that is gone is an error of the write, never a signal. For
/// one thread at a time; a thread of its own takes the program's output in.
class FedProcess {
 public:
  /// How it ended, and what it wrote: of each stream the first `outputLimit` bytes.
  struct End {
    int status = 0;  ///< the exit status, or the number of the signal that ended it
    std::string output;
    std::string errors;
  };
  static constexpr std::size_t outputLimit = 1 << 20;

  /// Starts it; of `program` all but input and timeout counts. A stop, then or later, ends it.
  FedProcess(CapturedProcess program, const std::stop_token& stop);
  /// Ends the program when it still runs, and waits for that.
  ~FedProcess();
  FedProcess(const FedProcess&) = delete;
  FedProcess& operator=(const FedProcess&) = delete;

  /// Waits until the program's input has taken all of it in. False when the program reads no more, or could
  /// not be started: `finish` tells why. Throws `CancellationError` on a stop.
  [[nodiscard]] bool write(std::string_view bytes);

  /// The end of the input; waits for that of the program. Throws `CancellationError` on a stop, and `Error`
  /// with the system's words when the program could not be started. Once only.
  End finish();

 private:
  FedProcess(CapturedProcess program, const std::stop_token& stop, std::pair<int, int> ends);
  void run(const CapturedProcess& program);
  void join();

  Descriptor input_;
  std::stop_source source_;
  const std::stop_callback<std::function<void()>> forward_;
  End end_;  // these two are the thread's until it has ended
  std::exception_ptr failure_;
  std::jthread thread_;
};

}  // namespace platform
