#pragma once

#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "JamfCore/Networking/JamfRequesting.h"
#include "OrvikCore/Jamf/DistributionPoint.h"
#include "OrvikCore/Jamf/FileDownloader.h"
#include "OrvikCore/Store/FileHasher.h"

namespace orvik {

/// Fetches one package outside a run, straight from the server's sources.
struct PackageDownload {
  PackageDownload() = delete;

  /// Tries the cloud distribution point, then each share, then the mount, and gives the digests of the file,
  /// which then stands at `to`. While it arrives it is "." + name + ".part" beside `to`; what an earlier
  /// attempt left there is gone on from.
  ///
  /// Throws `DownloadError` with a line for each source that failed, `platform::files::FileError`, and
  /// `platform::CancellationError`.
  static FileHasher::Digests fetch(const std::string& fileName, jamf::JamfRequesting& client,
                                   const std::vector<DistributionPoint>& points,
                                   const std::optional<std::filesystem::path>& mountPath,
                                   const std::filesystem::path& to, const FileDownloader::Progress& progress,
                                   const std::stop_token& stop = {});
};

}  // namespace orvik
