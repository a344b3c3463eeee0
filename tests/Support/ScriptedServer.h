#pragma once

#include <algorithm>
#include <cctype>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/TCP/Listener.h"

/// A test's own HTTP server on a free loopback port. What it answers, and how badly, is a lambda of the test.
namespace support {

/// A proxy of the environment would stand between the tests and their servers.
inline const bool withoutProxy = ::setenv("no_proxy", "*", 1) == 0;

struct ReceivedRequest {
  std::string head;  ///< request line and headers with their line ends, without the empty line
  std::string body;
  std::size_t bodySize = 0;  ///< also when the server keeps no bodies

  std::string method() const { return head.substr(0, head.find(' ')); }
  std::string target() const {
    const auto begin = head.find(' ') + 1;
    return head.substr(begin, head.find(' ', begin) - begin);
  }
  std::optional<std::string> header(std::string_view name) const {
    for (auto at = head.find("\r\n"); at != std::string::npos; at = head.find("\r\n", at + 2)) {
      const std::string_view line = std::string_view(head).substr(at + 2, head.find("\r\n", at + 2) - at - 2);
      if (line.size() <= name.size() || line[name.size()] != ':') continue;
      if (!std::equal(name.begin(), name.end(), line.begin(), [](char a, char b) {
            return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
          }))
        continue;
      const auto value = line.substr(name.size() + 1);
      const auto first = value.find_first_not_of(' ');
      return std::string(first == std::string_view::npos ? std::string_view() : value.substr(first));
    }
    return std::nullopt;
  }
};

/// A whole answer. `headers` are lines that end in CR LF.
inline std::string answer(int status, std::string_view body = {}, std::string_view headers = {}) {
  return "HTTP/1.1 " + std::to_string(status) + " Status\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n" + std::string(headers) + "\r\n" + std::string(body);
}

class ScriptedServer {
 public:
  /// What a script does to one exchange.
  class Exchange {
   public:
    const ReceivedRequest& request;
    const std::size_t number;  ///< of the request on this server, from 0

    void send(std::string_view bytes) { open_ = connection_.write(bytes) && open_; }
    /// Sends in pieces of 1 to 7 bytes, cut where the seed says.
    void drip(std::string_view bytes, std::uint32_t seed) {
      std::mt19937 random(seed);
      while (!bytes.empty()) {
        const std::size_t size = std::min<std::size_t>(1 + random() % 7, bytes.size());
        send(bytes.substr(0, size));
        bytes.remove_prefix(size);
        std::this_thread::yield();
      }
    }
    /// Ends the connection normally once the script returns.
    void close() { open_ = false; }
    /// Ends it now with a reset.
    void reset() {
      connection_.reset();
      open_ = false;
    }
    /// Waits until the test calls `release` (or the server goes).
    void hold() { server_.waitForRelease(); }

   private:
    friend class ScriptedServer;
    Exchange(const ReceivedRequest& received, std::size_t index, platform::TCPConnection& connection,
             ScriptedServer& server)
        : request(received), number(index), connection_(connection), server_(server) {}
    platform::TCPConnection& connection_;
    ScriptedServer& server_;
    bool open_ = true;
  };

  using Script = std::function<void(Exchange&)>;
  using Answers = std::function<std::string(const ReceivedRequest&)>;

  explicit ScriptedServer(Script script) : script_(std::move(script)) {
    acceptor_ = std::jthread([this] { acceptAll(); });
  }
  /// Each request gets the answer that the lambda makes of it.
  static Script answering(Answers answers) {
    return [answers = std::move(answers)](Exchange& exchange) { exchange.send(answers(exchange.request)); };
  }
  /// Each request gets that answer.
  static Script always(std::string bytes) {
    return [bytes = std::move(bytes)](Exchange& exchange) { exchange.send(bytes); };
  }

  ~ScriptedServer() {
    listener_.close();
    acceptor_.join();
    release();
    {
      std::lock_guard lock(mutex_);
      for (const auto& connection : connections_) connection->shutdown();
    }
    threads_.clear();
  }
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  std::uint16_t port() const { return listener_.port(); }
  std::string address() const { return "127.0.0.1:" + std::to_string(port()); }
  std::string url(std::string_view path = "/") const { return "http://" + address() + std::string(path); }

  std::vector<ReceivedRequest> requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
  }
  std::size_t requestCount() const {
    std::lock_guard lock(mutex_);
    return requests_.size();
  }
  std::size_t connectionCount() const {
    std::lock_guard lock(mutex_);
    return connections_.size();
  }
  /// Blocks until that many requests have come.
  void waitForRequests(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return requests_.size() >= count; });
  }
  /// Lets all held exchanges go on, now and later.
  void release() {
    std::lock_guard lock(mutex_);
    released_ = true;
    changed_.notify_all();
  }
  /// For uploads too big to keep.
  void dropBodies() {
    std::lock_guard lock(mutex_);
    keepsBodies_ = false;
  }

 private:
  void waitForRelease() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return released_; });
  }

  void acceptAll() {
    while (std::shared_ptr<platform::TCPConnection> connection = listener_.accept()) {
      {
        std::lock_guard lock(mutex_);
        connections_.push_back(connection);
      }
      threads_.emplace_back([this, connection] { serve(*connection); });
    }
  }

  void serve(platform::TCPConnection& connection) {
    std::string buffer;
    while (auto request = receive(connection, buffer)) {
      std::size_t number = 0;
      {
        std::lock_guard lock(mutex_);
        number = requests_.size();
        requests_.push_back(*request);
        changed_.notify_all();
      }
      Exchange exchange(*request, number, connection, *this);
      script_(exchange);
      if (!exchange.open_) break;
    }
    connection.shutdown();
  }

  std::optional<ReceivedRequest> receive(platform::TCPConnection& connection, std::string& buffer) {
    std::size_t end = 0;
    while ((end = buffer.find("\r\n\r\n")) == std::string::npos)
      if (!connection.read(buffer)) return std::nullopt;
    ReceivedRequest request;
    request.head = buffer.substr(0, end);
    buffer.erase(0, end + 4);
    const std::size_t size = std::stoul(request.header("Content-Length").value_or("0"));
    if (request.header("Expect")) connection.write("HTTP/1.1 100 Continue\r\n\r\n");
    bool keep = true;
    {
      std::lock_guard lock(mutex_);
      keep = keepsBodies_;
    }
    while (request.bodySize < size) {
      if (buffer.empty() && !connection.read(buffer)) return std::nullopt;
      const std::size_t piece = std::min(buffer.size(), size - request.bodySize);
      if (keep) request.body.append(buffer, 0, piece);
      request.bodySize += piece;
      buffer.erase(0, piece);
    }
    return request;
  }

  const Script script_;
  platform::TCPListener listener_;

  mutable std::mutex mutex_;  // guards what follows up to threads_
  std::condition_variable changed_;
  std::vector<ReceivedRequest> requests_;
  std::vector<std::shared_ptr<platform::TCPConnection>> connections_;
  bool released_ = false;
  bool keepsBodies_ = true;

  std::vector<std::jthread> threads_;  // the acceptor's until it has ended
  std::jthread acceptor_;
};

}  // namespace support
