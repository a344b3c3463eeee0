#include "OrvikCore/Jamf/PackageSources.h"

#include <fmt/format.h>

#include <optional>
#include <utility>

#include "OrvikCore/Jamf/DownloadError.h"
#include "OrvikCore/Jamf/JSONTree.h"
#include "OrvikCore/Jamf/PartRecord.h"
#include "OrvikCore/Jamf/SectionLists.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/PatientReader.h"

namespace orvik::PackageSources {

namespace files = platform::files;

namespace {

void requireComponent(const std::string& fileName) {
  if (!isPathComponent(fileName))
    throw DownloadError::noSource(
        fmt::format("The file name \"{}\" leads out of its folder, so it is not asked for.", fileName));
}

/// What fails on the share is no failure of this machine's disk.
std::optional<platform::Bytes> nextPiece(files::PatientReader& share, const std::stop_token& stop) try {
  return share.next(stop);
} catch (const files::FileError& error) {
  if (error.kind() == files::FileErrorKind::notFound) throw DownloadError::notFound();
  throw DownloadError::noSource(error.description());
}

}  // namespace

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

FileHasher::Digests copyFromMount(const std::filesystem::path& mount, const std::string& fileName,
                                  const std::filesystem::path& to, std::string_view source,
                                  const PauseGate* gate, const FileDownloader::Progress& progress,
                                  const std::stop_token& stop) {
  requireComponent(fileName);
  files::PatientReader share(mount / "Packages" / fileName);
  auto piece = nextPiece(share, stop);
  files::ResumableFile copy(to);
  copy.truncate(0);
  // Should this copy be broken off, no other source goes on behind it.
  PartRecord{std::string(source), {}, {}}.save(to);
  FileHasher::Running digests;
  for (; piece; piece = nextPiece(share, stop)) {
    copy.write(*piece);
    digests.update(*piece);
    progress(static_cast<std::int64_t>(piece->size()));
    if (gate) gate->wait(stop);
  }
  copy.sync();
  return digests.finish();
}

}  // namespace orvik::PackageSources
