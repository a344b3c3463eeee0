#include "Platform/TCP/SocketLoop.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Concurrency/Thread.h"
#include "Platform/Error.h"
#include "Platform/Files/Descriptor.h"
#include "Platform/TCP/LoopbackSocket.h"

namespace platform {

namespace {

using files::Descriptor;
using Deadline = std::pair<MonotonicTime, SocketLoop::ID>;

constexpr std::chrono::milliseconds drainTime{2000};
constexpr std::chrono::milliseconds outOfResourcesPause{10};
/// Connections that are accepted before the others get their turn.
constexpr int acceptedAtOnce = 64;

// What an event belongs to; connections count from there.
constexpr SocketLoop::ID wakeID = 0;
constexpr SocketLoop::ID listenerID = 1;
constexpr SocketLoop::ID firstID = 2;

enum class Phase { reading, held, answering, draining };

struct Connection {
  Descriptor socket;
  Phase phase = Phase::reading;
  bool hasReceived = false;
  Bytes answer;
  std::size_t sent = 0;
  MonotonicTime since;  ///< of the phase
  std::optional<MonotonicTime> deadline;
};

}  // namespace

class SocketLoop::State {
 public:
  State(const std::string& name, Events events, Limits limits)
      : events_(std::move(events)),
        limits_(limits),
        poller_(::epoll_create1(EPOLL_CLOEXEC)),
        wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!poller_.isOpen() || !wake_.isOpen() || !watch(EPOLL_CTL_ADD, wake_, EPOLLIN, wakeID))
      throw Error("Can't watch connections: " + std::generic_category().message(errno));
    thread_ = std::jthread([this, name](const std::stop_token& stop) {
      nameThisThread(name);
      while (!stop.stop_requested()) turn();
      while (!connections_.empty()) drop(connections_.begin()->first);
    });
  }

  ~State() {
    thread_.request_stop();
    wake();
    thread_.join();
  }

  void post(std::function<void(State&)> work) {
    if (std::this_thread::get_id() == thread_.get_id()) {
      work(*this);
      return;
    }
    bool isFirst = false;
    {
      const std::lock_guard lock(mutex_);
      isFirst = posted_.empty();
      posted_.push_back(std::move(work));
    }
    if (isFirst) wake();
  }

  // All that follows runs on the loop's thread.

  void listen(Descriptor socket) {
    listener_ = std::move(socket);
    isAccepting_ = watch(EPOLL_CTL_ADD, listener_, EPOLLIN, listenerID);
  }

  void stopListening() {
    listener_ = Descriptor();  // which ends that it is watched
    isAccepting_ = false;
    pausedUntil_.reset();
  }

  void hold(ID id) {
    const auto found = connections_.find(id);
    if (found == connections_.end() || found->second.phase != Phase::reading) return;
    enter(id, found->second, Phase::held, std::nullopt);
    watch(EPOLL_CTL_MOD, found->second.socket, 0, id);
  }

  void answer(ID id, Bytes bytes) {
    const auto found = connections_.find(id);
    if (found == connections_.end() || found->second.phase > Phase::held) return;
    auto& connection = found->second;
    connection.answer = std::move(bytes);
    enter(id, connection, Phase::answering, limits_.patience);
    send(id, connection);
  }

  void drop(ID id) {
    const auto found = connections_.find(id);
    if (found == connections_.end()) return;
    forgetDeadline(id, found->second);
    const bool isKnown = found->second.hasReceived;
    connections_.erase(found);
    if (isKnown) events_.closed(id);
    acceptAgain();
  }

 private:
  /// False where the system has no room for one more; changing what is watched always succeeds.
  bool watch(int operation, const Descriptor& descriptor, std::uint32_t events, ID id) {
    epoll_event event{};
    event.events = events;
    event.data.u64 = id;
    return ::epoll_ctl(poller_.number(), operation, descriptor.number(), &event) == 0;
  }

  void wake() noexcept {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wake_.number(), &one, sizeof one);
  }

  /// Waits for something to do, and does it.
  void turn() {
    std::array<epoll_event, 256> arrived{};
    const int count =
        ::epoll_wait(poller_.number(), arrived.data(), static_cast<int>(arrived.size()), timeout());
    bool hasNewcomers = false;
    for (int i = 0; i < count; ++i) {
      const auto& event = arrived[static_cast<std::size_t>(i)];
      if (event.data.u64 == wakeID) {
        runPosted();
      } else if (event.data.u64 == listenerID) {
        hasNewcomers = true;  // last: what is answered or gone by now makes room
      } else {
        serve(event.data.u64, event.events);
      }
    }
    endOverdue();
    if (hasNewcomers) acceptNewcomers();
  }

  /// Milliseconds until the first deadline, rounded up; -1 for none.
  int timeout() const {
    std::optional<MonotonicTime> first;
    if (!deadlines_.empty()) first = deadlines_.begin()->first;
    if (pausedUntil_ && (!first || *pausedUntil_ < *first)) first = pausedUntil_;
    if (!first) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*first - MonotonicClock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000));
  }

  void runPosted() {
    std::uint64_t ignored = 0;
    [[maybe_unused]] const ssize_t count = ::read(wake_.number(), &ignored, sizeof ignored);
    std::vector<std::function<void(State&)>> posted;
    {
      const std::lock_guard lock(mutex_);
      posted.swap(posted_);
    }
    for (const auto& work : posted) work(*this);
  }

  void serve(ID id, std::uint32_t events) {
    const auto found = connections_.find(id);
    if (found == connections_.end()) return;  // gone since
    auto& connection = found->second;
    switch (connection.phase) {
      case Phase::reading:
        read(id, connection);
        break;
      case Phase::held:
        // Nothing is asked for, so this is the peer's reset: there is nobody left to answer.
        if (events & (EPOLLERR | EPOLLHUP)) drop(id);
        break;
      case Phase::answering:
        send(id, connection);
        break;
      case Phase::draining:
        drain(id, connection);
        break;
    }
  }

  /// The count of bytes that were read; 0 at the end and on a failure, nothing when there are none yet.
  std::optional<std::size_t> receive(const Connection& connection) {
    while (true) {
      const ssize_t count = ::recv(connection.socket.number(), buffer_.data(), buffer_.size(), 0);
      if (count >= 0) return static_cast<std::size_t>(count);
      if (errno == EAGAIN || errno == EWOULDBLOCK) return std::nullopt;
      if (errno != EINTR) return 0;
    }
  }

  void read(ID id, Connection& connection) {
    const auto count = receive(connection);
    if (!count) return;
    if (*count == 0) {
      drop(id);
      return;
    }
    connection.hasReceived = true;
    events_.received(id, std::string_view(buffer_.data(), *count));
  }

  void send(ID id, Connection& connection) {
    while (connection.sent < connection.answer.size()) {
      const ssize_t count = ::send(connection.socket.number(), connection.answer.data() + connection.sent,
                                   connection.answer.size() - connection.sent, MSG_NOSIGNAL);
      if (count >= 0) {
        connection.sent += static_cast<std::size_t>(count);
      } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
        watch(EPOLL_CTL_MOD, connection.socket, EPOLLOUT, id);
        return;
      } else if (errno != EINTR) {
        drop(id);
        return;
      }
    }
    Bytes().swap(connection.answer);
    ::shutdown(connection.socket.number(), SHUT_WR);
    enter(id, connection, Phase::draining, drainTime);
    watch(EPOLL_CTL_MOD, connection.socket, EPOLLIN, id);
    acceptAgain();  // its place can be had
  }

  void drain(ID id, const Connection& connection) {
    if (const auto count = receive(connection); count && *count == 0) drop(id);
  }

  void enter(ID id, Connection& connection, Phase phase, std::optional<Duration> patience) {
    forgetDeadline(id, connection);
    connection.phase = phase;
    connection.since = MonotonicClock::now();
    if (!patience) return;
    connection.deadline = connection.since + *patience;
    deadlines_.emplace(*connection.deadline, id);
  }

  void forgetDeadline(ID id, Connection& connection) {
    if (const auto deadline = std::exchange(connection.deadline, std::nullopt))
      deadlines_.erase({*deadline, id});
  }

  void endOverdue() {
    const auto now = MonotonicClock::now();
    while (!deadlines_.empty() && deadlines_.begin()->first <= now) drop(deadlines_.begin()->second);
    if (pausedUntil_ && *pausedUntil_ <= now) acceptAgain();
  }

  void acceptAgain() {
    if (isAccepting_ || !listener_.isOpen()) return;
    pausedUntil_.reset();
    isAccepting_ = true;
    watch(EPOLL_CTL_MOD, listener_, EPOLLIN, listenerID);
  }

  void pauseAccepting(std::optional<MonotonicTime> until) {
    isAccepting_ = false;
    pausedUntil_ = until;
    watch(EPOLL_CTL_MOD, listener_, 0, listenerID);
  }

  void acceptNewcomers() {
    for (int accepted = 0; accepted < acceptedAtOnce && isAccepting_ && hasRoom(); ++accepted) {
      Descriptor socket(::accept4(listener_.number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
      if (!socket.isOpen()) {
        // The connection stays in the backlog, so the listener stays readable: without a pause this would
        // spin.
        if (detail::isOutOfResources(errno)) pauseAccepting(MonotonicClock::now() + outOfResourcesPause);
        return;
      }
      if (isFull()) makeRoom();
      add(std::move(socket));
    }
  }

  bool isFull() const { return limits_.connections && connections_.size() >= *limits_.connections; }

  /// Whether one more may come, in the place of another if need be; else accepting pauses until one may.
  bool hasRoom() {
    if (!isFull()) return true;
    const auto victim = mostDispensable();
    const auto now = MonotonicClock::now();
    if (victim && (victim->second.phase == Phase::draining || now < crowdedUntil_ ||
                   victim->second.since + limits_.grace <= now))
      return true;
    pauseAccepting(victim ? std::optional(victim->second.since + limits_.grace) : std::nullopt);
    return false;
  }

  void makeRoom() {
    const auto victim = mostDispensable();
    if (victim->second.phase == Phase::reading) crowdedUntil_ = MonotonicClock::now() + limits_.grace;
    drop(victim->first);
  }

  void add(Descriptor socket) {
    const int on = 1;
    ::setsockopt(socket.number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const ID id = next_++;
    auto& connection = connections_[id];
    connection.socket = std::move(socket);
    enter(id, connection, Phase::reading, limits_.patience);
    if (watch(EPOLL_CTL_ADD, connection.socket, EPOLLIN, id))
      read(id, connection);  // mostly the request is there already
    else
      drop(id);
  }

  /// The connection whose place a new one may have; null for none.
  const std::pair<const ID, Connection>* mostDispensable() const {
    const auto rank = [](const Connection& connection) {
      return std::pair{connection.phase != Phase::draining, connection.since};
    };
    const std::pair<const ID, Connection>* best = nullptr;
    for (const auto& each : connections_)
      if (each.second.phase == Phase::reading || each.second.phase == Phase::draining)
        if (!best || rank(each.second) < rank(best->second)) best = &each;
    return best;
  }

  const Events events_;
  const Limits limits_;
  const Descriptor poller_;
  const Descriptor wake_;

  std::mutex mutex_;  // guards what follows
  std::vector<std::function<void(State&)>> posted_;

  // Of the loop's thread.
  Descriptor listener_;
  bool isAccepting_ = false;
  std::optional<MonotonicTime> pausedUntil_;
  MonotonicTime crowdedUntil_;  ///< till then nobody is given time to begin
  ID next_ = firstID;
  std::unordered_map<ID, Connection> connections_;
  std::set<Deadline> deadlines_;
  Bytes buffer_ = Bytes(readSize, '\0');

  std::jthread thread_;  // last, so that it finds the rest made
};

SocketLoop::SocketLoop(const std::string& name, Events events, Limits limits)
    : state_(std::make_unique<State>(name, std::move(events), limits)) {}

SocketLoop::~SocketLoop() = default;

std::uint16_t SocketLoop::listen(std::uint16_t port) {
  const auto socket = std::make_shared<Descriptor>(detail::listenOnLoopback(port));
  state_->post([socket](State& state) { state.listen(std::move(*socket)); });
  return port;
}

void SocketLoop::stopListening() {
  state_->post([](State& state) { state.stopListening(); });
}

void SocketLoop::hold(ID connection) {
  state_->post([connection](State& state) { state.hold(connection); });
}

void SocketLoop::answer(ID connection, Bytes bytes) {
  state_->post([connection, kept = std::make_shared<Bytes>(std::move(bytes))](State& state) {
    state.answer(connection, std::move(*kept));
  });
}

void SocketLoop::close(ID connection) {
  state_->post([connection](State& state) { state.drop(connection); });
}

}  // namespace platform
