#include "OrvikCore/Config/ScheduleStore.h"

#include <algorithm>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "Platform/Files/Files.h"

namespace orvik {

ScheduleStore::ScheduleStore(const std::filesystem::path& directory) : fileURL(directory / "schedule.json") {}

std::vector<ScheduledRun> ScheduleStore::load() const {
  const auto bytes = platform::files::tryRead(fileURL, BackupFormat::recordLimit);
  auto runs = bytes ? BackupFormat::makeDecoder().tryDecode<std::vector<ScheduledRun>>(*bytes) : std::nullopt;
  if (!runs) return {};
  std::ranges::stable_sort(*runs, {}, &ScheduledRun::date);
  return std::move(*runs);
}

void ScheduleStore::save(const std::vector<ScheduledRun>& runs) const {
  ObjectStore::atomicWrite(BackupFormat::makeEncoder().encode(runs), fileURL);
}

ScheduleStore::Partition ScheduleStore::partition(const std::vector<ScheduledRun>& runs, platform::Date now) {
  Partition parts;
  for (const auto& run : runs) (run.date <= now ? parts.due : parts.pending).push_back(run);
  return parts;
}

}  // namespace orvik
