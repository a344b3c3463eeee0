#include "TuvCore/Log.h"

#include <fmt/format.h>

#include <cstdio>
#include <new>

#include "Platform/Host.h"
#include "Platform/Locale/Text.h"
#include "Platform/SystemLog/SystemLog.h"

namespace tuv {

namespace {

constexpr std::string_view defaultSubsystem = "Tuvmarsel";

std::string_view paddedName(LogLevel level) {
  switch (level) {
    case LogLevel::debug:
      return "DEBUG ";
    case LogLevel::info:
      return "INFO  ";
    case LogLevel::notice:
      return "NOTICE";
    case LogLevel::error:
      return "ERROR ";
  }
  return "      ";
}

platform::SystemLogPriority priority(LogLevel level) {
  switch (level) {
    case LogLevel::debug:
      return platform::SystemLogPriority::debug;
    case LogLevel::info:
      return platform::SystemLogPriority::info;
    case LogLevel::notice:
      return platform::SystemLogPriority::notice;
    case LogLevel::error:
      return platform::SystemLogPriority::error;
  }
  return platform::SystemLogPriority::error;
}

std::string onOneLine(std::string_view message) {
  std::string line;
  line.reserve(message.size());
  for (const char c : message) {
    if (c == '\n') {
      line += " ⏎ ";
    } else {
      line += c;
    }
  }
  return line;
}

}  // namespace

std::string LogEvent::formatted() const {
  return fmt::format("{} {} [{}] {} {}", platform::locale::zonedISO8601(date), paddedName(level), category,
                     process, onOneLine(message));
}

Log& Log::shared() noexcept {
  // In place and never destroyed: static objects may log on their way out.
  alignas(Log) static std::byte storage[sizeof(Log)];
  static Log& log = *new (storage) Log;
  struct AtExit {
    ~AtExit() { log.letGoOfSinks(); }
  };
  static const AtExit atExit;
  return log;
}

void Log::configure(std::string subsystem) noexcept {
  try {
    auto name = std::make_shared<const std::string>(std::move(subsystem));
    state_.withLock([&](State& state) { state.subsystem.swap(name); });
  } catch (...) {
  }
}

std::string Log::subsystem() const {
  const auto name = state_.withLock([](const State& state) { return state.subsystem; });
  return name ? *name : std::string(defaultSubsystem);
}

LogLevel Log::minimumLevel() const noexcept {
  return state_.withLock([](const State& state) { return state.minimumLevel; });
}

void Log::setMinimumLevel(LogLevel level) noexcept {
  state_.withLock([level](State& state) { state.minimumLevel = level; });
}

bool Log::echoToStderr() const noexcept {
  return state_.withLock([](const State& state) { return state.echoToStderr; });
}

void Log::setEchoToStderr(bool echo) noexcept {
  state_.withLock([echo](State& state) { state.echoToStderr = echo; });
}

void Log::addSink(std::shared_ptr<LogSink> sink) noexcept {
  if (!sink) return;
  try {
    std::shared_ptr<const Sinks> former;  // let go of outside the lock
    state_.withLock([&](State& state) {
      auto sinks = state.sinks ? std::make_shared<Sinks>(*state.sinks) : std::make_shared<Sinks>();
      sinks->push_back(std::move(sink));
      former = std::exchange(state.sinks, std::move(sinks));
    });
  } catch (...) {
  }
}

void Log::letGoOfSinks() noexcept {
  std::shared_ptr<const Sinks> former;  // let go of outside the lock
  state_.withLock([&](State& state) { former.swap(state.sinks); });
}

void Log::log(LogLevel level, std::string_view category, std::string message) noexcept {
  try {
    static const std::string process = platform::processName();
    emit({platform::now(), level, std::string(category), std::move(message), process}, true);
  } catch (...) {
  }
}

void Log::emit(const LogEvent& event, bool unified) noexcept {
  try {
    if (unified) {
      const auto name = state_.withLock([](const State& state) { return state.subsystem; });
      platform::writeSystemLog(priority(event.level), name ? std::string_view(*name) : defaultSubsystem,
                               event.category, event.message);
    }
    const State state = state_.value();
    if (event.level < state.minimumLevel) return;
    if (state.sinks) {
      for (const auto& sink : *state.sinks) sink->write(event);
    }
    if (state.echoToStderr) {
      const std::string line = event.formatted() + "\n";
      (void)std::fwrite(line.data(), 1, line.size(), stderr);
    }
  } catch (...) {
  }
}

}  // namespace tuv
