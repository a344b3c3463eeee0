#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Platform/Bytes.h"

namespace sample {

/// Another answer instead of the right one.
struct FaultAnswer {
  int status = 500;
  std::vector<std::pair<std::string, std::string>> headers = {};
  platform::Bytes body = {};
};

/// The right answer, later.
struct FaultDelay {
  std::chrono::milliseconds duration{0};
};

/// The first bytes of the right answer, and then the end of the connection.
struct FaultCut {
  enum class Ending { close, reset };
  /// `start`: so many bytes are sent, of head and body. `body`: the head and so many of the body. `end`: all
  /// but so many.
  enum class From { start, body, end };

  std::size_t after = 0;  ///< bytes
  Ending ending = Ending::close;
  From from = From::start;
};

/// The right answer with another value of a header, with one more header, or without one. A changed
/// Content-Length is followed by the whole body, and then by the end of the connection.
struct FaultHeader {
  std::string name;
  std::optional<std::string> value = {};  ///< nothing takes the header away
};

/// The right head, a body that is so many bytes longer than the head says, or shorter, and then the end of
/// the connection.
struct FaultLength {
  std::int64_t more = 0;  ///< bytes; below 0 for fewer
};

/// The right head, and as many bytes as it promises that are neither JSON nor UTF-8.
struct FaultGarbage {};

/// No answer until the server stops.
struct FaultHang {};

using FaultAction =
    std::variant<FaultAnswer, FaultDelay, FaultCut, FaultHeader, FaultLength, FaultGarbage, FaultHang>;

/// What goes wrong, where and how often.
struct FaultRule {
  /// "*" stands for any text. Compared with the decoded path without its leading slash, and with the query
  /// behind it when the pattern has a question mark: "api/v1/scripts?page=1*".
  std::string path;
  std::string method = {};     ///< empty for any
  std::optional<int> times{};  ///< how many requests it hits; absent: all
  int after = 0;               ///< how many matching requests pass before
  FaultAction action;

  /// 429 with or without the seconds of a Retry-After.
  static FaultAnswer tooManyRequests(std::optional<int> retryAfter = {});
  /// 503 with the HTML page that stands in front of a server under maintenance.
  static FaultAnswer maintenance();
};

/// The rules in force. Any thread may call. The first rule that matches and is not used up decides.
class FaultRules {
 public:
  /// A number to take the rule away with.
  int add(FaultRule rule);
  void remove(int number);
  void clear();

  /// The action for a request, which counts as a hit of its rule. Costs one load where no rule is set.
  std::optional<FaultAction> match(std::string_view method, std::string_view path, std::string_view query);

 private:
  struct Entry {
    int number;
    FaultRule rule;
    int seen = 0;
  };

  std::atomic<bool> any_ = false;
  std::mutex mutex_;  // guards what follows
  int last_ = 0;
  std::vector<Entry> entries_;
};

/// Whether `text` matches a pattern in which "*" stands for any text.
bool matchesGlob(std::string_view pattern, std::string_view text);

}  // namespace sample
