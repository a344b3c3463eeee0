#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Bytes.h"

namespace sample {

/// One request. Its texts look into the buffer that it was read from.
struct Request {
  std::string_view method;
  std::string_view path;   ///< as sent, with its leading slash, without the query
  std::string_view query;  ///< without the question mark
  std::vector<std::pair<std::string_view, std::string_view>> headers;
  std::string_view body;
  bool keepAlive = true;

  /// The first header of that name, compared without case.
  std::optional<std::string_view> header(std::string_view name) const;
  /// The value of a query item, percent-decoded.
  std::optional<std::string> queryItem(std::string_view name) const;
  /// The values of all items of that name, in their order.
  std::vector<std::string> queryItems(std::string_view name) const;
};

/// Cuts requests out of a connection's buffer (RFC 9112), however they arrive. Bodies need a Content-Length.
class RequestReader {
 public:
  enum class Progress { more, ready, refused };

  static constexpr std::size_t maximumHead = 64 * 1024;
  static constexpr std::size_t maximumBody = 16 * 1024 * 1024;
  /// Of a package's file with the form around it.
  static constexpr std::size_t maximumUpload = 64 * 1024 * 1024;

  /// Looks at the start of `buffer`. `ready`: `request()` holds until the buffer changes. `refused`:
  /// `refusal()` is the status to answer before closing.
  Progress advance(platform::Bytes& buffer);

  const Request& request() const { return request_; }
  int refusal() const { return refusal_; }
  /// The head is there, the body isn't, and the client waits for a word before it sends the body. True once.
  bool takeContinue() { return std::exchange(wantsContinue_, false); }
  /// Removes the request that was ready from the buffer.
  void drop(platform::Bytes& buffer);

 private:
  Progress refuse(int status);
  bool parseHead(std::string_view head);

  Request request_;
  std::size_t scanned_ = 0;  // no head ends before this offset
  std::size_t needed_ = 0;   // bytes of head and body, once the head is known
  bool wantsContinue_ = false;
  bool continueSeen_ = false;
  int refusal_ = 0;
};

/// A body that is made while it is sent, since it may be larger than memory.
struct BodyStream {
  /// Fills `out` with the bytes from `offset` on, past the end as well.
  std::function<void(std::int64_t offset, std::span<char> out)> fill;
  std::int64_t offset = 0;
  std::int64_t length = 0;  ///< bytes to send
};

/// One answer, without what every answer has.
struct Answer {
  int status = 200;
  std::string_view contentType = {};  ///< a literal; empty for none
  platform::Bytes headers = {};       ///< further lines, each with its end
  platform::Bytes body = {};
  std::optional<BodyStream> stream = {};  ///< comes behind `body`
  /// What the head says of the body's length instead of the truth; empty: nothing.
  std::optional<std::string> claimedLength = {};
};

/// Puts head and body of an answer at the end of `wire`, all but the stream.
void appendAnswer(platform::Bytes& wire, const Answer& answer, bool keepAlive);

/// Compares ASCII letters without case.
bool equalIgnoringCase(std::string_view a, std::string_view b);

}  // namespace sample
