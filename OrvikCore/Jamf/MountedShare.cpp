#include "OrvikCore/Jamf/MountedShare.h"

#include <fmt/format.h>

#include <cerrno>
#include <utility>

#include "OrvikCore/Jamf/DownloadError.h"
#include "OrvikCore/Jamf/PackageSources.h"
#include "OrvikCore/Jamf/PartRecord.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace files = platform::files;

MountedShare::MountedShare(std::filesystem::path mount)
    : MountedShare(std::move(mount),
                   [](const std::filesystem::path& path) { return files::PatientReader(path); }) {}

FileHasher::Digests MountedShare::copy(const std::string& fileName, const std::filesystem::path& to,
                                       const PauseGate* gate, const FileDownloader::Progress& progress,
                                       const std::stop_token& stop) {
  PackageSources::requireComponent(fileName);
  if (hasHung_)
    throw DownloadError::noSource(fmt::format(
        "The share {} did not answer for another file, so it is not asked again.", mount_.string()));
  auto file = openFile_(mount_ / "Packages" / fileName);
  auto piece = nextPiece(file, stop);
  files::ResumableFile copy(to);
  copy.truncate(0);
  // Should this copy be broken off, no other source goes on behind it.
  PartRecord{label(), {}, {}}.save(to);
  FileHasher::Running digests;
  for (; piece; piece = nextPiece(file, stop)) {
    copy.write(*piece);
    digests.update(*piece);
    progress(static_cast<std::int64_t>(piece->size()));
    if (gate) gate->wait(stop);
  }
  copy.sync();
  return digests.finish();
}

/// What fails on the share is no failure of this machine's disk.
std::optional<platform::Bytes> MountedShare::nextPiece(files::PatientReader& file,
                                                       const std::stop_token& stop) try {
  return file.next(stop);
} catch (const files::FileError& error) {
  if (error.kind() == files::FileErrorKind::notFound) throw DownloadError::notFound();
  if (error.code() == ETIMEDOUT) hasHung_ = true;
  throw DownloadError::noSource(error.description());
}

}  // namespace orvik
