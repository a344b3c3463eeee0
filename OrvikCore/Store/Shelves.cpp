#include "OrvikCore/Store/Shelves.h"

#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/PackCache.h"
#include "Platform/Hex.h"

namespace orvik {

Shelves::Shelves(ObjectStore store) : store_(std::move(store)) {
  const auto names = platform::files::visibleNames(store_.instanceDirectory / BackupFormat::storeFolder /
                                                   BackupFormat::objectsFolder);
  shards_.insert(names.begin(), names.end());
}

bool Shelves::read(const std::string& hash, platform::Bytes& buffer) const {
  if (!platform::isLowerHex64(hash)) return false;
  // In a packed folder most shards are gone, and asking each object of them would cost more than its hash.
  // One that appears meanwhile is found behind the packs.
  const bool hasShard = shards_.contains(hash.substr(0, 2));
  return (hasShard && readLoose(hash, buffer)) || PackCache::shared().read(hash, packs_, buffer) ||
         (!hasShard && readLoose(hash, buffer));
}

bool Shelves::readLoose(const std::string& hash, platform::Bytes& buffer) const {
  return loose_.tryRead(BackupFormat::objectPathText(hash), buffer, BackupFormat::objectLimit);
}

}  // namespace orvik
