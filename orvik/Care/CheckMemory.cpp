#include "orvik/Care/CheckMemory.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <utility>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Date.h"
#include "Platform/Files/FileLock.h"
#include "Platform/Files/Files.h"
#include "orvik/Folder/InstanceFolder.h"

namespace orvik::host {

namespace {

namespace files = platform::files;

struct Entry {
  std::string path;                ///< absolute
  std::int64_t parts = 0;          ///< of the round that is going on; 0 when there was none
  std::vector<std::int64_t> read;  ///< those of them that were read
  std::string place;    ///< on the ring of names, 16 hexadecimal digits: where the next bytes begin
  platform::Date date;  ///< of the last check that read a share

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("path", &Entry::path), field("parts", &Entry::parts), field("read", &Entry::read),
                     field("place", &Entry::place), field("date", &Entry::date));
  }

  bool hasRead(std::int64_t number) const { return std::ranges::find(read, number) != read.end(); }
  ContentShare::Place placeValue() const {
    ContentShare::Place value = 0;
    std::from_chars(place.data(), place.data() + place.size(), value, 16);
    return value;
  }
};

std::vector<Entry> entriesOf(const files::Path& file) {
  const auto bytes = files::tryRead(file, BackupFormat::recordLimit);
  auto entries = bytes ? BackupFormat::makeDecoder().tryDecode<std::vector<Entry>>(*bytes) : std::nullopt;
  return entries ? std::move(*entries) : std::vector<Entry>();
}

Entry entryOf(const std::vector<Entry>& entries, const std::string& path) {
  const auto found = std::ranges::find(entries, path, &Entry::path);
  return found != entries.end() ? *found : Entry{path, 0, {}, {}, {}};
}

ReadingRequest::Part turnOf(const Entry& entry, ReadingRequest::Part part) {
  if (entry.parts != part.count) return part;
  for (std::uint32_t i = 0; i < part.count; ++i) {
    const auto number = (part.number - 1 + i) % part.count + 1;
    if (!entry.hasRead(number)) return {number, part.count};
  }
  return part;  // a new round
}

}  // namespace

CheckMemory::Turn CheckMemory::next(const BackupRepository& repository, const ReadingRequest& request) const {
  const auto entry = entryOf(entriesOf(file_), absolutePath(repository));
  if (const auto* part = std::get_if<ReadingRequest::Part>(&request.what)) {
    const auto turn = turnOf(entry, *part);
    return {{turn}, {ContentShare::part(turn.number, turn.count)}};
  }
  if (const auto* percent = std::get_if<ReadingRequest::Percent>(&request.what))
    return {request, {ContentShare::from(entry.placeValue(), percent->percent)}};
  const auto bytes = std::get<ReadingRequest::Size>(request.what).bytes;
  return {request, {Reading::Budget{entry.placeValue(), bytes}}};
}

void CheckMemory::remember(const BackupRepository& repository, const Turn& turn, const ContentShare& read,
                           const std::stop_token& stop) const {
  auto lockFile = file_;
  const files::FileLock lock(lockFile.replace_extension(".lock"), stop);
  auto entries = entriesOf(file_);
  auto entry = entryOf(entries, absolutePath(repository));
  std::erase_if(entries, [&](const Entry& each) { return each.path == entry.path; });
  if (const auto* part = std::get_if<ReadingRequest::Part>(&turn.request.what)) {
    const bool isRoundOver = entry.parts != part->count || entry.hasRead(part->number);
    if (isRoundOver) entry.read.clear();
    entry.parts = part->count;
    entry.read.push_back(part->number);
  } else if (!read.isAll()) {
    entry.place = fmt::format("{:016x}", read.end());
  }
  entry.date = platform::now();
  entries.push_back(std::move(entry));
  files::atomicWrite(BackupFormat::makeEncoder().encode(entries), file_);
}

}  // namespace orvik::host
