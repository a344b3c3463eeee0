#include "Platform/TCP/LoopbackSocket.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "Platform/Error.h"

namespace platform::detail {

int listenOnLoopback(std::uint16_t& port) {
  constexpr int backlog = 512;
  const int made = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const int on = 1;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (made < 0 || ::setsockopt(made, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
      ::bind(made, generic, length) != 0 || ::listen(made, backlog) != 0 ||
      ::getsockname(made, generic, &length) != 0) {
    const int code = errno;
    if (made >= 0) ::close(made);
    throw Error("Can't listen on port " + std::to_string(port) +
                " of 127.0.0.1: " + std::generic_category().message(code));
  }
  port = ntohs(address.sin_port);
  return made;
}

bool isOutOfResources(int errorNumber) noexcept {
  return errorNumber == EMFILE || errorNumber == ENFILE || errorNumber == ENOBUFS || errorNumber == ENOMEM;
}

}  // namespace platform::detail
