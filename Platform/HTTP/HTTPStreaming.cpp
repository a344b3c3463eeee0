#include "Platform/HTTP/HTTPStreaming.h"

#include <curl/curl.h>

#include <exception>
#include <utility>

#include "Platform/HTTP/HTTPHandle.h"

namespace platform::detail {

namespace {

/// The library hands bytes out 16 KiB at a time; passing each on would cost two switches of threads.
constexpr std::size_t worthPassingOn = 128 << 10;

int statusOf(const HTTPTransfer& transfer) {
  long status = 0;
  curl_easy_getinfo(transfer.handle, CURLINFO_RESPONSE_CODE, &status);
  return static_cast<int>(status);
}

/// Asks the delegate, which may block for long; that is not the server's idleness.
template <class Question>
bool ask(HTTPTransfer& transfer, const Question& question) {
  bool goesOn = false;
  try {
    goesOn = question(*transfer.delegate);
  } catch (const std::exception&) {  // out of memory
  }
  transfer.lastActivity = MonotonicClock::now();
  if (!goesOn) transfer.failure.emplace(cancelledError(transfer));
  return goesOn;
}

}  // namespace

bool isFinalHead(const HTTPTransfer& transfer) {
  const int status = statusOf(transfer);
  if (status < 200) return false;
  if (status < 300 || status > 399 || !followsRedirects(transfer.request)) return true;
  const auto location = transfer.response.header("Location");
  return !location || location->empty();
}

bool passHeadOn(HTTPTransfer& transfer) {
  if (std::exchange(transfer.headGiven, true)) return true;
  transfer.response.status = statusOf(transfer);
  return ask(transfer, [&](auto& to) { return to.receivedHead(std::exchange(transfer.response, {})); });
}

bool gather(HTTPTransfer& transfer, std::string_view bytes) {
  if (!passHeadOn(transfer)) return false;
  Bytes& gathered = transfer.response.body;
  if (gathered.empty()) gathered.reserve(worthPassingOn + bytes.size());
  gathered.append(bytes);
  return gathered.size() < worthPassingOn || passBytesOn(transfer);
}

bool passBytesOn(HTTPTransfer& transfer) {
  if (transfer.response.body.empty()) return true;
  return ask(transfer, [&](auto& to) { return to.receivedBytes(std::exchange(transfer.response.body, {})); });
}

}  // namespace platform::detail
