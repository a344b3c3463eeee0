#include "orvik/Schedule/ScheduleFile.h"

#include <fmt/format.h>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/FileLock.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"

namespace orvik::host::ScheduleFile {

namespace files = platform::files;

bool isReadable(const ScheduleStore& store) {
  if (!files::exists(store.fileURL)) return true;
  const auto bytes = files::tryRead(store.fileURL, BackupFormat::recordLimit);
  return bytes && BackupFormat::makeDecoder().tryDecode<std::vector<ScheduledRun>>(*bytes);
}

std::string damaged(const ScheduleStore& store) {
  return fmt::format("The schedule in {} can't be read. Mend the file, or move it away to begin anew.",
                     store.fileURL.string());
}

std::vector<ScheduledRun> load(const HostPlaces& places) {
  const ScheduleStore store(places.data);
  if (!isReadable(store)) throw tuv::Error(damaged(store));
  return store.load();
}

void change(const HostPlaces& places, const std::function<void(std::vector<ScheduledRun>&)>& edit,
            const std::stop_token& stop) {
  const files::FileLock lock(places.data / "schedule.lock", stop);
  auto runs = load(places);
  edit(runs);
  ScheduleStore(places.data).save(runs);
}

}  // namespace orvik::host::ScheduleFile
