#include "orvik/Instances/InstanceFile.h"

#include <fmt/format.h>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/FileLock.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"

namespace orvik::host::InstanceFile {

namespace files = platform::files;

bool isReadable(const InstanceStore& store) {
  if (!files::exists(store.fileURL)) return true;
  const auto bytes = files::tryRead(store.fileURL, BackupFormat::recordLimit);
  return bytes && BackupFormat::makeDecoder().tryDecode<std::vector<InstanceConfig>>(*bytes);
}

std::string damaged(const InstanceStore& store) {
  return fmt::format("The instances in {} can't be read. Mend the file, or move it away to begin anew.",
                     store.fileURL.string());
}

void change(const HostPlaces& places, const std::function<void(std::vector<InstanceConfig>&)>& edit,
            const std::stop_token& stop) {
  const InstanceStore store(places.data);
  const files::FileLock lock(places.data / "instances.lock", stop);
  if (!isReadable(store)) throw tuv::Error(damaged(store));
  auto instances = store.load();
  edit(instances);
  store.save(instances);
}

}  // namespace orvik::host::InstanceFile
