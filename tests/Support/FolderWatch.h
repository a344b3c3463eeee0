#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace orvik::test {

/// Sees every name that appears in a folder and in those below it, as the system tells of them. Folders that
/// are made are watched from then on; what appears in one before that is found by looking.
class FolderWatch {
 public:
  explicit FolderWatch(const std::filesystem::path& folder)
      : queue_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    watch(folder);
    thread_ = std::jthread([this](const std::stop_token& stop) {
      while (!stop.stop_requested()) read(10);
      read(0);
    });
  }
  ~FolderWatch() {
    end();
    ::close(queue_);
  }
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  /// Stops watching and gives the paths of all that appeared.
  std::set<std::string> end() {
    thread_.request_stop();
    if (thread_.joinable()) thread_.join();
    return seen_;
  }

 private:
  void watch(const std::filesystem::path& folder) {
    const int number = inotify_add_watch(queue_, folder.c_str(), IN_CREATE | IN_MOVED_TO | IN_ONLYDIR);
    if (number < 0) return;
    folders_[number] = folder;
    std::error_code failure;
    for (const auto& entry : std::filesystem::directory_iterator(folder, failure)) {
      if (entry.is_directory(failure)) watch(entry.path());
      if (!isFirst_) seen_.insert(entry.path().string());
    }
    isFirst_ = false;
  }

  void read(int milliseconds) {
    pollfd ready{queue_, POLLIN, 0};
    if (::poll(&ready, 1, milliseconds) <= 0) return;
    alignas(inotify_event) char buffer[16384];
    for (ssize_t length = 0; (length = ::read(queue_, buffer, sizeof buffer)) > 0;) {
      for (char* at = buffer; at < buffer + length;) {
        const auto* event = reinterpret_cast<const inotify_event*>(at);
        at += sizeof(inotify_event) + event->len;
        if (event->len == 0) continue;
        const auto path = folders_[event->wd] / event->name;
        seen_.insert(path.string());
        if (event->mask & IN_ISDIR) watch(path);
      }
    }
  }

  int queue_;
  bool isFirst_ = true;
  std::map<int, std::filesystem::path> folders_;  // the thread's own, as all that follows
  std::set<std::string> seen_;
  std::jthread thread_;
};

}  // namespace orvik::test
