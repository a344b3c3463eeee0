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

/// Takes a streamed answer. All calls come from the session's loop thread, in this order: the head once,
/// bytes any number of times, the end once and in every case. Only the end need come. A call that blocks
/// holds up all transfers of its session, and what it takes is no idleness of the server.
class HTTPStreamDelegate {
 public:
  virtual ~HTTPStreamDelegate() = default;
  /// The head of the final answer, as soon as it is whole; its body is empty. False ends the transfer.
  virtual bool receivedHead(HTTPResponse head) = 0;
  /// A piece of the body, never empty. False ends the transfer.
  virtual bool receivedBytes(Bytes bytes) = 0;
  /// No call comes afterwards. Nothing in `failure` when the answer is whole.
  virtual void ended(std::optional<HTTPError> failure) noexcept = 0;
};

struct HTTPSessionConfiguration {
  /// A transfer ends after that long whatever it does; zero is no limit.
  std::chrono::milliseconds totalTimeout{0};
  /// No transfer may be idle for longer, whatever its request allows; zero is no limit.
  std::chrono::milliseconds mostIdleTimeout{0};
  /// PEM file of trust anchors beside the system's. Empty: the system's alone.
  std::filesystem::path extraTrustAnchors;
  /// Where to connect really: "host:port" of a URL to "address:port". TLS and the Host header keep the URL's
  /// host.
  std::map<std::string, std::string> connectTo;
  /// Connections kept per host; more requests than that wait for one.
  long maxConnectionsPerHost = 64;
  /// A longer answer is refused, unless it is streamed: it would fill the memory. In bytes.
  std::size_t mostBodyBytes = std::size_t{1} << 30;
  /// The User-Agent header of requests that bring none. Empty: no such header.
  std::string userAgent;
};

/// An HTTP client session: connections, TLS sessions and cookies are shared by its requests and live in
/// memory. There is no cache: every answer is the server's.
///
/// All transfers run on one loop thread of the session; a caller blocks on its own. Only http and https, on
/// redirects too; a redirect to another host carries no Authorization header. Any thread may call; the
/// session must outlive its calls.
class HTTPSession {
  class Loop;

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

  /// A transfer under way that reports to a delegate.
  class Stream {
   public:
    /// Cancels it.
    ~Stream();
    Stream(Stream&&) noexcept = default;
    Stream& operator=(Stream&&) = delete;

    /// Ends the transfer, unless it has ended, with the kind `cancelled`. Doesn't wait for that. Any thread
    /// may call. A delegate that blocks has to be woken by its owner.
    void cancel() noexcept;

   private:
    friend class HTTPSession;
    Stream(Loop& loop, std::shared_ptr<detail::HTTPTransfer> transfer)
        : loop_(&loop), transfer_(std::move(transfer)) {}
    Loop* loop_;
    std::shared_ptr<detail::HTTPTransfer> transfer_;
  };

  /// Starts a transfer whose answer is streamed to `delegate`, whatever its status and length. Redirects are
  /// followed as by `data`; the delegate sees nothing of them. Bytes are passed on as they arrive, several
  /// kilobytes at a time on a fast network. The delegate is kept until its end; the session must outlive the
  /// result.
  [[nodiscard]] Stream stream(HTTPRequest request, std::shared_ptr<HTTPStreamDelegate> delegate);

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
  HTTPResponse exchange(std::shared_ptr<detail::HTTPTransfer> transfer, const std::stop_token& stop);
  std::unique_ptr<Loop> loop_;
};

}  // namespace platform
