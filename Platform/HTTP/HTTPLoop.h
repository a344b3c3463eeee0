#pragma once

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Platform/HTTP/HTTPHandle.h"
#include "Platform/HTTP/HTTPSession.h"
#include "Platform/HTTP/HTTPTransfer.h"

namespace platform {

/// The one thread that runs all transfers of a session. `submit` and `cancel` are for any thread; everything
/// else happens on the loop's own.
class HTTPSession::Loop {
 public:
  using Transfer = std::shared_ptr<detail::HTTPTransfer>;

  explicit Loop(HTTPSessionConfiguration configuration);
  /// Ends all transfers.
  ~Loop();
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  const HTTPSessionConfiguration& configuration() const noexcept { return configuration_; }

  /// Starts the transfer; its `finish` is called exactly once.
  void submit(Transfer transfer);
  /// Ends the transfer unless it has ended already.
  void cancel(Transfer transfer);

 private:
  struct Orders {
    std::vector<Transfer> submitted;
    std::vector<Transfer> cancelled;
    bool ending = false;
    bool asleep = false;  ///< the loop waits, or is about to, and has to be woken

    bool empty() const { return submitted.empty() && cancelled.empty() && !ending; }
  };

  void run();
  /// Takes the waiting orders and carries them out. False when the loop has to end.
  bool obey();
  void start(Transfer transfer);
  void end(Transfer transfer);
  /// Hands on what streamed transfers got in this turn.
  void passOn();
  void endFinished();
  void endOverdue();
  void sleepUntilSomethingHappens();
  MonotonicTime deadlineOf(const detail::HTTPTransfer& transfer) const;
  void give(Orders&& change);

  // Constant after construction.
  const HTTPSessionConfiguration configuration_;
  void* multi_;
  detail::HTTPHandleSettings settings_;

  std::mutex mutex_;  // guards orders_
  Orders orders_;

  // The loop thread's own.
  std::vector<Transfer> active_;
  std::size_t streamed_ = 0;  ///< how many of them have a delegate
  std::vector<void*> spareHandles_;
  Orders taken_;
  MonotonicTime now_;
  MonotonicTime nextDeadline_ = MonotonicTime::max();  ///< no transfer is overdue before

  std::jthread thread_;
};

}  // namespace platform
