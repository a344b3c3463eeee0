#include "Platform/SystemLog/SystemLog.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <mutex>

#include "Platform/Concurrency/Cancellation.h"

#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

namespace platform {

std::array<std::string, 4> systemLogFields(SystemLogPriority priority, std::string_view subsystem,
                                           std::string_view category, std::string_view message) {
  const auto field = [](std::string_view name, std::string_view value) {
    std::string text;
    text.reserve(name.size() + 1 + value.size());
    return text.append(name).append("=").append(value);
  };
  return {field("MESSAGE", message), field("PRIORITY", std::to_string(static_cast<int>(priority))),
          field("SYSLOG_IDENTIFIER", subsystem), field("CATEGORY", category)};
}

namespace {

/// Where there is no journal, offering it every line costs more than all else of a line.
constexpr std::chrono::seconds lookAgainAfter{10};
constexpr const char* journalSocket = "/run/systemd/journal/socket";

bool journalIsAbsent() noexcept {
  static std::atomic<MonotonicClock::rep> absentUntil{0};
  const auto now = MonotonicClock::now();
  if (now.time_since_epoch().count() < absentUntil.load(std::memory_order_relaxed)) return true;
  if (access(journalSocket, F_OK) == 0) return false;
  absentUntil.store((now + lookAgainAfter).time_since_epoch().count(), std::memory_order_relaxed);
  return true;
}

}  // namespace

void writeSystemLog(SystemLogPriority priority, std::string_view subsystem, std::string_view category,
                    std::string_view message) noexcept {
  const int before = errno;  // a line of the log changes nothing for who writes it
  try {
    if (journalIsAbsent()) {
      errno = before;
      return;
    }
    auto fields = systemLogFields(priority, subsystem, category, message);
    std::array<iovec, fields.size()> parts;
    for (std::size_t i = 0; i < fields.size(); ++i) parts[i] = {fields[i].data(), fields[i].size()};
    const auto send = [&] { (void)sd_journal_sendv(parts.data(), static_cast<int>(parts.size())); };
    // The first line opens the library's socket, which all others share: they come after it.
    static std::once_flag opened;
    bool sent = false;
    std::call_once(opened, [&] {
      send();
      sent = true;
    });
    if (!sent) send();
  } catch (...) {
    // Out of memory: the line is lost.
  }
  errno = before;
}

}  // namespace platform
