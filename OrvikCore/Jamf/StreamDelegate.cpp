#include "OrvikCore/Jamf/StreamDelegate.h"

#include <exception>
#include <utility>

namespace orvik {

bool StreamDelegate::receivedHead(platform::HTTPResponse head) {
  return continuation.push(Response{std::move(head)}, 0);
}

bool StreamDelegate::receivedBytes(platform::Bytes chunk) {
  const auto weight = chunk.size();
  return continuation.push(Data{std::move(chunk)}, weight);
}

void StreamDelegate::ended(std::optional<platform::HTTPError> failure) noexcept {
  continuation.finish(failure ? std::make_exception_ptr(std::move(*failure)) : nullptr);
}

}  // namespace orvik
