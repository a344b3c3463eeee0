#pragma once

#include <functional>
#include <stop_token>
#include <string_view>
#include <vector>

#include "OrvikCore/Engine/FileSection.h"
#include "OrvikCore/Engine/RunContext.h"

namespace orvik {

/// Shows the objects of a section that this run has read, as they lie in the store, in the order of its
/// index, one in memory at a time. None when the section has no index. One that can't be read any more is
/// left out, and a note says so. Throws `platform::CancellationError`.
void forEachStoredObject(const RunContext& context, std::string_view section, const char* variant,
                         const std::function<void(const JSONTree&)>& show, const std::stop_token& stop);

/// Gathers the files that packages use.
class FileTargets {
 public:
  /// Takes a package's record: its file is made a target, or its name is added to the file's packages.
  void addPackage(const JSONTree& record);
  /// Takes an entry of the cloud's list: a target is marked, and gets what it lacks.
  void addCloudFile(const JSONTree& entry);

  std::vector<FileSection::Target> take() { return std::move(targets_); }

 private:
  std::vector<FileSection::Target> targets_;
  std::unordered_map<std::string, std::size_t> places_;  ///< by file name
};

}  // namespace orvik
