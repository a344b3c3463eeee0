#include "OrvikCore/Engine/RunPlace.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>

#include "TuvCore/Error.h"

namespace orvik {

namespace {

using Path = std::filesystem::path;

/// Absolute, with links followed as far as the path exists.
Path resolved(const Path& path) {
  std::error_code failure;
  auto found = std::filesystem::weakly_canonical(std::filesystem::absolute(path, failure), failure);
  return failure ? path.lexically_normal() : found;
}

bool liesIn(const Path& inner, const Path& outer) {
  const auto in = resolved(inner);
  const auto out = resolved(outer);
  return std::ranges::mismatch(out, in).in1 == out.end();
}

}  // namespace

RunPlace RunPlace::of(const BackupJob& job, const BackupRepository& repository, const std::string& backupID) {
  if (const auto& folder = job.simulationDirectory)
    return {Kind::simulation, *folder, *folder / overlayFolder};
  if (const auto& staging = job.stagingDirectory) {
    auto working = BackupRepository(*staging).partialDirectory(backupID);
    auto overlay = working / overlayFolder;
    return {Kind::staging, std::move(working), std::move(overlay)};
  }
  return {Kind::folder, repository.partialDirectory(backupID), std::nullopt};
}

void RunPlace::require(const BackupJob& job) {
  if (const auto& folder = job.simulationDirectory) return requireOutside(*folder, job.root, "simulation");
  const auto& staging = job.stagingDirectory;
  if (!staging) return;
  requireOutside(*staging, job.root, "staging");
  const auto owner = BackupRepository(*staging).descriptor();
  if (owner && owner->id != job.instance.id)
    throw tuv::Error(
        fmt::format("The staging folder {} is used for the instance \"{}\". Each instance needs one "
                    "of its own.",
                    staging->string(), owner->name));
}

void RunPlace::requireOutside(const Path& folder, const Path& root, std::string_view what) {
  if (liesIn(folder, root))
    throw tuv::Error(
        fmt::format("The {} folder {} lies in the backup folder {}. It has to be somewhere else.", what,
                    folder.string(), root.string()));
}

void RunPlace::requireFilled(const BackupRepository& repository, bool heldBackups) {
  if (!heldBackups || repository.latestComplete()) return;
  throw tuv::Error(fmt::format(
      "{} held backups a moment ago and holds none now. Is a disk or a share not mounted any more?",
      repository.instanceDirectory.string()));
}

}  // namespace orvik
