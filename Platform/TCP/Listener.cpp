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
#include "Platform/TCP/LoopbackSocket.h"

namespace platform {

namespace {

constexpr std::size_t readBlock = 65536;
constexpr int outOfResourcesPauseMilliseconds = 10;

/// Waits for one of the two; true when it is `descriptor` and not `wake`.
bool waitReadable(int descriptor, int wake, int timeoutMilliseconds) {
  std::array<pollfd, 2> watched{pollfd{wake, POLLIN, 0}, pollfd{descriptor, POLLIN, 0}};
  while (::poll(watched.data(), watched.size(), timeoutMilliseconds) < 0 && errno == EINTR) {
  }
  return watched[0].revents == 0;
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

TCPListener::TCPListener(std::uint16_t port) : port_(port) {
  descriptor_ = detail::listenOnLoopback(port_);
  wake_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wake_ >= 0) return;
  const int code = errno;
  ::close(descriptor_);
  throw Error("Can't make an event for a listener: " + std::generic_category().message(code));
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
    if (detail::isOutOfResources(errno)) waitReadable(-1, wake_, outOfResourcesPauseMilliseconds);
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
