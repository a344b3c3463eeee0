#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>

#include "Platform/TCP/Listener.h"
#include "SampleServer/Exchange.h"

namespace sample {

/// The sockets of a server while it runs: an accepting thread, and one thread for each connection, which
/// serves request after request until either side ends it. The destructor cuts all connections and joins all
/// threads.
class Connections {
 public:
  /// Throws `platform::Error` when the port can't be had.
  Connections(std::uint16_t port, Exchange& exchange);
  ~Connections();
  Connections(const Connections&) = delete;
  Connections& operator=(const Connections&) = delete;

  std::uint16_t port() const { return listener_.port(); }

 private:
  class Session;

  void acceptAll();

  platform::TCPListener listener_;
  Exchange& exchange_;
  std::stop_source stop_;                         // ends delays and hangs
  std::list<std::unique_ptr<Session>> sessions_;  // of the accepting thread, then of the destructor
  std::thread acceptor_;
};

}  // namespace sample
