#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <utility>

#include "Platform/Concurrency/Cancellation.h"

namespace platform {

namespace detail {

/// What the two ends of a stream share.
template <class Value>
struct StreamState {
  explicit StreamState(std::size_t most) : capacity(most) {}

  bool hasRoomFor(std::size_t weight) const {
    return waiting.empty() || (load <= capacity && weight <= capacity - load);
  }

  const std::size_t capacity;

  std::mutex mutex;  // guards what follows
  std::condition_variable room;
  std::condition_variable_any arrived;
  std::deque<std::pair<Value, std::size_t>> waiting;
  std::size_t load = 0;     ///< the weights of what waits
  std::size_t highest = 0;  ///< that `load` ever was
  bool finished = false;    ///< nothing more will be written
  bool closed = false;      ///< nothing more will be read
  std::exception_ptr failure;
};

}  // namespace detail

/// The writing end of a bounded stream. For one thread. Going finishes the stream.
template <class Value>
class StreamWriter {
 public:
  explicit StreamWriter(std::shared_ptr<detail::StreamState<Value>> state) : state_(std::move(state)) {}
  ~StreamWriter() {
    if (state_) finish();
  }
  StreamWriter(StreamWriter&&) noexcept = default;
  StreamWriter& operator=(StreamWriter&&) = delete;

  /// Waits while the stream is full, then hands the value over. False, at once, when the reader has gone or
  /// the stream is finished.
  bool push(Value value, std::size_t weight) {
    std::unique_lock lock(state_->mutex);
    state_->room.wait(lock, [&] { return state_->closed || state_->finished || state_->hasRoomFor(weight); });
    if (state_->closed || state_->finished) return false;
    state_->waiting.emplace_back(std::move(value), weight);
    state_->load += weight;
    if (state_->load > state_->highest) state_->highest = state_->load;
    state_->arrived.notify_one();
    return true;
  }

  /// Ends the stream, with a failure that the reader gets behind all values. The first call counts. A caller
  /// must not keep `failure`: the exception becomes the reader's.
  void finish(std::exception_ptr failure = {}) noexcept {
    const std::lock_guard lock(state_->mutex);
    if (std::exchange(state_->finished, true)) return;
    if (!state_->closed) state_->failure = std::move(failure);
    state_->arrived.notify_one();
  }

 private:
  std::shared_ptr<detail::StreamState<Value>> state_;
};

/// The reading end of a bounded stream. For one thread; `close` for any. Going closes the stream.
template <class Value>
class StreamReader {
 public:
  explicit StreamReader(std::shared_ptr<detail::StreamState<Value>> state) : state_(std::move(state)) {}
  ~StreamReader() {
    if (state_) close();
  }
  StreamReader(StreamReader&&) noexcept = default;
  StreamReader& operator=(StreamReader&&) = delete;

  /// Waits for the next value; nothing at the end. A failure of the writer is thrown once, behind the last
  /// value. Throws `CancellationError` on a stop.
  std::optional<Value> next(const std::stop_token& stop) {
    std::unique_lock lock(state_->mutex);
    if (!state_->arrived.wait(lock, stop, [this] { return hasNews(); }) || stop.stop_requested())
      throw CancellationError();
    if (state_->waiting.empty()) {
      if (auto failure = std::exchange(state_->failure, nullptr)) {
        lock.unlock();
        std::rethrow_exception(std::move(failure));
      }
      return std::nullopt;
    }
    auto [value, weight] = std::move(state_->waiting.front());
    state_->waiting.pop_front();
    state_->load -= weight;
    state_->room.notify_one();
    return std::move(value);
  }

  /// Waits until `next` would answer at once; false when it would not yet at `deadline`. Throws
  /// `CancellationError` on a stop.
  bool waitUntil(MonotonicTime deadline, const std::stop_token& stop) {
    std::unique_lock lock(state_->mutex);
    const bool news = state_->arrived.wait_until(lock, stop, deadline, [this] { return hasNews(); });
    if (stop.stop_requested()) throw CancellationError();
    return news;
  }

  /// Drops what waits and lets the writer go on: its `push` answers false from now on. `next` is at the end.
  void close() noexcept {
    std::deque<std::pair<Value, std::size_t>> dropped;
    {
      const std::lock_guard lock(state_->mutex);
      state_->closed = true;
      std::swap(dropped, state_->waiting);
      state_->load = 0;
      state_->failure = nullptr;
      state_->room.notify_one();
      state_->arrived.notify_one();
    }
  }

  /// The greatest sum of weights that ever waited.
  std::size_t highestLoad() const {
    const std::lock_guard lock(state_->mutex);
    return state_->highest;
  }

 private:
  bool hasNews() const { return !state_->waiting.empty() || state_->finished || state_->closed; }

  std::shared_ptr<detail::StreamState<Value>> state_;
};

/// An ordered stream of values from one thread to another, in memory. Each value has a weight, its bytes for
/// instance; what waits never weighs more than `capacity`, but for a single value that is heavier by itself.
/// The writer is held back by that, so that a slow reader costs no memory. Either end may outlive the other.
template <class Value>
struct BoundedStream {
  explicit BoundedStream(std::size_t capacity)
      : BoundedStream(std::make_shared<detail::StreamState<Value>>(capacity)) {}

  StreamReader<Value> reader;
  StreamWriter<Value> writer;

 private:
  explicit BoundedStream(const std::shared_ptr<detail::StreamState<Value>>& state)
      : reader(state), writer(state) {}
};

}  // namespace platform
