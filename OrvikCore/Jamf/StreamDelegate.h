#pragma once

#include <cstddef>
#include <optional>
#include <variant>

#include "Platform/Bytes.h"
#include "Platform/Concurrency/BoundedStream.h"
#include "Platform/HTTP/HTTPSession.h"

namespace orvik {

/// Turns what a session reports of one transfer into one ordered stream of events. It ends with the transfer,
/// by throwing its `platform::HTTPError` when it has one.
///
/// The stream is bounded: a disk slower than the network holds the network back instead of filling the
/// memory. So it wants a session of its own, and `events` has to be closed before that session goes.
class StreamDelegate final : public platform::HTTPStreamDelegate {
 public:
  struct Response {
    platform::HTTPResponse head;
  };
  struct Data {
    platform::Bytes chunk;
  };
  using Event = std::variant<Response, Data>;

  /// Bytes of chunks that wait for the reader at the most.
  static constexpr std::size_t mostWaiting = 8 << 20;

  StreamDelegate() : StreamDelegate(platform::BoundedStream<Event>(mostWaiting)) {}

  platform::StreamReader<Event> events;        ///< for the thread that writes to the disk
  platform::StreamWriter<Event> continuation;  ///< for the session's thread

  bool receivedHead(platform::HTTPResponse head) override;
  bool receivedBytes(platform::Bytes chunk) override;
  void ended(std::optional<platform::HTTPError> failure) noexcept override;

 private:
  explicit StreamDelegate(platform::BoundedStream<Event> stream)
      : events(std::move(stream.reader)), continuation(std::move(stream.writer)) {}
};

}  // namespace orvik
