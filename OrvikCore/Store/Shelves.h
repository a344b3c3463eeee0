#pragma once

#include <filesystem>
#include <string>
#include <unordered_set>

#include "OrvikCore/Store/ObjectStore.h"
#include "Platform/Bytes.h"
#include "Platform/Files/Files.h"

namespace orvik {

/// Where the objects of one folder are looked for when many are read: single files, then packs. Asks the disk
/// as little as possible and takes no memory for each object. Any thread may call.
class Shelves {
 public:
  explicit Shelves(ObjectStore store);

  const ObjectStore& store() const noexcept { return store_; }
  const std::filesystem::path& packs() const noexcept { return packs_; }

  /// Fills `buffer` with the bytes as stored, sealed or not. False, with the buffer in any state, where they
  /// are nowhere.
  bool read(const std::string& hash, platform::Bytes& buffer) const;

 private:
  bool readLoose(const std::string& hash, platform::Bytes& buffer) const;

  const ObjectStore store_;
  const platform::files::FolderReader loose_{store_.instanceDirectory};
  const std::filesystem::path packs_ = store_.packsDirectory();
  std::unordered_set<std::string> shards_;  ///< the folders of single files when this was made
};

}  // namespace orvik
