#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Store/ObjectKey.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "OrvikCore/Store/PackIndex.h"
#include "Platform/Files/Files.h"

namespace orvik {

/// One pack that is being written. The caller holds the folder's lock. Not for more than one thread.
///
/// Nothing is visible before `finish`; what is not finished is deleted when it goes. After a failure of the
/// disk every further use throws.
class PackWriter {
 public:
  /// Makes the packs folder and the pack's temporary file. Throws `platform::files::FileError`.
  PackWriter(ObjectStore store, const std::string& name);

  /// False for a hash that is no object's name or that is in already.
  bool wants(std::string_view hash) const noexcept;

  /// Adds an object's stored bytes; false, with nothing added, when it isn't wanted or the bytes don't
  /// reproduce the name. Throws `FileError`.
  bool add(std::string_view hash, std::string_view stored);

  /// Publishes pack and index, flushed with their folder entries, and gives the keys of the entries. Without
  /// entries nothing is published. Throws `FileError`, also when a pack of that name exists; neither pack nor
  /// index stays then.
  KeySet finish();

 private:
  bool isIntact(std::string_view hash, std::string_view stored);
  void publishIndex();

  ObjectStore store_;
  const std::filesystem::path packs_;
  const std::string name_;
  platform::files::StagedFile file_;
  bool askedForCipher_ = false;
  std::vector<PackObjects::Entry> entries_;  ///< in the order of writing
  KeySet keys_;
};

}  // namespace orvik
