#pragma once

#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "Platform/Bytes.h"

namespace orvik::host {

/// A text file of an object.
struct ObjectFile {
  std::string name;  ///< in the folder of its section
  platform::Bytes bytes;
  bool isExecutable = false;
};

/// What a tree holds of one object.
struct ObjectFiles {
  std::vector<ObjectFile> files;       ///< none for an object that is a file itself, as a package is
  std::optional<std::string> trouble;  ///< why it can't be relied on; there are no files then

  /// The JSON of an object, with keys ascending and a member a line, and a profile or script as the text that
  /// it is. The object's first variant is "NAME (ID).json", others have their name in theirs. Requires: the
  /// entry is stored.
  static ObjectFiles of(const BackupReader::Entry& entry, const BackupReader& backup);

  /// Two entries of one folder that have the same have the same files.
  static std::string sourceOf(const BackupReader::Entry& entry);
};

}  // namespace orvik::host
