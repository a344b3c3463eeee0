#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "TuvCore/Locked.h"
#include "TuvCore/Log.h"

namespace support {

/// What was logged in this process, at all levels, since it was made.
class LogRecorder {
 public:
  LogRecorder() {
    tuv::Log::shared().setMinimumLevel(tuv::LogLevel::debug);
    tuv::Log::shared().addSink(sink_);
  }
  ~LogRecorder() { sink_->recording.setValue(false); }
  LogRecorder(const LogRecorder&) = delete;
  LogRecorder& operator=(const LogRecorder&) = delete;

  std::vector<tuv::LogEvent> events() const { return sink_->events.value(); }

  /// The messages of a category, each number of seconds ("0.012s") as "#s".
  std::vector<std::string> messages(std::string_view category) const {
    std::vector<std::string> found;
    for (const auto& event : events())
      if (event.category == category) found.push_back(withoutSeconds(event.message));
    return found;
  }

  /// Whether any event holds that text.
  bool mentions(std::string_view text) const {
    const auto all = events();
    return std::any_of(all.begin(), all.end(),
                       [&](const auto& event) { return event.message.find(text) != std::string::npos; });
  }

 private:
  struct Sink final : tuv::LogSink {
    void write(const tuv::LogEvent& event) noexcept override {
      if (recording.value()) events.withLock([&](auto& list) { list.push_back(event); });
    }
    tuv::Locked<bool> recording{true};
    tuv::Locked<std::vector<tuv::LogEvent>> events;
  };

  static std::string withoutSeconds(std::string text) {
    constexpr std::string_view numeral = "0123456789.";
    for (std::size_t end = text.find('s'); end != std::string::npos; end = text.find('s', end + 1)) {
      std::size_t begin = end;
      while (begin > 0 && numeral.find(text[begin - 1]) != std::string_view::npos) --begin;
      if (text.find('.', begin) >= end) continue;
      text.replace(begin, end - begin, "#");
      end = begin + 1;
    }
    return text;
  }

  std::shared_ptr<Sink> sink_ = std::make_shared<Sink>();
};

}  // namespace support
