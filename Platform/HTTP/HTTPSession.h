#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Bytes.h"
#include "Platform/Error.h"

namespace platform {

namespace detail {
class HTTPTransfer;
}

using HTTPHeaders = std::vector<std::pair<std::string, std::string>>;

struct HTTPRequest {
  std::string method = "GET";
  std::string url;
  HTTPHeaders headers;
  Bytes body;                                     ///< sent when it is not empty, or the method is not GET
  std::chrono::milliseconds idleTimeout{60'000};  ///< no byte in either direction for that long
};

struct HTTPResponse {
  int status = 0;
  HTTPHeaders headers;
  Bytes body;

  /// The first header of that name, compared without case.
  std::optional<std::string_view> header(std::string_view name) const;
};

enum class HTTPErrorKind {
  cancelled,      ///< the caller's stop token ended the transfer
  timedOut,       ///< idle or total time-out
  cannotConnect,  ///< name, address, connection or TLS
  notHTTP,        ///< the peer answered, but not in HTTP
  other,          ///< cut connections and the rest
};

/// A transfer that yielded no answer. `description()` is a readable sentence with the host's name and never
/// holds the query, a header or a body.
class HTTPError : public Error {
 public:
  HTTPError(HTTPErrorKind kind, std::string description) : Error(std::move(description)), kind_(kind) {}
  HTTPErrorKind kind() const noexcept { return kind_; }

 private:
  HTTPErrorKind kind_;
};

struct HTTPSessionConfiguration {
  /// A transfer ends after that long whatever it does; zero is no limit.
  std::chrono::milliseconds totalTimeout{0};
  /// PEM file of trust anchors beside the system's. Empty: the system's alone.
  std::filesystem::path extraTrustAnchors;
  /// Where to connect really: "host:port" of a URL to "address:port". TLS and the Host header keep the URL's
  /// host.
  std::map<std::string, std::string> connectTo;
  /// Connections kept per host; more requests than that wait for one.
  long maxConnectionsPerHost = 64;
  /// A longer answer is refused: it would fill the memory. In bytes.
  std::size_t mostBodyBytes = std::size_t{1} << 30;
  /// The User-Agent header of requests that bring none. Empty: no such header.
  std::string userAgent;
};

/// An HTTP client session: connections, TLS sessions and cookies are shared by its requests and live in
/// memory.
///
/// All transfers run on one loop thread of the session; a caller blocks on its own. Only http and https, on
/// redirects too; a redirect to another host carries no Authorization header. Any thread may call; the
/// session must outlive its calls.
class HTTPSession {
 public:
  explicit HTTPSession(HTTPSessionConfiguration configuration = {});
  ~HTTPSession();
  HTTPSession(const HTTPSession&) = delete;
  HTTPSession& operator=(const HTTPSession&) = delete;

  /// Sends and waits for the whole answer, whatever its status; only a GET follows redirects, ten at most.
  /// The body's buffer has room for the JSON reader's padding. The memory of `request.body` is wiped in the
  /// end. What fails on a kept connection that had died is sent once more on a new one, but never a POST or a
  /// PATCH. Throws `HTTPError`; a stop ends the transfer at once with the kind `cancelled`.
  HTTPResponse data(HTTPRequest request, const std::stop_token& stop = {});

  const HTTPSessionConfiguration& configuration() const noexcept;

  /// Bytes sent so far and to send in all. Called on the session's loop thread: return quickly, don't throw,
  /// don't use the session.
  using UploadProgress = std::function<void(std::int64_t sent, std::int64_t expected)>;

  /// The same with the body read from a file while it is sent; `request.body` is not used. A server that is
  /// to get more than a mebibyte is asked first whether it wants it. Throws `files::FileError` too, when the
  /// file can't be opened.
  HTTPResponse upload(HTTPRequest request, const std::filesystem::path& file,
                      const UploadProgress& progress = {}, const std::stop_token& stop = {});

 private:
  class Loop;
  HTTPResponse exchange(std::shared_ptr<detail::HTTPTransfer> transfer, const std::stop_token& stop);
  std::unique_ptr<Loop> loop_;
};

}  // namespace platform
