#include "orvik/Folder/KnownFolders.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Date.h"
#include "Platform/Files/FileLock.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"
#include "orvik/Folder/InstanceFolder.h"

namespace orvik::host {

namespace {

namespace files = platform::files;

struct Entry {
  std::string path;  ///< absolute
  std::string lastBackup;
  platform::Date date;  ///< when that was remembered

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("path", &Entry::path), field("lastBackup", &Entry::lastBackup),
                     field("date", &Entry::date));
  }
};

std::vector<Entry> entriesOf(const files::Path& file) {
  const auto bytes = files::tryRead(file, BackupFormat::recordLimit);
  auto entries = bytes ? BackupFormat::makeDecoder().tryDecode<std::vector<Entry>>(*bytes) : std::nullopt;
  return entries ? std::move(*entries) : std::vector<Entry>();
}

/// Whatever an earlier backup left counts, so that one that is damaged is not told to be absent. An
/// unfinished run without a description is no backup: a run can leave it that went on when the disk was
/// unmounted.
bool isFilled(const BackupRepository& repository) {
  return files::exists(repository.instanceDirectory / BackupFormat::instanceFile) ||
         std::ranges::any_of(files::visibleNames(repository.backupsDirectory()), [](const std::string& name) {
           return !name.ends_with(BackupFormat::partialSuffix);
         });
}

}  // namespace

void KnownFolders::requireFilled(const BackupRepository& repository) const {
  if (isFilled(repository)) return;
  const auto entries = entriesOf(file());
  const auto found = std::ranges::find(entries, absolutePath(repository), &Entry::path);
  if (found == entries.end()) return;
  throw tuv::Error(fmt::format(
      "{} held backups, the last of them {}, and holds none now. Is a disk or a share not mounted? To "
      "begin anew there all the same, add --new-folder.",
      found->path, found->lastBackup));
}

void KnownFolders::remember(const BackupRepository& repository, const std::string& backupID,
                            const std::stop_token& stop) const {
  const files::FileLock lock(data_ / "folders.lock", stop);
  auto entries = entriesOf(file());
  const auto name = absolutePath(repository);
  std::erase_if(entries, [&](const Entry& each) { return each.path == name; });
  entries.push_back({name, backupID, platform::now()});
  files::atomicWrite(BackupFormat::makeEncoder().encode(entries), file());
}

}  // namespace orvik::host
