#pragma once

#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <string_view>

#include "OrvikCore/Jamf/PauseGate.h"
#include "OrvikCore/Jamf/RetryPolicy.h"
#include "Platform/HTTP/HTTPSession.h"

namespace orvik {

/// Fetches one large file to a path of this machine: streams it to the disk, goes on from the bytes that are
/// there, waits out a pause, and repeats what may pass.
///
/// All state lies in the file and in the record beside it (`PartRecord`), so that another process can go on.
/// Each download has a session and a thread of its own: a slow disk holds its own transfer back and no other.
/// A plain value; any number of threads may download at once, each to its own path.
struct FileDownloader {
  RetryPolicy policy;
  const PauseGate* gate = nullptr;  ///< must outlive it; null: nothing pauses
  std::function<platform::HTTPSessionConfiguration()> makeConfiguration;  ///< fresh for each attempt

  /// A pause noticed in the middle of a transfer. Never leaves `download`.
  struct PausedSignal {};

  /// The request of one attempt; may throw. Called again for each attempt, since signed URLs run out. Range,
  /// If-Range and the time-out are added to it.
  using MakeRequest = std::function<platform::HTTPRequest(const std::stop_token&)>;
  /// New bytes as they arrive. Called on the downloading thread.
  using Progress = std::function<void(std::int64_t)>;

  /// Gives the file's final size in bytes. `source` names where the bytes come from, without anything secret:
  /// bytes of two sources are never joined, nor those of two versions that the server tells apart.
  ///
  /// The bytes that are there stay after every failure. Throws `DownloadError`, `platform::HTTPError`,
  /// `platform::files::FileError`, what `makeRequest` throws, and `platform::CancellationError` on a stop,
  /// which is noticed at once in every wait.
  std::int64_t download(const std::filesystem::path& to, std::string_view source,
                        const MakeRequest& makeRequest, const Progress& progress,
                        const std::stop_token& stop = {}) const;

  /// Whether the failure of an attempt may pass. Unlike a read of the API, a 401 or 403 is repeated: the
  /// signed URL may have run out.
  static bool shouldRetry(const std::exception& error);
};

}  // namespace orvik
