#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Date.h"
#include "Platform/JSON/Codable.h"
#include "TuvCore/Locked.h"

namespace tuv {

enum class LogLevel { debug, info, notice, error };

constexpr auto enumTexts(LogLevel) {
  using namespace std::string_view_literals;
  return std::array{std::pair{LogLevel::debug, "debug"sv}, std::pair{LogLevel::info, "info"sv},
                    std::pair{LogLevel::notice, "notice"sv}, std::pair{LogLevel::error, "error"sv}};
}

/// One event of the log.
struct LogEvent {
  platform::Date date;
  LogLevel level = LogLevel::info;
  std::string category;
  std::string message;
  std::string process;

  /// The event as one line without its end: date in the current zone with milliseconds, level in upper case
  /// padded to six characters, "[category]", process and message, each line feed of it as " ⏎ ".
  std::string formatted() const;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("date", &LogEvent::date), field("level", &LogEvent::level),
                     field("category", &LogEvent::category), field("message", &LogEvent::message),
                     field("process", &LogEvent::process));
  }
  bool operator==(const LogEvent&) const = default;
};

/// Where events go beside the system's log. `write` is called from any thread, also at once.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(const LogEvent& event) noexcept = 0;
};

/// The process-wide logger. Any thread may call any operation; none throws, and none touches a file or a sink
/// while it holds its lock. What can't be logged, for want of memory too, is lost.
class Log {
 public:
  /// The one of the process. It outlives every static object; its sinks are let go, and with that written
  /// out, when the process exits.
  static Log& shared() noexcept;
  Log() noexcept = default;

  /// Sets the name under which the system's log files this program, for all categories from now on. It is
  /// "Tuvmarsel" until then.
  void configure(std::string subsystem) noexcept;
  std::string subsystem() const;

  LogLevel minimumLevel() const noexcept;
  void setMinimumLevel(LogLevel level) noexcept;
  bool echoToStderr() const noexcept;
  void setEchoToStderr(bool echo) noexcept;

  void addSink(std::shared_ptr<LogSink> sink) noexcept;

  /// Makes the event, with the current time and the process's name, and emits it.
  void log(LogLevel level, std::string_view category, std::string message) noexcept;

  /// Hands an event to the system's log (when `unified`; that has filters of its own), and, from
  /// `minimumLevel` on, to each sink in the order added and to standard error when asked for.
  void emit(const LogEvent& event, bool unified) noexcept;

 private:
  using Sinks = std::vector<std::shared_ptr<LogSink>>;

  /// The journal wants no handle per category, so the name alone is kept. Name and list are replaced, never
  /// changed: a copy under the lock costs no memory.
  struct State {
    std::shared_ptr<const std::string> subsystem;  // none: the default
    std::shared_ptr<const Sinks> sinks;            // none: empty
    LogLevel minimumLevel = LogLevel::info;
    bool echoToStderr = false;
  };

  void letGoOfSinks() noexcept;

  Locked<State> state_;
};

/// A value that logs under one category of `Log::shared()`.
struct CategoryLogger {
  std::string category;

  void debug(std::string message) const noexcept {
    Log::shared().log(LogLevel::debug, category, std::move(message));
  }
  void info(std::string message) const noexcept {
    Log::shared().log(LogLevel::info, category, std::move(message));
  }
  void notice(std::string message) const noexcept {
    Log::shared().log(LogLevel::notice, category, std::move(message));
  }
  void error(std::string message) const noexcept {
    Log::shared().log(LogLevel::error, category, std::move(message));
  }
};

}  // namespace tuv
