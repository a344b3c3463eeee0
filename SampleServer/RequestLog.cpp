#include "SampleServer/RequestLog.h"

namespace sample {

std::uint64_t RequestLog::begin(std::string_view method, std::string_view path) {
  const int now = ++inFlight_;
  int highest = maxInFlight_;
  while (now > highest && !maxInFlight_.compare_exchange_weak(highest, now)) {
  }
  if (method != "GET") ++notGet_;
  if (detail_.load() != LogDetail::totals) {
    std::lock_guard lock(mutex_);
    const auto found = counts_.find(path);
    if (found != counts_.end()) {
      ++found->second;
    } else {
      counts_.emplace(path, 1);
    }
  }
  return ++total_;
}

void RequestLog::end(std::function<LoggedRequest()> entry) {
  if (detail_.load() == LogDetail::all) {
    LoggedRequest made = entry();
    std::lock_guard lock(mutex_);
    entries_.push_back(std::move(made));
  }
  --inFlight_;
}

std::uint64_t RequestLog::count(std::string_view path) const {
  std::lock_guard lock(mutex_);
  const auto found = counts_.find(path);
  return found == counts_.end() ? 0 : found->second;
}

std::vector<LoggedRequest> RequestLog::entries() const {
  std::lock_guard lock(mutex_);
  return entries_;
}

void RequestLog::clear() {
  std::lock_guard lock(mutex_);
  counts_.clear();
  entries_.clear();
  total_ = 0;
  notGet_ = 0;
  maxInFlight_ = inFlight_.load();
}

}  // namespace sample
