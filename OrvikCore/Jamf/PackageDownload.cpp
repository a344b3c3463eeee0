#include "OrvikCore/Jamf/PackageDownload.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <functional>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Jamf/DownloadError.h"
#include "OrvikCore/Jamf/MountedShare.h"
#include "OrvikCore/Jamf/PackageSources.h"
#include "OrvikCore/Jamf/PartRecord.h"
#include "OrvikCore/Jamf/PauseGate.h"
#include "OrvikCore/Jamf/RequestOutcome.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace {

constexpr RetryPolicy usualPolicy{5, 1, 60};

using Digests = FileHasher::Digests;

/// A place to try, and what it is called when it fails. Gives the digests when they come by the way.
struct Candidate {
  std::string label;
  std::function<std::optional<Digests>()> obtain;
};

}  // namespace

FileHasher::Digests PackageDownload::fetch(const std::string& fileName, jamf::JamfRequesting& client,
                                           const std::vector<DistributionPoint>& points,
                                           const std::optional<std::filesystem::path>& mountPath,
                                           const std::filesystem::path& to,
                                           const FileDownloader::Progress& progress,
                                           const std::stop_token& stop) {
  const PauseGate gate;
  const FileDownloader downloader{usualPolicy, &gate, [] { return platform::HTTPSessionConfiguration(); }};
  const auto part = to.parent_path() / ("." + to.filename().string() + std::string(BackupFormat::partSuffix));

  std::vector<Candidate> candidates;
  candidates.push_back({"cloud distribution point", [&] {
                          downloader.download(part, "jcds", PackageSources::cloudRequest(client, fileName),
                                              progress, stop);
                          return std::optional<Digests>();
                        }});
  for (const auto& point : points)
    candidates.push_back({"distribution point " + point.name, [&] {
                            downloader.download(part, "http " + point.base,
                                                PackageSources::shareRequest(point, fileName), progress,
                                                stop);
                            return std::optional<Digests>();
                          }});
  std::optional<MountedShare> share;
  if (mountPath) {
    share.emplace(*mountPath);
    candidates.push_back(
        {"mounted share", [&] { return std::optional(share->copy(fileName, part, &gate, progress, stop)); }});
  }

  std::vector<std::string> notes;
  for (const auto& candidate : candidates) {
    std::optional<Digests> digests;
    try {
      digests = candidate.obtain();
    } catch (const std::exception& error) {
      platform::throwIfCancelled(stop);
      if (RequestOutcome::classify(error).kind == RequestOutcome::Kind::cancelled) throw;
      notes.push_back(candidate.label + ": " + describeFailure(error));
      continue;
    }
    if (!digests) digests = FileHasher::digests(part, FileHasher::defaultChunkSize, stop);
    platform::files::rename(part, to);
    PartRecord::remove(part);
    return std::move(*digests);
  }
  throw DownloadError::noSource(notes.empty() ? "No source for " + fileName
                                              : fmt::format("{}", fmt::join(notes, "\n")));
}

}  // namespace orvik
