#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <stop_token>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace platform {

/// A bounded set of threads that work on numbered entries, and hand each result to the thread that waits.
///
/// `run(count, width, stop, work, done)` calls `work(index, stop)` for every index below `count`, in
/// ascending order of starting, on at most `width` threads (at least one), and `done(index, result)` for each
/// result in order of completion, on the calling thread alone: what `done` touches needs no lock. A slow
/// `done` holds the workers back: at most twice `width` entries are in work or wait to be taken. Results are
/// taken in batches; one waits a tenth of a second at the most.
///
/// The first exception of `work` or of `done` asks the group's other workers to stop (through the token that
/// they get), lets them end, and is rethrown; results that were not taken by then are dropped. A stop of
/// `stop` reaches the workers through the same token; whether it ends the group is up to `work`. Where the
/// system refuses some of the threads, the others do the work; where it refuses the first,
/// `std::system_error` is thrown.
template <class Result>
class TaskGroup {
 public:
  using Work = std::function<Result(std::size_t index, const std::stop_token& stop)>;
  using Done = std::function<void(std::size_t index, Result result)>;

  static void run(std::size_t count, std::size_t width, const std::stop_token& stop, const Work& work,
                  const Done& done) {
    if (count == 0) return;
    const std::size_t workers = width < 1 ? 1 : (width < count ? width : count);
    TaskGroup group(count, 2 * workers, work);
    std::stop_callback forward(stop, [&group] { group.source_.request_stop(); });
    std::vector<std::jthread> threads = group.start(workers);
    group.collect(done);
    threads.clear();
    if (group.failure_) std::rethrow_exception(group.failure_);
  }

 private:
  TaskGroup(std::size_t count, std::size_t limit, const Work& work)
      : count_(count), limit_(limit), work_(work) {}

  std::vector<std::jthread> start(std::size_t workers) {
    std::vector<std::jthread> threads;
    threads.reserve(workers);
    try {
      while (threads.size() < workers) threads.emplace_back([this] { guarded([this] { serve(); }); });
    } catch (...) {
      if (threads.empty()) throw;
    }
    return threads;
  }

  void serve() {
    const std::stop_token stop = source_.get_token();
    std::unique_lock lock(mutex_);
    while (true) {
      room_.wait(lock, [this] { return failure_ || next_ == count_ || next_ - taken_ < limit_; });
      if (failure_ || next_ == count_) return;
      const std::size_t index = next_++;
      lock.unlock();
      Result result = work_(index, stop);
      lock.lock();
      finished_.emplace_back(index, std::move(result));
      if (isWorthTaking()) arrived_.notify_one();
    }
  }

  void collect(const Done& done) {
    guarded([&] {
      std::unique_lock lock(mutex_);
      while (taken_ < count_) {
        arrived_.wait_for(lock, longestWait, [this] { return failure_ || isWorthTaking(); });
        if (failure_) return;
        takeAll(lock, done);
      }
    });
    room_.notify_all();
  }

  /// Waking the taker for each result would cost two switches of threads; so it comes for a batch, or when no
  /// worker is busy.
  bool isWorthTaking() const {
    return !finished_.empty() && (finished_.size() >= limit_ / 2 || taken_ + finished_.size() == next_);
  }

  void takeAll(std::unique_lock<std::mutex>& lock, const Done& done) {
    while (!finished_.empty() && !failure_) {
      auto [index, result] = std::move(finished_.front());
      finished_.pop_front();
      lock.unlock();
      done(index, std::move(result));
      lock.lock();
      ++taken_;
      room_.notify_one();
    }
  }

  template <class Body>
  void guarded(const Body& body) noexcept {
    try {
      body();
    } catch (...) {
      {
        std::lock_guard lock(mutex_);
        if (!failure_) failure_ = std::current_exception();
      }
      arrived_.notify_all();
      room_.notify_all();
      source_.request_stop();
    }
  }

  static constexpr std::chrono::milliseconds longestWait{100};

  // Constant after construction.
  const std::size_t count_;
  const std::size_t limit_;
  const Work& work_;

  // Synchronises itself.
  std::stop_source source_;

  std::mutex mutex_;  // guards what follows
  std::condition_variable arrived_;
  std::condition_variable room_;
  std::size_t next_ = 0;
  std::size_t taken_ = 0;
  std::deque<std::pair<std::size_t, Result>> finished_;
  std::exception_ptr failure_;
};

}  // namespace platform
