#include "orvik/MCP/MCPStdio.h"

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Concurrency/WorkerPool.h"
#include "Platform/Terminal/LineInput.h"
#include "TuvCore/Error.h"

namespace orvik::host {

namespace {

/// As over HTTP.
constexpr std::size_t longestMessage = 8 * 1024 * 1024;
constexpr std::size_t mostCalls = 64;

/// Messages that were read and are not answered yet.
class Pending {
 public:
  /// Waits for a place: who sends faster than servers answer is not read meanwhile.
  void enter() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return count_ < mostCalls; });
    ++count_;
  }
  void leave() {
    const std::lock_guard lock(mutex_);
    --count_;
    changed_.notify_all();
  }
  void waitForNone() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return count_ == 0; });
  }

 private:
  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::size_t count_ = 0;
};

}  // namespace

void serveStdio(const MCPExchange& exchange, int input, Results& results, const std::stop_token& stop) {
  platform::LineInput lines(input, longestMessage);
  Pending pending;
  platform::WorkerPool calls("tool call", mostCalls);
  while (const auto line = lines.next(stop)) {
    if (line->isTooLong) {
      results.line(MCPExchange::refusal("The message is longer than 8 MiB").body);
      continue;
    }
    if (line->text.find_first_not_of(" \t\r") == line->text.npos) continue;
    pending.enter();
    calls.run([&exchange, &results, &pending, &stop, text = line->text] {
      try {
        const auto reply = exchange.reply(text, stop);
        if (reply.kind != MCPReply::Kind::nothing) results.line(reply.body);
      } catch (const platform::CancellationError&) {
        // The program ends: nobody waits for this reply.
      }
      pending.leave();
    });
    results.requireWritten();
  }
  pending.waitForNone();
  results.requireWritten();
}

}  // namespace orvik::host
