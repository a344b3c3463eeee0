#include "OrvikCore/Jamf/PartRecord.h"

#include <algorithm>
#include <string_view>

#include "Platform/Files/Files.h"

namespace orvik {

namespace files = platform::files;

namespace {

/// A record is small; what is longer is none of ours.
constexpr std::uint64_t mostBytes = 64 << 10;
/// A longer validator would make the next request's head too long.
constexpr std::size_t mostValidator = 4096;

/// ASCII alone: the record is JSON, and what is no UTF-8 could not be read again.
bool isHeaderText(std::string_view text) {
  return !text.empty() && text.size() <= mostValidator &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c <= 0x7E; });
}

/// RFC 9110, 8.8.3. A weak one begins with "W/".
bool isStrongETag(std::string_view text) {
  return isHeaderText(text) && text.size() >= 2 && text.front() == '"' && text.back() == '"' &&
         text.find('"', 1) == text.size() - 1;
}

PartValidator checked(std::optional<std::string_view> etag, std::optional<std::string_view> lastModified) {
  PartValidator validator;
  if (etag && isStrongETag(*etag)) validator.etag = *etag;
  if (lastModified && isHeaderText(*lastModified)) validator.lastModified = *lastModified;
  return validator;
}

void removeIfThere(const std::filesystem::path& path) try {
  files::remove(path);
} catch (const files::FileError& error) {
  if (error.kind() != files::FileErrorKind::notFound) throw;
}

}  // namespace

PartValidator PartValidator::of(const platform::HTTPResponse& head) {
  return checked(head.header("ETag"), head.header("Last-Modified"));
}

bool PartValidator::contradicts(const PartValidator& other) const {
  if (etag && other.etag) return *etag != *other.etag;
  return lastModified && other.lastModified && *lastModified != *other.lastModified;
}

std::filesystem::path PartRecord::path(const std::filesystem::path& part) { return part.native() + ".json"; }

PartRecord::Found PartRecord::load(const std::filesystem::path& part) {
  Found found;
  found.exists = files::exists(path(part));
  const auto bytes = files::tryRead(path(part), mostBytes);
  if (bytes) found.record = platform::json::Decoder().tryDecode<PartRecord>(*bytes);
  if (!found.record) return found;
  auto& [source, validator, total] = *found.record;
  validator = checked(validator.etag, validator.lastModified);
  if (total && *total < 0) total = std::nullopt;
  return found;
}

void PartRecord::save(const std::filesystem::path& part) const {
  const auto text = platform::json::Encoder(platform::json::Rendering::pretty).encode(*this);
  files::atomicWrite(text, path(part), files::Flush::yes);
}

void PartRecord::remove(const std::filesystem::path& part) { removeIfThere(path(part)); }

void removePart(const std::filesystem::path& part) {
  removeIfThere(part);
  PartRecord::remove(part);
}

}  // namespace orvik
