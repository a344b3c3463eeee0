#include "TuvCore/FileLogSink.h"

#include <algorithm>
#include <utility>

#include "Platform/Concurrency/Thread.h"

namespace tuv {

namespace files = platform::files;

FileLogSink::FileLogSink(files::Path url, std::int64_t maxBytes, int keep)
    : url_(std::move(url)), maxBytes_(maxBytes), keep_(std::max(keep, 1)), queue_([this] { serve(); }) {}

FileLogSink::~FileLogSink() {
  {
    std::lock_guard lock(mutex_);
    closing_ = true;
  }
  arrived_.notify_one();
  queue_.join();
}

void FileLogSink::write(const LogEvent& event) noexcept {
  try {
    platform::Bytes line = event.formatted();
    line += '\n';
    std::lock_guard lock(mutex_);
    jobs_.emplace_back(std::move(line));
    if (jobs_.size() == 1) arrived_.notify_one();
  } catch (...) {
    // Out of memory: the line is lost.
  }
}

void FileLogSink::flush() noexcept {
  try {
    std::unique_lock lock(mutex_);
    jobs_.emplace_back();
    const std::uint64_t number = ++flushesAsked_;
    arrived_.notify_one();
    flushed_.wait(lock, [&] { return flushesDone_ >= number; });
  } catch (...) {
    // Out of memory: nothing was asked for.
  }
}

void FileLogSink::serve() noexcept {
  platform::nameThisThread("tuvmarsel.log");
  std::deque<Job> batch;
  while (true) {
    {
      std::unique_lock lock(mutex_);
      arrived_.wait(lock, [this] { return closing_ || !jobs_.empty(); });
      if (jobs_.empty()) return;
      batch.swap(jobs_);
    }
    for (const Job& job : batch) {
      if (job) {
        append(*job);
      } else {
        sync();
      }
    }
    batch.clear();
  }
}

void FileLogSink::append(const platform::Bytes& line) noexcept {
  try {
    if (!handle_) {
      if (url_.has_parent_path()) files::createDirectories(url_.parent_path());
      handle_.emplace(url_);
    }
    handle_->append(line);
    if (handle_->size() > maxBytes_) rotate();
  } catch (...) {
    handle_.reset();
  }
}

void FileLogSink::sync() noexcept {
  try {
    if (handle_) handle_->sync();
  } catch (...) {
    // The lines are written; no one can be told that they are not on stable storage.
  }
  {
    std::lock_guard lock(mutex_);
    ++flushesDone_;
  }
  flushed_.notify_all();
}

void FileLogSink::rotate() {
  handle_.reset();
  const auto move = [](const files::Path& from, const files::Path& to) {
    try {
      files::rename(from, to);
    } catch (const platform::Error&) {
      // A former file that isn't there or can't be moved: the next ones still are.
    }
  };
  for (int i = keep_ - 1; i >= 1; --i) {
    files::tryRemove(rotated(i + 1));
    move(rotated(i), rotated(i + 1));
  }
  move(url_, rotated(1));
}

files::Path FileLogSink::rotated(int number) const {
  files::Path path = url_;
  path += "." + std::to_string(number);
  return path;
}

}  // namespace tuv
