#include "OrvikCore/Explore/ObjectHistory.h"

#include <algorithm>
#include <utility>

#include "Platform/Concurrency/Cancellation.h"

namespace orvik {

namespace {

using ChangeKind = BackupReader::ChangeKind;

/// Whether a backup that can be relied on holds the object: nothing when it doesn't tell.
struct Sighting {
  std::optional<IndexItem> item;
};

std::optional<Sighting> sightingIn(const BackupReader& reader, std::string_view sectionID,
                                   std::string_view itemID) {
  const auto summary = std::ranges::find(reader.manifest.sections, sectionID, &SectionSummary::id);
  if (summary == reader.manifest.sections.end() || !summary->index) return std::nullopt;
  auto found = reader.repository.lookUp(reader.directory(), sectionID, itemID);
  if (!found || (!found->item && found->error)) return std::nullopt;
  return Sighting{std::move(found->item)};
}

}  // namespace

std::vector<ObjectVersion> objectHistory(const BackupRepository& repository, std::string_view sectionID,
                                         std::string_view itemID, const std::stop_token& stop) {
  auto backups = repository.completeBackups();
  std::ranges::reverse(backups);
  std::vector<ObjectVersion> versions;
  std::optional<IndexItem> last;
  for (auto& backup : backups) {
    platform::throwIfCancelled(stop);
    const BackupReader reader(repository, std::move(backup.manifest), repository.backupDirectory(backup.id));
    auto seen = sightingIn(reader, sectionID, itemID);
    if (!seen || (!seen->item && !last)) continue;
    ObjectVersion version{backup.id, reader.manifest.finishedAt, ChangeKind::new_, seen->item, {}};
    if (!seen->item) version.kind = ChangeKind::removed;
    if (seen->item && last) {
      auto changes = reader.difference(*last, *seen->item);
      if (!changes) continue;
      version.kind = ChangeKind::changed;
      version.changes = std::move(*changes);
    }
    last = std::move(seen->item);
    versions.push_back(std::move(version));
  }
  return versions;
}

}  // namespace orvik
