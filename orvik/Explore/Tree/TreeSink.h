#pragma once

#include <string>

#include "OrvikCore/Explore/BackupReader.h"
#include "Platform/Bytes.h"
#include "orvik/Explore/Tree/ObjectFiles.h"

namespace orvik::host {

/// Where the files of a tree go. Paths are those of `treeNames`, below the tree's top.
class TreeSink {
 public:
  virtual ~TreeSink() = default;

  /// Whether a file is the export's already. A new one never takes the place of somebody else's.
  enum class Owner { export_, nobodyYet };

  /// Gives a file of an object its content. False when it had that. Throws `tuv::Error` when somebody else's
  /// file has its name.
  virtual bool put(const BackupReader::Entry& entry, const ObjectFile& file, Owner owner) = 0;
  /// The same with a file on the tree itself.
  virtual void putRecord(const std::string& path, const platform::Bytes& text) = 0;
  /// Deletes a file of the export; one that is gone already is no error.
  virtual void remove(const std::string& path) = 0;
};

}  // namespace orvik::host
