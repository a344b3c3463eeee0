#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/Concurrency/Thread.h"

namespace platform {

/// Threads for work that comes now and then and may take long. A thread is started when all are busy, up to a
/// number, and kept for what comes next; beyond that number work waits for its turn. Any thread may call.
class WorkerPool {
 public:
  /// At most `most` threads (at least one), which debuggers show under that name.
  WorkerPool(std::string name, std::size_t most) : name_(std::move(name)), most_(most < 1 ? 1 : most) {}
  ~WorkerPool() { close(); }
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  /// Hands `work` over, which must not throw; after `close` it is dropped. Throws `std::system_error` when
  /// the system refuses the first thread; when it refuses a later one, the others do the work.
  void run(std::function<void()> work) {
    const std::lock_guard lock(mutex_);
    if (isClosed_) return;
    waiting_.push_back(std::move(work));
    if (idle_ < waiting_.size() && threads_.size() < most_) startOne();
    arrived_.notify_one();
  }

  /// Drops what has not begun and waits for what has. Requires: not on one of these threads, nor on two
  /// threads at once.
  void close() {
    {
      const std::lock_guard lock(mutex_);
      isClosed_ = true;
      waiting_.clear();
    }
    arrived_.notify_all();
    for (auto& thread : threads_)
      if (thread.joinable()) thread.join();
  }

 private:
  void startOne() {
    try {
      threads_.emplace_back([this] {
        nameThisThread(name_);
        serve();
      });
    } catch (const std::system_error&) {
      if (!threads_.empty()) return;
      waiting_.pop_back();
      throw;
    }
  }

  void serve() {
    std::unique_lock lock(mutex_);
    while (true) {
      ++idle_;
      arrived_.wait(lock, [this] { return isClosed_ || !waiting_.empty(); });
      --idle_;
      if (isClosed_) return;
      const auto work = std::move(waiting_.front());
      waiting_.pop_front();
      lock.unlock();
      work();
      lock.lock();
    }
  }

  const std::string name_;
  const std::size_t most_;

  std::mutex
      mutex_;  // guards what follows; the threads themselves only `run` before and `close` after closing
  std::condition_variable arrived_;
  std::deque<std::function<void()>> waiting_;
  std::size_t idle_ = 0;
  bool isClosed_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace platform
