#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "JamfCore/Networking/JamfRequesting.h"

namespace orvik::test {

/// A reader whose answers a test gives, and which remembers what was asked. Any thread may call.
class ScriptedReader : public jamf::JamfRequesting {
 public:
  struct Call {
    std::string path;
    std::vector<jamf::QueryItem> query;
  };
  using Answer = std::function<platform::Bytes(const Call&, const std::stop_token&)>;

  explicit ScriptedReader(Answer answer) : answer_(std::move(answer)) {}

  platform::Bytes get(const std::string& path, const std::vector<jamf::QueryItem>& query,
                      const std::stop_token& stop) override {
    Call call{path, query};
    {
      std::lock_guard lock(mutex_);
      calls_.push_back(call);
    }
    return answer_(call, stop);
  }

  std::vector<Call> calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
  }

  /// How often that path was asked for.
  std::size_t count(const std::string& path) const {
    std::lock_guard lock(mutex_);
    std::size_t n = 0;
    for (const auto& call : calls_) n += call.path == path;
    return n;
  }

 private:
  Answer answer_;
  mutable std::mutex mutex_;  // guards calls_
  std::vector<Call> calls_;
};

}  // namespace orvik::test
