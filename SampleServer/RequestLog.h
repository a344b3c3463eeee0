#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Platform/Concurrency/Cancellation.h"

namespace sample {

/// One request that was answered. Whether a token came is kept, never the token.
struct LoggedRequest {
  std::string method;
  std::string path;         ///< decoded, without its leading slash
  std::string query;        ///< empty for signed URLs, whose query is a key
  bool authorized = false;  ///< an Authorization header came
  std::string range;        ///< the Range header as it came, empty for none
  int status = 0;           ///< 0: no whole answer was to be sent
  platform::MonotonicTime started;
  platform::MonotonicTime ended;  ///< just before the answer is sent
};

/// How much is kept of the requests. In-flight numbers and totals by method are kept always.
enum class LogDetail { totals, paths, all };

/// What was asked of the server, for tests. Any thread may call.
class RequestLog {
 public:
  explicit RequestLog(LogDetail detail) : detail_(detail) {}

  void setDetail(LogDetail detail) { detail_ = detail; }
  LogDetail detail() const { return detail_; }

  /// A request arrived whole. Returns its running number, from 1.
  std::uint64_t begin(std::string_view method, std::string_view path);
  /// The same request is done with; `entry` is kept when everything is.
  void end(std::function<LoggedRequest()> entry);

  std::uint64_t total() const { return total_; }
  /// Requests of another method than GET.
  std::uint64_t notGet() const { return notGet_; }
  int inFlight() const { return inFlight_; }
  int maxInFlight() const { return maxInFlight_; }

  /// How often a path was asked for; counted unless only totals are.
  std::uint64_t count(std::string_view path) const;
  std::vector<LoggedRequest> entries() const;
  /// Forgets all but what is in flight.
  void clear();

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };

  std::atomic<LogDetail> detail_;
  std::atomic<std::uint64_t> total_ = 0;
  std::atomic<std::uint64_t> notGet_ = 0;
  std::atomic<int> inFlight_ = 0;
  std::atomic<int> maxInFlight_ = 0;

  mutable std::mutex mutex_;  // guards what follows
  std::unordered_map<std::string, std::uint64_t, Hash, std::equal_to<>> counts_;
  std::vector<LoggedRequest> entries_;
};

}  // namespace sample
