#include "TuvCore/CategorySink.h"

#include <mutex>

namespace tuv {

void CategorySink::write(const LogEvent& event) noexcept try {
  if (event.category != category_ || event.level < LogLevel::notice) return;
  std::lock_guard lock(mutex_);
  if (receive_ && told_.insert(event.message).second) receive_(event.message);
} catch (...) {
  // What can't be told is lost, as in any log.
}

void CategorySink::detach() noexcept {
  std::lock_guard lock(mutex_);
  receive_ = nullptr;
}

}  // namespace tuv
