#include "orvik/Folder/LockWait.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "orvik/Output/Wording.h"

namespace orvik::host {

using platform::MonotonicClock;

LockWait::LockWait(double seconds, std::filesystem::path folder, ProgressView& view, std::stop_token stop)
    : seconds_(seconds),
      deadline_(MonotonicClock::now() +
                std::chrono::duration_cast<MonotonicClock::duration>(std::chrono::duration<double>(seconds))),
      folder_(std::move(folder)),
      view_(view),
      stop_(std::move(stop)) {}

void LockWait::after(const BackupEngineError& refusal) {
  if (MonotonicClock::now() >= deadline_) throw refusal;
  if (!std::exchange(hasBegun_, true))
    view_.step(fmt::format("{} is writing to {}; waiting up to {}", refusal.by(), folder_.string(),
                           wording::duration(std::chrono::duration<double>(seconds_))));
  if (!platform::waitUntil(std::min(deadline_, MonotonicClock::now() + std::chrono::seconds(1)), stop_))
    throw platform::CancellationError();
}

}  // namespace orvik::host
