#include "SampleServer/Connections.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "SampleServer/Answers.h"

namespace sample {
namespace {

std::string_view refusalTitle(int status) {
  switch (status) {
    case 413:
      return "Content Too Large";
    case 431:
      return "Request Header Fields Too Large";
    case 501:
      return "Not Implemented";
    default:
      return "Bad Request";
  }
}

}  // namespace

class Connections::Session {
 public:
  Session(std::unique_ptr<platform::TCPConnection> connection, Exchange& exchange, std::stop_token stop)
      : connection_(std::move(connection)),
        exchange_(exchange),
        stop_(std::move(stop)),
        thread_([this] { run(); }) {}

  ~Session() {
    cut(false);
    thread_.join();
  }

  bool finished() const { return finished_; }

  /// Ends the connection once, from any thread.
  void cut(bool reset) noexcept {
    std::lock_guard lock(mutex_);
    if (std::exchange(cut_, true)) return;
    if (reset) {
      connection_->reset();
    } else {
      connection_->shutdown();
    }
  }

 private:
  void run() {
    platform::Bytes buffer;
    RequestReader reader;
    Reply reply;
    bool open = true;
    while (open) {
      switch (reader.advance(buffer)) {
        case RequestReader::Progress::more:
          if (reader.takeContinue() && !connection_->write("HTTP/1.1 100 Continue\r\n\r\n")) open = false;
          open = open && connection_->read(buffer);
          break;
        case RequestReader::Progress::ready:
          exchange_.handle(reader.request(), stop_, reply);
          open = send(reply) && reply.ending == Reply::Ending::keep;
          reader.drop(buffer);
          break;
        case RequestReader::Progress::refused:
          refuse(reader.refusal());
          open = false;
          break;
      }
    }
    cut(reply.ending == Reply::Ending::reset);
    finished_ = true;
  }

  /// False when the peer has gone or the server stops.
  bool send(const Reply& reply) {
    if (!reply.wire.empty() && !connection_->write(reply.wire)) return false;
    if (!reply.stream) return true;
    constexpr std::int64_t blockSize = 65536;
    constexpr std::int64_t blocksASecond = 50;  // where the speed is limited
    platform::Bytes block;
    platform::MonotonicTime due = platform::MonotonicClock::now();
    for (std::int64_t sent = 0; sent < reply.stream->length;) {
      const std::int64_t rate = exchange_.downloadRate();
      const std::int64_t most =
          rate > 0 ? std::clamp<std::int64_t>(rate / blocksASecond, 1, blockSize) : blockSize;
      block.resize(static_cast<std::size_t>(std::min(most, reply.stream->length - sent)));
      reply.stream->fill(reply.stream->offset + sent, block);
      if (!connection_->write(block)) return false;
      sent += static_cast<std::int64_t>(block.size());
      if (rate <= 0) continue;
      const std::chrono::duration<double> pause(static_cast<double>(block.size()) /
                                                static_cast<double>(rate));
      due = std::max(due, platform::MonotonicClock::now()) +
            std::chrono::duration_cast<platform::MonotonicClock::duration>(pause);
      if (!platform::waitUntil(due, stop_)) return false;
    }
    return true;
  }

  void refuse(int status) {
    platform::Bytes wire;
    appendAnswer(wire, classicFailure(status, refusalTitle(status), "The request can't be read"), false);
    connection_->write(wire);
  }

  const std::unique_ptr<platform::TCPConnection> connection_;
  Exchange& exchange_;
  const std::stop_token stop_;
  std::atomic<bool> finished_ = false;

  std::mutex mutex_;  // guards what follows
  bool cut_ = false;

  std::thread thread_;  // last, so that it finds the rest made
};

Connections::Connections(std::uint16_t port, Exchange& exchange) : listener_(port), exchange_(exchange) {
  acceptor_ = std::thread([this] { acceptAll(); });
}

Connections::~Connections() {
  stop_.request_stop();
  listener_.close();
  acceptor_.join();
  // All are told before the first is waited for.
  for (const auto& session : sessions_) session->cut(false);
  sessions_.clear();
}

void Connections::acceptAll() {
  while (auto connection = listener_.accept()) {
    std::erase_if(sessions_, [](const auto& session) { return session->finished(); });
    sessions_.push_back(std::make_unique<Session>(std::move(connection), exchange_, stop_.get_token()));
  }
}

}  // namespace sample
