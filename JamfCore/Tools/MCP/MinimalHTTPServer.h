#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "JamfCore/Tools/MCP/HTTPMessage.h"
#include "Platform/Concurrency/WorkerPool.h"
#include "Platform/TCP/SocketLoop.h"

namespace jamf {

/// An HTTP server on 127.0.0.1 for programs of the same machine: one request a connection, no routing, no
/// TLS. A request that a web page of another site sends (it has an Origin header that is not local) is
/// refused.
///
/// Without limits it is as patient as a server can be: it keeps what arrives, however much and however
/// slowly, and leaves a request that it can't read without an answer until the peer ends the connection.
///
/// Any thread may call.
class MinimalHTTPServer {
 public:
  /// Called on several threads at once, and may block. What it throws ends the connection without an answer.
  using Handler = std::function<HTTPResponse(const HTTPRequest& request)>;

  /// What a server refuses that strangers can reach. Oversized heads get status 431 and bodies 413; 400 is
  /// for a head that can't be read or has a Content-Length that is no plain number, 411 for a body without
  /// one.
  struct Limits {
    std::size_t head = 16 * 1024;                                   ///< bytes
    std::size_t body = 8 * 1024 * 1024;                             ///< bytes
    std::chrono::milliseconds patience = std::chrono::seconds(30);  ///< to send a request, or take an answer
    std::size_t connections = 64;  ///< beyond, the one that has waited longest without a whole request is cut
    std::chrono::milliseconds grace = std::chrono::seconds(1);  ///< but for those that have just come
  };

  explicit MinimalHTTPServer(Handler handler, std::optional<Limits> limits = std::nullopt);
  /// Cuts what waits, and waits for handlers that run.
  ~MinimalHTTPServer();
  MinimalHTTPServer(const MinimalHTTPServer&) = delete;
  MinimalHTTPServer& operator=(const MinimalHTTPServer&) = delete;

  /// Listens, and does nothing when it does so already. Port 0 takes a free one. A port that can't be had is
  /// tried ten times in two seconds. Throws `platform::Error` that names it.
  void start(std::uint16_t port);
  /// Listens no more; requests that have come are answered. May be started again.
  void stop();
  /// The port that it listens on; 0 for none.
  std::uint16_t port() const;

 private:
  void receive(platform::SocketLoop::ID connection, std::string_view content);
  std::optional<HTTPResponse> refusal(const HTTPRequestReader& reader,
                                      HTTPRequestReader::Progress progress) const;
  HTTPResponse respond(const HTTPRequest& request) const;

  const Handler handler_;
  const std::optional<Limits> limits_;

  /// Requests that are not whole. Of the loop's thread.
  std::unordered_map<platform::SocketLoop::ID, HTTPRequestReader> readers_;

  mutable std::mutex mutex_;    // guards what follows
  std::uint16_t listener_ = 0;  ///< the port of the running listener

  platform::WorkerPool handlers_;
  platform::SocketLoop queue_;  // last: it calls into all of the above
};

}  // namespace jamf
