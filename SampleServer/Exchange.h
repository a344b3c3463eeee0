#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>

#include "Platform/Bytes.h"
#include "SampleServer/Downloads.h"
#include "SampleServer/FaultRules.h"
#include "SampleServer/HTTPMessage.h"
#include "SampleServer/RequestLog.h"
#include "SampleServer/Router.h"
#include "SampleServer/TokenDesk.h"

namespace sample {

/// What is to be sent for one request, and what becomes of the connection then.
struct Reply {
  enum class Ending { keep, close, reset };

  platform::Bytes wire;
  std::optional<BodyStream> stream;  ///< to be sent behind `wire`
  Ending ending = Ending::keep;
  int status = 0;  ///< 0 where no whole answer is sent
};

/// One request from its arrival to its reply: counting, hook, delay, faults, token, route. Any thread may
/// call.
class Exchange {
 public:
  using RequestHook = std::function<void(std::uint64_t number)>;

  Exchange(TokenDesk& tokens, const Downloads& downloads, const Router& router, FaultRules& faults,
           RequestLog& log)
      : tokens_(tokens), downloads_(downloads), router_(router), faults_(faults), log_(log) {}

  /// Makes the reply in `reply`, whose buffer is used again. A stop ends a delay or a hang: the reply then
  /// is empty and closes. The request counts as done with before its reply is sent, so that a client which
  /// has an answer finds it in the log, and never sees more in flight than it has itself.
  void handle(const Request& request, const std::stop_token& stop, Reply& reply);

  void setDelay(std::chrono::microseconds delay) { delay_ = delay; }
  void setHook(RequestHook hook);
  /// The speed of each streamed body in bytes a second; 0 for no limit. Counts at once.
  void setDownloadRate(std::int64_t bytesPerSecond) { downloadRate_ = bytesPerSecond; }
  std::int64_t downloadRate() const { return downloadRate_; }

 private:
  void prepare(const Request& request, std::string_view path, std::uint64_t number,
               platform::MonotonicTime started, const std::stop_token& stop, Reply& reply);
  Answer answer(const Request& request, std::string_view path) const;

  // Synchronise themselves.
  TokenDesk& tokens_;
  const Downloads& downloads_;
  const Router& router_;
  FaultRules& faults_;
  RequestLog& log_;
  std::atomic<std::chrono::microseconds> delay_{std::chrono::microseconds(0)};
  std::atomic<std::int64_t> downloadRate_ = 0;
  std::atomic<bool> hooked_ = false;

  std::mutex mutex_;  // guards what follows
  std::shared_ptr<const RequestHook> hook_;
};

}  // namespace sample
