#pragma once

#include <filesystem>
#include <vector>

#include "OrvikCore/Config/InstanceConfig.h"

namespace orvik {

/// "instances.json": the instances that a user registered, a pretty JSON array in which slashes
/// are escaped. A plain value; the caller sees to it that
/// two processes don't change the file at once.
struct InstanceStore {
  std::filesystem::path fileURL;

  explicit InstanceStore(const std::filesystem::path& directory);

  /// In the file's order; empty when it is missing or can't be decoded.
  std::vector<InstanceConfig> load() const;
  /// Leaves managed instances out: they come back from where they are managed. Throws
  /// `platform::files::FileError`.
  void save(const std::vector<InstanceConfig>& instances) const;
};

}  // namespace orvik
