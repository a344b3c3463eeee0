#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string_view>

#include "Platform/Bytes.h"

namespace platform {

/// One accepted TCP connection. Closed when it goes. Reading and writing are for one thread; `shutdown` and
/// `reset` for any.
class TCPConnection {
 public:
  explicit TCPConnection(int descriptor) : descriptor_(descriptor) {}
  ~TCPConnection();
  TCPConnection(const TCPConnection&) = delete;
  TCPConnection& operator=(const TCPConnection&) = delete;

  /// Appends what has arrived to `buffer`, waiting for at least a byte. False at the end or on a failure.
  bool read(Bytes& buffer, std::size_t most = 65536);
  /// Writes all of it. False when the peer has gone.
  bool write(std::string_view bytes);
  /// Ends both directions, so that a blocked `read` or `write` returns false.
  void shutdown() noexcept;
  /// Ends it with a reset instead of a normal end, the way a crashed server does.
  void reset() noexcept;

 private:
  int descriptor_;
};

/// A TCP listener on 127.0.0.1.
class TCPListener {
 public:
  /// Binds and listens; port 0 takes a free one. Throws `Error` that names the port.
  explicit TCPListener(std::uint16_t port = 0);
  ~TCPListener();
  TCPListener(const TCPListener&) = delete;
  TCPListener& operator=(const TCPListener&) = delete;

  std::uint16_t port() const noexcept { return port_; }

  /// Waits for a connection; nothing after `close`.
  std::unique_ptr<TCPConnection> accept();
  /// Ends a waiting `accept` and refuses further connections. Any thread may call.
  void close() noexcept;

 private:
  int descriptor_ = -1;
  int wake_ = -1;
  std::uint16_t port_ = 0;
};

}  // namespace platform
