#include "bench/HTTPLoad.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

int connected(std::uint16_t port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int result = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  if (socket < 0 || (result != 0 && errno != EINPROGRESS)) throw std::runtime_error("can't connect");
  return socket;
}

/// Nothing for an answer without status 200.
std::string_view bodyOf(std::string_view answer) {
  constexpr std::string_view separator = "\r\n\r\n";
  const auto end = answer.find(separator);
  if (!answer.starts_with("HTTP/1.1 200 ") || end == answer.npos) return {};
  return answer.substr(end + separator.size());
}

struct Client {
  int socket = -1;
  std::size_t sent = 0;
  std::string answer;
  Clock::time_point begin;
};

class Run {
 public:
  explicit Run(const HTTPLoad& load) : load_(load), clients_(std::min(load.clients, load.count)) {
    result_.latencies.reserve(load.count);
  }
  ~Run() {
    for (const auto& client : clients_)
      if (client.socket >= 0) ::close(client.socket);
    ::close(poller_);
  }

  HTTPLoadResult toTheEnd() {
    const auto begin = Clock::now();
    for (auto& client : clients_) start(client);
    std::array<epoll_event, 256> events{};
    while (result_.latencies.size() + result_.failures < load_.count) {
      const int count = ::epoll_wait(poller_, events.data(), static_cast<int>(events.size()), 30'000);
      if (count == 0) throw std::runtime_error("the server does not answer");
      for (int i = 0; i < count; ++i)
        advance(*static_cast<Client*>(events[static_cast<std::size_t>(i)].data.ptr));
    }
    result_.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    std::ranges::sort(result_.latencies);
    return std::move(result_);
  }

 private:
  void start(Client& client) {
    client.sent = 0;
    client.answer.clear();
    client.begin = Clock::now();
    client.socket = connected(load_.port);
    ++started_;
    epoll_event event{};
    event.events = EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET;
    event.data.ptr = &client;
    ::epoll_ctl(poller_, EPOLL_CTL_ADD, client.socket, &event);
    advance(client);
  }

  void advance(Client& client) {
    while (client.sent < load_.request.size()) {
      const auto count = ::send(client.socket, load_.request.data() + client.sent,
                                load_.request.size() - client.sent, MSG_NOSIGNAL);
      if (count < 0 && (errno == EAGAIN || errno == ENOTCONN)) return;
      if (count < 0) return end(client, false);
      client.sent += static_cast<std::size_t>(count);
    }
    while (true) {
      const auto count = ::recv(client.socket, buffer_.data(), buffer_.size(), 0);
      if (count < 0 && errno == EAGAIN) return;
      if (count <= 0) return end(client, count == 0 && bodyOf(client.answer) == load_.body);
      client.answer.append(buffer_.data(), static_cast<std::size_t>(count));
    }
  }

  void end(Client& client, bool isGood) {
    if (isGood)
      result_.latencies.push_back(std::chrono::duration<double>(Clock::now() - client.begin).count());
    else
      ++result_.failures;
    ::close(std::exchange(client.socket, -1));
    if (started_ < load_.count) start(client);
  }

  const HTTPLoad& load_;
  std::vector<Client> clients_;
  const int poller_ = ::epoll_create1(EPOLL_CLOEXEC);
  std::size_t started_ = 0;
  std::array<char, 65536> buffer_{};
  HTTPLoadResult result_;
};

}  // namespace

double HTTPLoadResult::quantile(double share) const {
  const auto rank = std::ceil(share * static_cast<double>(latencies.size()));
  return latencies.at(static_cast<std::size_t>(std::max(rank, 1.0)) - 1);
}

HTTPLoadResult run(const HTTPLoad& load) { return Run(load).toTheEnd(); }

std::string bodyOfOne(std::uint16_t port, const std::string& request) {
  const int socket = connected(port);
  ::fcntl(socket, F_SETFL, 0);
  std::string answer;
  std::array<char, 65536> buffer;
  auto count = ::send(socket, request.data(), request.size(), MSG_NOSIGNAL);
  while ((count = ::recv(socket, buffer.data(), buffer.size(), 0)) > 0)
    answer.append(buffer.data(), static_cast<std::size_t>(count));
  ::close(socket);
  const auto body = bodyOf(answer);
  if (body.empty()) throw std::runtime_error("no good answer came: " + answer.substr(0, answer.find('\r')));
  return std::string(body);
}

}  // namespace bench
