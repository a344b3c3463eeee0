#pragma once

#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "TuvCore/Log.h"

namespace tuv {

/// Hands the notices and errors of one category to a function, each message once, until it is detached.
class CategorySink final : public LogSink {
 public:
  using Receive = std::function<void(const std::string& message)>;

  CategorySink(std::string category, Receive receive)
      : category_(std::move(category)), receive_(std::move(receive)) {}

  void write(const LogEvent& event) noexcept override;

  /// Nothing is handed on from now on; a message that is on its way has arrived when this returns.
  void detach() noexcept;

 private:
  const std::string category_;

  std::mutex mutex_;  // guards what follows; held while a message is handed on, so that `detach` waits for it
  Receive receive_;
  std::set<std::string> told_;
};

}  // namespace tuv
