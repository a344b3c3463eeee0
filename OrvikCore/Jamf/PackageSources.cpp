#include "OrvikCore/Jamf/PackageSources.h"

#include <fmt/format.h>

#include <utility>

#include "JamfCore/Networking/Endpoint.h"
#include "OrvikCore/Jamf/DownloadError.h"
#include "OrvikCore/Jamf/JSONTree.h"

namespace orvik::PackageSources {

void requireComponent(const std::string& fileName) {
  if (!jamf::isPathComponent(fileName))
    throw DownloadError::noSource(
        fmt::format("The file name \"{}\" leads out of its folder, so it is not asked for.", fileName));
}

FileDownloader::MakeRequest cloudRequest(jamf::JamfRequesting& reader, std::string fileName) {
  return [&reader, fileName = std::move(fileName)](const std::stop_token& stop) {
    requireComponent(fileName);
    const auto answer = reader.get("api/v1/jcds/files/" + fileName, {}, stop);
    auto uri = JSONTree::parse(answer)["uri"].string();
    if (!uri || uri->empty()) throw DownloadError::noSource("JCDS returned no download URL");
    platform::HTTPRequest request;
    request.url = std::move(*uri);
    return request;
  };
}

FileDownloader::MakeRequest shareRequest(const DistributionPoint& point, const std::string& fileName) {
  return [url = point.packageURL(fileName), fileName](const std::stop_token&) {
    // A slash is encoded, and doesn't lead anywhere.
    if (fileName.find('/') == std::string::npos) requireComponent(fileName);
    platform::HTTPRequest request;
    request.url = url;
    return request;
  };
}

}  // namespace orvik::PackageSources
