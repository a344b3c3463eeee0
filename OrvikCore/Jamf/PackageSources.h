#pragma once

#include <cstdint>
#include <filesystem>
#include <stop_token>
#include <string>

#include "JamfCore/Networking/JamfRequesting.h"
#include "OrvikCore/Jamf/DistributionPoint.h"
#include "OrvikCore/Jamf/FileDownloader.h"
#include "OrvikCore/Store/FileHasher.h"

/// The places that a package file may be had from. File names are the server's, raw; one that could lead out
/// of its folder is refused with a `DownloadError`.
namespace orvik::PackageSources {

/// Asks the cloud distribution point for a signed URL, anew for each attempt, and requests that without a
/// token. `reader` must outlive the result.
FileDownloader::MakeRequest cloudRequest(jamf::JamfRequesting& reader, std::string fileName);

FileDownloader::MakeRequest shareRequest(const DistributionPoint& point, const std::string& fileName);

/// Copies a file of a mounted share to `to`, from its begin, flushes it, and gives the digests of what came
/// by, so that the copy needs no second pass. A share that hangs holds nobody. A pause holds the copy between
/// two pieces. `source` names the share in the record beside `to`.
///
/// Throws `DownloadError` for whatever is wrong with the share, `platform::files::FileError` for `to`, and
/// `platform::CancellationError`.
FileHasher::Digests copyFromMount(const std::filesystem::path& mount, const std::string& fileName,
                                  const std::filesystem::path& to, std::string_view source,
                                  const PauseGate* gate, const FileDownloader::Progress& progress,
                                  const std::stop_token& stop);

}  // namespace orvik::PackageSources
