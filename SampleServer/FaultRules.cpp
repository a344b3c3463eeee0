#include "SampleServer/FaultRules.h"

#include <algorithm>

namespace sample {

bool matchesGlob(std::string_view pattern, std::string_view text) {
  std::size_t p = 0;
  std::size_t t = 0;
  std::size_t star = std::string_view::npos;
  std::size_t resume = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (p < pattern.size() && pattern[p] == text[t]) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

FaultAnswer FaultRule::tooManyRequests(std::optional<int> retryAfter) {
  FaultAnswer answer{.status = 429, .headers = {{"Content-Type", "application/json"}}};
  if (retryAfter) answer.headers.emplace_back("Retry-After", std::to_string(*retryAfter));
  answer.body = R"({"httpStatus":429,"errors":[]})";
  return answer;
}

FaultAnswer FaultRule::maintenance() {
  return {.status = 503,
          .headers = {{"Content-Type", "text/html;charset=UTF-8"}},
          .body =
              "<html><head><title>Maintenance</title></head><body><p>The server is starting "
              "up.</p></body></html>"};
}

int FaultRules::add(FaultRule rule) {
  if (rule.path.starts_with('/')) rule.path.erase(0, 1);
  std::lock_guard lock(mutex_);
  entries_.push_back({++last_, std::move(rule)});
  any_ = true;
  return last_;
}

void FaultRules::remove(int number) {
  std::lock_guard lock(mutex_);
  std::erase_if(entries_, [number](const Entry& entry) { return entry.number == number; });
  any_ = !entries_.empty();
}

void FaultRules::clear() {
  std::lock_guard lock(mutex_);
  entries_.clear();
  any_ = false;
}

std::optional<FaultAction> FaultRules::match(std::string_view method, std::string_view path,
                                             std::string_view query) {
  if (!any_.load(std::memory_order_relaxed)) return std::nullopt;
  const std::string whole = std::string(path) + "?" + std::string(query);
  std::lock_guard lock(mutex_);
  for (Entry& entry : entries_) {
    const FaultRule& rule = entry.rule;
    if (!rule.method.empty() && rule.method != method) continue;
    if (!matchesGlob(rule.path, rule.path.find('?') == std::string::npos ? path : whole)) continue;
    const int hit = entry.seen++ - rule.after;
    if (hit < 0 || (rule.times && hit >= *rule.times)) continue;
    return rule.action;
  }
  return std::nullopt;
}

}  // namespace sample
