#include "OrvikCore/Config/InstanceStore.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace {

/// JSON has slashes in strings alone, where "\\/" is the same.
platform::Bytes withEscapedSlashes(std::string_view json) {
  platform::Bytes out;
  for (const char c : json) {
    if (c == '/') out += '\\';
    out += c;
  }
  return out;
}

}  // namespace

InstanceStore::InstanceStore(const std::filesystem::path& directory)
    : fileURL(directory / "instances.json") {}

std::vector<InstanceConfig> InstanceStore::load() const {
  const auto bytes = platform::files::tryRead(fileURL, BackupFormat::recordLimit);
  auto instances =
      bytes ? BackupFormat::makeDecoder().tryDecode<std::vector<InstanceConfig>>(*bytes) : std::nullopt;
  return instances ? std::move(*instances) : std::vector<InstanceConfig>();
}

void InstanceStore::save(const std::vector<InstanceConfig>& instances) const {
  std::vector<InstanceConfig> own;
  std::ranges::copy_if(instances, std::back_inserter(own),
                       [](const InstanceConfig& instance) { return !instance.managedSecret; });
  ObjectStore::atomicWrite(withEscapedSlashes(BackupFormat::makeEncoder().encode(own)), fileURL);
}

}  // namespace orvik
