#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

#include "Platform/Concurrency/Thread.h"

namespace platform {

/// Runs functions one after the other on one thread of its own, in the order in which they were handed over:
/// what only they touch needs no lock. Any thread may call.
///
/// Work that waits for something slow holds everybody up, and work that waits for another thread which calls
/// `run` waits for ever.
class SerialExecutor {
 public:
  /// Starts the thread, which debuggers show under that name. Throws `std::system_error`.
  explicit SerialExecutor(std::string name)
      : thread_([this, name = std::move(name)] {
          nameThisThread(name);
          serve();
        }) {}

  /// Runs what was handed over before, then ends the thread. Requires: not on the executor's own thread.
  ~SerialExecutor() {
    {
      const std::lock_guard lock(mutex_);
      isEnding_ = true;
    }
    arrived_.notify_one();
    thread_.join();
  }
  SerialExecutor(const SerialExecutor&) = delete;
  SerialExecutor& operator=(const SerialExecutor&) = delete;

  /// Whether the caller is on the executor's own thread.
  bool isCurrent() const noexcept { return std::this_thread::get_id() == thread_.get_id(); }

  /// How many functions wait for their turn.
  std::size_t waitingCount() const {
    const std::lock_guard lock(mutex_);
    return waiting_.size();
  }

  /// Runs `body` on the thread and waits for it: gives its result, or throws what it threw. On the thread
  /// itself `body` runs at once.
  template <class Body>
  std::invoke_result_t<Body&> run(Body&& body) {
    if (isCurrent()) return body();
    // Shared: the thread is still leaving the task when the result is there.
    const auto task = std::make_shared<std::packaged_task<std::invoke_result_t<Body&>()>>(std::ref(body));
    auto result = task->get_future();
    {
      const std::lock_guard lock(mutex_);
      waiting_.emplace_back([task] { (*task)(); });
      arrived_.notify_one();  // with the lock: without it the executor may be gone by now
    }
    return result.get();
  }

 private:
  void serve() {
    std::unique_lock lock(mutex_);
    while (true) {
      arrived_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
      if (waiting_.empty()) return;
      const auto next = std::move(waiting_.front());
      waiting_.pop_front();
      lock.unlock();
      next();
      lock.lock();
    }
  }

  mutable std::mutex mutex_;  // guards what follows, up to the thread
  std::condition_variable arrived_;
  std::deque<std::function<void()>> waiting_;
  bool isEnding_ = false;

  std::thread thread_;  // constant after construction; the last member, so that it finds the others
};

}  // namespace platform
