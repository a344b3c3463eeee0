#include "Platform/HTTP/HTTPLoop.h"

#include <curl/curl.h>
#include <pthread.h>

#include <algorithm>
#include <csignal>
#include <utility>

#include "Platform/HTTP/HTTPStreaming.h"

namespace platform {

namespace {

/// Polling ends at least that often; nothing depends on it.
constexpr std::chrono::milliseconds longestSleep{60'000};
constexpr std::size_t mostSpareHandles = 64;

void initialiseLibrary() {
  static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (result != CURLE_OK) throw Error("The HTTP library can't be initialised");
}

/// TLS writes to its socket with plain system calls; a peer that has gone must not end the process.
void blockBrokenPipeSignal() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

curl_slist* connectToLines(const HTTPSessionConfiguration& configuration) {
  curl_slist* lines = nullptr;
  for (const auto& [from, to] : configuration.connectTo)
    lines = curl_slist_append(lines, (from + ":" + to).c_str());
  return lines;
}

}  // namespace

HTTPSession::Loop::Loop(HTTPSessionConfiguration configuration) : configuration_(std::move(configuration)) {
  initialiseLibrary();
  multi_ = curl_multi_init();
  CURLSH* const share = curl_share_init();
  if (!multi_ || !share) {
    curl_multi_cleanup(multi_);
    curl_share_cleanup(share);
    throw Error("No memory for an HTTP session");
  }
  curl_multi_setopt(multi_, CURLMOPT_MAX_HOST_CONNECTIONS, configuration_.maxConnectionsPerHost);
  // By itself the library keeps fewer connections the fewer transfers run at the moment.
  curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, std::max(16L, 2 * configuration_.maxConnectionsPerHost));
  // The share needs no locks: only the loop's thread uses it.
  curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
  curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  settings_ = {&configuration_, share, connectToLines(configuration_)};
  thread_ = std::jthread([this] { run(); });
}

HTTPSession::Loop::~Loop() {
  Orders change;
  change.ending = true;
  give(std::move(change));
  thread_.join();
  for (void* const handle : spareHandles_) curl_easy_cleanup(handle);
  curl_multi_cleanup(multi_);
  curl_share_cleanup(static_cast<CURLSH*>(settings_.share));
  curl_slist_free_all(static_cast<curl_slist*>(settings_.connectToLines));
}

void HTTPSession::Loop::submit(Transfer transfer) {
  if (configuration_.mostIdleTimeout.count() > 0)
    transfer->request.idleTimeout = std::min(transfer->request.idleTimeout, configuration_.mostIdleTimeout);
  Orders change;
  change.submitted.push_back(std::move(transfer));
  give(std::move(change));
}

void HTTPSession::Loop::cancel(Transfer transfer) {
  Orders change;
  change.cancelled.push_back(std::move(transfer));
  give(std::move(change));
}

void HTTPSession::Loop::give(Orders&& change) {
  bool wake = false;
  {
    std::lock_guard lock(mutex_);
    std::move(change.submitted.begin(), change.submitted.end(), std::back_inserter(orders_.submitted));
    std::move(change.cancelled.begin(), change.cancelled.end(), std::back_inserter(orders_.cancelled));
    orders_.ending = orders_.ending || change.ending;
    wake = std::exchange(orders_.asleep, false);
  }
  if (wake) curl_multi_wakeup(multi_);
}

void HTTPSession::Loop::run() {
  blockBrokenPipeSignal();
  now_ = MonotonicClock::now();
  while (obey()) {
    int running = 0;
    curl_multi_perform(multi_, &running);
    passOn();
    endFinished();
    endOverdue();
    sleepUntilSomethingHappens();
    now_ = MonotonicClock::now();
  }
  while (!active_.empty()) {
    active_.back()->failure = detail::cancelledError(*active_.back());
    end(active_.back());
  }
}

bool HTTPSession::Loop::obey() {
  {
    std::lock_guard lock(mutex_);
    orders_.asleep = false;
    std::swap(orders_.submitted, taken_.submitted);
    std::swap(orders_.cancelled, taken_.cancelled);
    taken_.ending = orders_.ending;
  }
  for (Transfer& transfer : taken_.submitted) start(std::move(transfer));
  for (Transfer& transfer : taken_.cancelled) {
    if (!transfer->handle) continue;  // it has ended meanwhile
    transfer->failure = detail::cancelledError(*transfer);
    end(std::move(transfer));
  }
  taken_.submitted.clear();
  taken_.cancelled.clear();
  return !taken_.ending;
}

void HTTPSession::Loop::start(Transfer transfer) {
  if (spareHandles_.empty()) {
    transfer->handle = curl_easy_init();
  } else {
    transfer->handle = spareHandles_.back();
    spareHandles_.pop_back();
  }
  transfer->now = &now_;
  transfer->submitted = transfer->lastActivity = now_;
  transfer->slot = active_.size();
  active_.push_back(transfer);
  if (transfer->delegate) ++streamed_;
  const bool prepared = transfer->handle && detail::prepare(*transfer, settings_);
  if (!prepared || curl_multi_add_handle(multi_, transfer->handle) != CURLM_OK) {
    if (!transfer->failure) transfer->failure.emplace(HTTPErrorKind::other, "No memory for an HTTP request");
    end(std::move(transfer));
    return;
  }
  nextDeadline_ = std::min(nextDeadline_, now_ + transfer->request.idleTimeout);
  if (configuration_.totalTimeout.count() > 0)
    nextDeadline_ = std::min(nextDeadline_, now_ + configuration_.totalTimeout);
}

void HTTPSession::Loop::end(Transfer transfer) {
  if (transfer->handle) {
    curl_multi_remove_handle(multi_, transfer->handle);
    curl_easy_setopt(transfer->handle, CURLOPT_COOKIEFILE, nullptr);  // a reset alone would leak its list
    curl_easy_reset(transfer->handle);                                // it points into the transfer
    if (spareHandles_.size() < mostSpareHandles)
      spareHandles_.push_back(transfer->handle);
    else
      curl_easy_cleanup(transfer->handle);
  }
  curl_slist_free_all(static_cast<curl_slist*>(std::exchange(transfer->headerLines, nullptr)));
  transfer->handle = nullptr;
  std::swap(active_[transfer->slot], active_.back());
  active_[transfer->slot]->slot = transfer->slot;
  active_.pop_back();
  if (transfer->delegate) --streamed_;
  transfer->finish();
}

void HTTPSession::Loop::passOn() {
  if (streamed_ == 0) return;
  for (std::size_t i = 0; i < active_.size();) {
    const Transfer transfer = active_[i];
    if (!transfer->delegate || detail::passBytesOn(*transfer))
      ++i;
    else
      end(transfer);
  }
}

void HTTPSession::Loop::endFinished() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    detail::HTTPTransfer* transfer = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
    detail::conclude(*transfer, code);
    end(active_[transfer->slot]);
  }
}

MonotonicTime HTTPSession::Loop::deadlineOf(const detail::HTTPTransfer& transfer) const {
  // While it waits for a free connection the transfer's idle time has not begun.
  const MonotonicTime idle = (transfer.started ? transfer.lastActivity : now_) + transfer.request.idleTimeout;
  if (configuration_.totalTimeout.count() <= 0) return idle;
  return std::min(idle, transfer.submitted + configuration_.totalTimeout);
}

void HTTPSession::Loop::endOverdue() {
  if (now_ < nextDeadline_) return;
  nextDeadline_ = MonotonicTime::max();
  for (std::size_t i = 0; i < active_.size();) {
    const Transfer transfer = active_[i];
    const MonotonicTime deadline = deadlineOf(*transfer);
    if (deadline > now_) {
      nextDeadline_ = std::min(nextDeadline_, deadline);
      ++i;
      continue;
    }
    const bool total =
        configuration_.totalTimeout.count() > 0 && transfer->submitted + configuration_.totalTimeout <= now_;
    transfer->failure = total ? detail::totalTimeError(*transfer) : detail::idleError(*transfer);
    end(transfer);
  }
}

void HTTPSession::Loop::sleepUntilSomethingHappens() {
  {
    std::lock_guard lock(mutex_);
    if (!orders_.empty()) return;
    orders_.asleep = true;
  }
  auto pause = longestSleep;
  if (nextDeadline_ != MonotonicTime::max())
    pause = std::clamp(std::chrono::ceil<std::chrono::milliseconds>(nextDeadline_ - MonotonicClock::now()),
                       std::chrono::milliseconds(0), longestSleep);
  curl_multi_poll(multi_, nullptr, 0, static_cast<int>(pause.count()), nullptr);
}

}  // namespace platform
