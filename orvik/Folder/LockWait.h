#pragma once

#include <filesystem>
#include <stop_token>

#include "OrvikCore/Format/BackupEngineError.h"
#include "Platform/Concurrency/Cancellation.h"
#include "orvik/Output/ProgressView.h"

namespace orvik::host {

/// The patience that `--lock-wait` asks for, counted from when this is made. Whoever wants the lock tries,
/// and comes here when another writer has it.
class LockWait {
 public:
  LockWait(double seconds, std::filesystem::path folder, ProgressView& view, std::stop_token stop);

  /// Waits a second, or what is left of the time, and says so the first time. Throws `refusal` when the time
  /// is over, and `platform::CancellationError`.
  void after(const BackupEngineError& refusal);

  bool hasBegun() const noexcept { return hasBegun_; }

 private:
  const double seconds_;
  const platform::MonotonicTime deadline_;
  const std::filesystem::path folder_;
  ProgressView& view_;
  const std::stop_token stop_;
  bool hasBegun_ = false;
};

}  // namespace orvik::host
