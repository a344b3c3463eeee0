#pragma once

#include <string>

#include "JamfCore/Networking/JamfRequesting.h"
#include "OrvikCore/Jamf/DistributionPoint.h"
#include "OrvikCore/Jamf/FileDownloader.h"

/// The places that a package file may be had from. File names are the server's, raw; one that could lead out
/// of its folder is refused with a `DownloadError`.
namespace orvik::PackageSources {

/// Throws `DownloadError` for a file name that could lead out of its folder.
void requireComponent(const std::string& fileName);

/// Asks the cloud distribution point for a signed URL, anew for each attempt, and requests that without a
/// token. `reader` must outlive the result.
FileDownloader::MakeRequest cloudRequest(jamf::JamfRequesting& reader, std::string fileName);

FileDownloader::MakeRequest shareRequest(const DistributionPoint& point, const std::string& fileName);

}  // namespace orvik::PackageSources
