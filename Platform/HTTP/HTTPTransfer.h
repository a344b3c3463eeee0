#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/HTTP/HTTPSession.h"
#include "Platform/SecretString.h"

namespace platform::detail {

/// The file that an upload reads while it is sent. Closed when it goes.
class UploadFile {
 public:
  /// Throws `files::FileError` when the file can't be opened.
  explicit UploadFile(const std::filesystem::path& path);
  ~UploadFile();
  UploadFile(const UploadFile&) = delete;
  UploadFile& operator=(const UploadFile&) = delete;

  std::int64_t size() const noexcept { return size_; }
  std::int64_t position() const noexcept { return position_; }
  /// Bytes put into `buffer`, 0 at the end, negative on a failure.
  std::int64_t read(char* buffer, std::size_t capacity) noexcept;
  bool seek(std::int64_t position) noexcept;

 private:
  int descriptor_;
  std::int64_t size_ = 0;
  std::int64_t position_ = 0;
};

/// One exchange of a session, shared by the caller that waits for it and the loop that drives it. Until
/// `finish` all of it belongs to the loop's thread, afterwards to the caller's.
class HTTPTransfer {
 public:
  HTTPTransfer() = default;
  /// A body may hold a secret, so it is wiped.
  ~HTTPTransfer() { wipe(request.body); }
  HTTPTransfer(const HTTPTransfer&) = delete;
  HTTPTransfer& operator=(const HTTPTransfer&) = delete;

  HTTPRequest request;
  std::optional<UploadFile> file;
  HTTPSession::UploadProgress progress;
  std::shared_ptr<HTTPStreamDelegate> delegate;  ///< of a streamed answer; let go at the end

  HTTPResponse response;  ///< streamed: what the delegate has not got yet
  std::optional<HTTPError> failure;

  // The loop's own view of the transfer.
  void* handle = nullptr;               ///< the library's handle while the transfer runs
  void* headerLines = nullptr;          ///< the library's list of request headers
  std::array<char, 256> libraryText{};  ///< what the library says about a failure
  MonotonicTime submitted;              ///< the total time-out counts from here
  MonotonicTime lastActivity;           ///< the idle time-out counts from here
  const MonotonicTime* now = nullptr;   ///< the loop's clock, read once a turn
  bool started = false;                 ///< false while it waits for a free connection: that is no idleness
  bool headEnded = false;               ///< the empty line after the last answer's headers has come
  bool headGiven = false;               ///< the delegate has the head
  std::size_t headerBytes = 0;          ///< header lines so far
  std::size_t mostBodyBytes = 0;        ///< a longer answer is refused
  std::int64_t sent = 0;                ///< body bytes sent so far
  std::size_t slot = 0;                 ///< where the loop keeps it

  void touch() noexcept {
    started = true;
    lastActivity = *now;
  }

  /// Hands the transfer back to its caller, or tells its delegate of the end.
  void finish() noexcept {
    if (delegate) std::exchange(delegate, nullptr)->ended(std::move(failure));
    const std::lock_guard lock(mutex_);
    done_ = true;
    finished_.notify_one();
  }

  /// Blocks the caller until `finish`. Sleeps at once: a spin would take the core from the loop that it waits
  /// for.
  void wait() {
    std::unique_lock lock(mutex_);
    finished_.wait(lock, [this] { return done_; });
  }

 private:
  std::mutex mutex_;  // guards done_
  std::condition_variable finished_;
  bool done_ = false;
};

}  // namespace platform::detail
