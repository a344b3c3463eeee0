#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

#include "Platform/Bytes.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Log.h"

namespace tuv {

/// A text file of log lines that is rotated by size.
///
/// Lines go through a serial queue with a thread of its own, so a caller never waits for the disk. Any thread
/// may call; the file has the lines in the order in which they reached the queue. The queue has no bound: as
/// long as a disk hangs, the lines that are logged meanwhile stay in memory. A line that can't be written is
/// lost.
///
/// On disk: the file, and below the same name with ".1" (the youngest) to ".<keep>" the former ones. Rotation
/// comes after the write that took the file over `maxBytes`, so a file can be up to one line longer; with 0
/// every line is followed by one. A `keep` below 1 counts as 1. The folder is made with its parents.
class FileLogSink final : public LogSink {
 public:
  /// Nothing is touched on disk before the first line. Throws `std::system_error` when no thread can be
  /// started.
  FileLogSink(platform::files::Path url, std::int64_t maxBytes, int keep);
  /// Returns when every line that was handed over is written.
  ~FileLogSink() override;
  FileLogSink(const FileLogSink&) = delete;
  FileLogSink& operator=(const FileLogSink&) = delete;

  void write(const LogEvent& event) noexcept override;

  /// Waits until everything that was handed over before is written, and flushed to stable storage.
  void flush() noexcept;

 private:
  /// A line with its end, or nothing: a flush.
  using Job = std::optional<platform::Bytes>;

  void serve() noexcept;
  void append(const platform::Bytes& line) noexcept;
  void sync() noexcept;
  void rotate();
  platform::files::Path rotated(int number) const;

  // Constant after construction.
  const platform::files::Path url_;
  const std::int64_t maxBytes_;
  const int keep_;

  std::optional<platform::files::AppendFile> handle_;  // the queue's thread alone

  std::mutex mutex_;  // guards what follows
  std::condition_variable arrived_;
  std::condition_variable flushed_;
  std::deque<Job> jobs_;
  std::uint64_t flushesAsked_ = 0;
  std::uint64_t flushesDone_ = 0;
  bool closing_ = false;

  std::jthread queue_;  // last: it uses all of the above
};

}  // namespace tuv
