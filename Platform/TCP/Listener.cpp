#include "Platform/TCP/Listener.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <system_error>

#include "Platform/Error.h"

namespace platform {

namespace {

constexpr std::size_t readBlock = 65536;
constexpr int backlog = 512;
constexpr int outOfResourcesPauseMilliseconds = 10;

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

/// Waits for one of the two; true when it is `descriptor` and not `wake`.
bool waitReadable(int descriptor, int wake, int timeoutMilliseconds) {
  std::array<pollfd, 2> watched{pollfd{wake, POLLIN, 0}, pollfd{descriptor, POLLIN, 0}};
  while (::poll(watched.data(), watched.size(), timeoutMilliseconds) < 0 && errno == EINTR) {
  }
  return watched[0].revents == 0;
}

bool isOutOfResources(int code) {
  return code == EMFILE || code == ENFILE || code == ENOBUFS || code == ENOMEM;
}

}  // namespace

TCPConnection::~TCPConnection() { ::close(descriptor_); }

bool TCPConnection::read(Bytes& buffer, std::size_t most) {
  char block[readBlock];
  ssize_t count = 0;
  do {
    count = ::recv(descriptor_, block, std::min(most, readBlock), 0);
  } while (count < 0 && errno == EINTR);
  if (count <= 0) return false;
  buffer.append(block, static_cast<std::size_t>(count));
  return true;
}

bool TCPConnection::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void TCPConnection::shutdown() noexcept { ::shutdown(descriptor_, SHUT_RDWR); }

void TCPConnection::reset() noexcept {
  // Dissolving the association sends the reset and leaves the descriptor, which other threads may be using.
  sockaddr nobody{};
  nobody.sa_family = AF_UNSPEC;
  ::connect(descriptor_, &nobody, sizeof nobody);
}

TCPListener::TCPListener(std::uint16_t port) {
  const auto fail = [&](int code) {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (wake_ >= 0) ::close(wake_);
    throw Error("Can't listen on port " + std::to_string(port) +
                " of 127.0.0.1: " + std::generic_category().message(code));
  };
  descriptor_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor_ < 0) fail(errno);
  wake_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wake_ < 0) fail(errno);
  const int on = 1;
  ::setsockopt(descriptor_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address = loopback(port);
  socklen_t length = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (::bind(descriptor_, generic, length) != 0) fail(errno);
  if (::listen(descriptor_, backlog) != 0) fail(errno);
  if (::getsockname(descriptor_, generic, &length) != 0) fail(errno);
  port_ = ntohs(address.sin_port);
}

TCPListener::~TCPListener() {
  ::close(descriptor_);
  ::close(wake_);
}

std::unique_ptr<TCPConnection> TCPListener::accept() {
  while (waitReadable(descriptor_, wake_, -1)) {
    const int accepted = ::accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC);
    if (accepted >= 0) {
      const int on = 1;
      ::setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
      return std::make_unique<TCPConnection>(accepted);
    }
    // The connection stays in the backlog, so the listener stays readable: without a pause this would spin.
    if (isOutOfResources(errno)) waitReadable(-1, wake_, outOfResourcesPauseMilliseconds);
  }
  return nullptr;
}

void TCPListener::close() noexcept {
  const std::uint64_t one = 1;
  // The event is never taken back, so every later `accept` ends at once too.
  [[maybe_unused]] const ssize_t written = ::write(wake_, &one, sizeof one);
  ::shutdown(descriptor_, SHUT_RDWR);
}

}  // namespace platform
