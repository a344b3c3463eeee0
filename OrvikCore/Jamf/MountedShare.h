#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>

#include "OrvikCore/Jamf/FileDownloader.h"
#include "OrvikCore/Store/FileHasher.h"
#include "Platform/Files/PatientReader.h"

namespace orvik {

/// A mounted file share, for all the files of one run. One that hung is not asked again: each further file
/// would wait as long, and a thousand of them for hours. Any number of threads may copy, each to its own
/// path.
class MountedShare {
 public:
  using OpenFile = std::function<platform::files::PatientReader(const std::filesystem::path&)>;

  explicit MountedShare(std::filesystem::path mount);
  /// The same with another way to open a file.
  MountedShare(std::filesystem::path mount, OpenFile openFile)
      : mount_(std::move(mount)), openFile_(std::move(openFile)) {}

  /// What records and reports call it: "mount:" and its path.
  std::string label() const { return "mount:" + mount_.string(); }

  /// Copies "Packages/" + `fileName` to `to`, from its begin, flushes it, and gives the digests of what came
  /// by, so that the copy needs no second pass. A share that hangs holds nobody. A pause holds the copy
  /// between two pieces.
  ///
  /// Throws `DownloadError` for whatever is wrong with the share and for a file name that could lead out of
  /// its folder, `platform::files::FileError` for `to`, and `platform::CancellationError`.
  FileHasher::Digests copy(const std::string& fileName, const std::filesystem::path& to,
                           const PauseGate* gate, const FileDownloader::Progress& progress,
                           const std::stop_token& stop);

 private:
  std::optional<platform::Bytes> nextPiece(platform::files::PatientReader& file, const std::stop_token& stop);

  const std::filesystem::path mount_;
  const OpenFile openFile_;
  std::atomic<bool> hasHung_ = false;
};

}  // namespace orvik
