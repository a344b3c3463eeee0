#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Platform/Bytes.h"

namespace platform {

/// A server's connections on 127.0.0.1, each for one request and one answer, all moved by one thread that
/// never waits for any of them.
///
/// A connection is read until the application holds it, then left alone until it is answered. The answer is
/// followed by the end of this side's stream; what the peer still sends is read for a moment and thrown away,
/// because closing a socket with unread input resets it, and the reset can overtake the answer.
///
/// Every function may be called on any thread. One for a connection that is gone does nothing.
class SocketLoop {
 public:
  /// Of a connection; never used again.
  using ID = std::uint64_t;
  using Duration = std::chrono::steady_clock::duration;

  /// Called on the loop's thread, one at a time. None may wait or throw.
  struct Events {
    /// Bytes have arrived, at least one and at most `readSize`. They are gone after the call.
    std::function<void(ID, std::string_view content)> received;
    /// The connection is gone, for whatever reason: called once for each that received something.
    std::function<void(ID)> closed;
  };

  struct Limits {
    /// Places for connections; none for any number. When all are taken, a new one gets the place of one that
    /// was answered, or else of the one that has waited longest without being held; where there is none such,
    /// it waits to be accepted.
    std::optional<std::size_t> connections;
    /// How long a connection may take until it is held, and then for taking in the answer; none for ever.
    std::optional<Duration> patience;
    /// How long a connection keeps its place in any case, so that many clients that come at once are not cut
    /// before they could send anything. Who is cut after that was not about to, and for as long again the
    /// rest is given no time: whoever takes all places and is silent holds the others up once.
    Duration grace{0};
  };

  static constexpr std::size_t readSize = 1048576;

  /// Starts the thread, which debuggers show under that name.
  SocketLoop(const std::string& name, Events events, Limits limits);
  SocketLoop(const std::string& name, Events events) : SocketLoop(name, std::move(events), Limits()) {}
  /// Cuts all connections.
  ~SocketLoop();
  SocketLoop(const SocketLoop&) = delete;
  SocketLoop& operator=(const SocketLoop&) = delete;

  /// Begins to accept connections, in place of what it listened on before; port 0 takes a free one. Gives the
  /// port. Throws `Error` that names it.
  std::uint16_t listen(std::uint16_t port);
  /// Ends that. Connections go on.
  void stopListening();

  /// Stops reading: the application has what it needs.
  void hold(ID connection);
  /// Sends all of it and ends the connection.
  void answer(ID connection, Bytes bytes);
  /// Ends the connection without an answer.
  void close(ID connection);

 private:
  class State;
  std::unique_ptr<State> state_;
};

}  // namespace platform
