#pragma once

#include <cstdint>
#include <functional>

namespace jamf {

/// Turns the transfer's byte counts into a share between 0 and 1. `onProgress` is called on the session's own
/// thread, so it must be safe to call from any, and must not throw.
struct UploadProgressDelegate {
  std::function<void(double)> onProgress;

  /// A report without an expected size is dropped.
  void operator()(std::int64_t totalBytesSent, std::int64_t totalBytesExpectedToSend) const {
    if (totalBytesExpectedToSend < 1) return;
    onProgress(static_cast<double>(totalBytesSent) / static_cast<double>(totalBytesExpectedToSend));
  }
};

}  // namespace jamf
