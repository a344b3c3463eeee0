#include "Platform/Terminal/LineInput.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Error.h"
#include "Platform/Files/Descriptor.h"

namespace platform {

namespace {

/// A descriptor that becomes readable when a stop is requested.
class StopEvent {
 public:
  explicit StopEvent(const std::stop_token& stop)
      : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), callback_(stop, Raise{event_.number()}) {}

  int descriptor() const { return event_.number(); }

 private:
  struct Raise {
    int descriptor;
    void operator()() const {
      const std::uint64_t one = 1;
      [[maybe_unused]] const ssize_t written = ::write(descriptor, &one, sizeof one);
    }
  };

  const files::Descriptor event_;
  const std::stop_callback<Raise>
      callback_;  // last, so that it goes first and no stop finds the event closed
};

}  // namespace

std::optional<LineInput::Line> LineInput::next(const std::stop_token& stop) {
  while (true) {
    const auto end = buffer_.find('\n', searched_);
    if (end != buffer_.npos) {
      Line line{buffer_.substr(0, end), std::exchange(isSkipping_, false) || end > limit_};
      if (line.isTooLong) line.text.clear();
      buffer_.erase(0, end + 1);
      searched_ = 0;
      return line;
    }
    if (isAtEnd_) {
      if (buffer_.empty() && !isSkipping_) return std::nullopt;
      Line line{std::exchange(buffer_, {}), std::exchange(isSkipping_, false)};
      searched_ = 0;
      return line;
    }
    searched_ = buffer_.size();
    if (searched_ > limit_) {
      isSkipping_ = true;
      buffer_.clear();
      searched_ = 0;
    }
    isAtEnd_ = !fill(stop);
  }
}

bool LineInput::fill(const std::stop_token& stop) {
  const StopEvent stopped(stop);
  std::array<char, 65536> piece;
  while (true) {
    throwIfCancelled(stop);
    std::array<pollfd, 2> watched{pollfd{stopped.descriptor(), POLLIN, 0}, pollfd{descriptor_, POLLIN, 0}};
    if (::poll(watched.data(), watched.size(), -1) < 0) {
      if (errno == EINTR) continue;
      throw Error(std::string("Can't wait for input: ") + std::strerror(errno));
    }
    if (watched[1].revents == 0) continue;
    const ssize_t count = ::read(descriptor_, piece.data(), piece.size());
    if (count < 0 && errno != EINTR && errno != EAGAIN)
      throw Error(std::string("Can't read the input: ") + std::strerror(errno));
    if (count < 0) continue;
    buffer_.append(piece.data(), static_cast<std::size_t>(count));
    return count > 0;
  }
}

}  // namespace platform
