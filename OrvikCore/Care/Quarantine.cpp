#include "OrvikCore/Care/Quarantine.h"

#include <fmt/format.h>

#include <cerrno>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace files = platform::files;

Quarantine::Quarantine(std::filesystem::path instance, platform::Date now) : instance_(std::move(instance)) {
  const auto wanted = fmt::format("{}/{}", folderName, BackupFormat::backupID(now));
  folder_ = wanted;
  for (int number = 2; files::exists(instance_ / folder_); ++number)
    folder_ = fmt::format("{}-{}", wanted, number);
}

std::filesystem::path Quarantine::placeFor(const std::string& path) const {
  const auto all = instance_ / folderName;
  if (const auto entry = files::entryAt(all); entry && entry->kind != files::Entry::Kind::folder)
    files::throwFileError("use as a folder", all, ENOTDIR);
  auto place = instance_ / folder_ / path;
  files::createDirectories(place.parent_path());
  return place;
}

void Quarantine::take(const std::string& path) const {
  files::renameWithoutReplacing(instance_ / path, placeFor(path));
}

void Quarantine::keepCopy(const std::string& path) const {
  const auto place = placeFor(path);
  try {
    files::copyFile(instance_ / path, place);
  } catch (const files::FileError&) {
    files::renameWithoutReplacing(instance_ / path, place);
  }
}

}  // namespace orvik
