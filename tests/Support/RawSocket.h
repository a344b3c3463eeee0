#pragma once

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace test {

/// A plain client socket to a port of this machine, for what no well-behaved client sends.
class RawSocket {
 public:
  explicit RawSocket(std::uint16_t port) : descriptor_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    isOpen_ = ::connect(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }
  ~RawSocket() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  RawSocket(RawSocket&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)), isOpen_(other.isOpen_) {}
  RawSocket(const RawSocket&) = delete;
  RawSocket& operator=(const RawSocket&) = delete;

  /// Whether the server took the connection.
  bool isOpen() const { return isOpen_; }
  int descriptor() const { return descriptor_; }

  /// False once the server has cut the connection.
  bool send(std::string_view bytes) const {
    while (!bytes.empty()) {
      const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }
  void endSending() const { ::shutdown(descriptor_, SHUT_WR); }
  /// Ends with a reset.
  void abort() {
    const linger hard{1, 0};
    ::setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    ::close(std::exchange(descriptor_, -1));
  }

  /// All that comes until the server ends the connection; nothing when that takes longer, or a reset ended
  /// it.
  std::optional<std::string> readToEnd(std::chrono::milliseconds patience = std::chrono::seconds(20)) const {
    std::string all;
    const auto until = std::chrono::steady_clock::now() + patience;
    while (true) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now()).count();
      pollfd wait{descriptor_, POLLIN, 0};
      if (left <= 0 || ::poll(&wait, 1, static_cast<int>(left)) == 0) return std::nullopt;
      char piece[65536];
      const ssize_t count = ::recv(descriptor_, piece, sizeof piece, 0);
      if (count < 0) return std::nullopt;
      if (count == 0) return all;
      all.append(piece, static_cast<std::size_t>(count));
    }
  }
  /// Whether the connection is still there after a look: nothing has come, and no end.
  bool isQuiet() const {
    pollfd wait{descriptor_, POLLIN, 0};
    return ::poll(&wait, 1, 0) == 0;
  }

 private:
  int descriptor_;
  bool isOpen_ = false;
};

}  // namespace test
